// Machine on Windows: KERNEL32.
#include "platform/Machine.h"

#include <windows.h>
// psapi.h needs windows.h before it
#include <psapi.h>

namespace platform
{
namespace
{
quint64 in100ns(const FILETIME& time)
{
    return quint64(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

ProcessHandle asHandle(HANDLE hProcess)
{
    return reinterpret_cast<ProcessHandle>(hProcess);
}
} // namespace

quint64 tickMs()
{
    return GetTickCount64();
}
void sleepMs(quint32 nMs)
{
    Sleep(nMs);
}

int processorCount()
{
    SYSTEM_INFO info = {};
    GetSystemInfo(&info);
    return static_cast<int>(info.dwNumberOfProcessors);
}

bool systemCpuTimes(SCpuTimes& times)
{
    FILETIME idle = {}, kernel = {}, user = {};
    if (!GetSystemTimes(&idle, &kernel, &user))
        return false;
    times = {in100ns(idle), in100ns(kernel), in100ns(user)};
    return true;
}

ProcessHandle openProcess()
{
    return asHandle(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId()));
}

void closeProcess(ProcessHandle hProcess)
{
    if (hProcess)
        CloseHandle(reinterpret_cast<HANDLE>(hProcess));
}

bool processCpuTimes(ProcessHandle hProcess, SCpuTimes& times)
{
    FILETIME created = {}, ended = {}, kernel = {}, user = {};
    if (!GetProcessTimes(reinterpret_cast<HANDLE>(hProcess), &created, &ended, &kernel, &user))
        return false;
    times = {0, in100ns(kernel), in100ns(user)};
    return true;
}

quint64 processMemory()
{
    const HANDLE hProcess = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, GetCurrentProcessId());
    if (!hProcess)
        return 0;
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    const bool bKnown = K32GetProcessMemoryInfo(hProcess, &counters, sizeof counters);
    CloseHandle(hProcess);
    return bKnown ? counters.WorkingSetSize : 0;
}
} // namespace platform
