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

bool processCpuTimes(SCpuTimes& times)
{
    FILETIME created = {}, ended = {}, kernel = {}, user = {};
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user))
        return false;
    times = {0, in100ns(kernel), in100ns(user)};
    return true;
}

quint64 processMemory()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? counters.WorkingSetSize : 0;
}
} // namespace platform
