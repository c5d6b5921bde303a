#include "Program.h"

#include <windows.h>
// psapi.h needs windows.h before it
#include <psapi.h>

qint64 residentBytes(qint64 pid)
{
    HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, static_cast<DWORD>(pid));
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    const bool known = process && GetProcessMemoryInfo(process, &counters, sizeof counters);
    if (process) {
        CloseHandle(process);
    }
    return known ? static_cast<qint64>(counters.WorkingSetSize) : 0;
}
