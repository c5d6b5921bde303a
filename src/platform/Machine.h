// The machine and this process in numbers.
//
// Thread:  any.
// Errors:  what cannot be read is 0; times say so.
#pragma once

#include <QtGlobal>

namespace platform
{
/// CPU times in units of 100 ns, summed over all processors. Kernel time includes idle time.
struct SCpuTimes {
    quint64 nIdle = 0;
    quint64 nKernel = 0;
    quint64 nUser = 0;
};

/// Milliseconds since some moment in the past; never runs backwards.
quint64 tickMs();
void sleepMs(quint32 nMs);
int processorCount();
/// False and nothing changed when they cannot be read; so for processCpuTimes.
bool systemCpuTimes(SCpuTimes& times);

/// This process, opened to be asked for its times; 0 when the system refuses. The caller closes it.
using ProcessHandle = quintptr;
ProcessHandle openProcess();
void closeProcess(ProcessHandle hProcess);
/// nIdle is always 0.
bool processCpuTimes(ProcessHandle hProcess, SCpuTimes& times);
/// Bytes of this process that are in memory.
quint64 processMemory();
} // namespace platform
