// The word in memory by which a process tells its host how much it has read. A pipe that is empty says less: bytes
// leave it for a buffer of the process long before its socket thread takes them, and two frames there would be read as
// one.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <windows.h>

namespace platform
{
/// One for each process of this session of Windows.
inline std::wstring readCountName(DWORD nProcess)
{
    return L"Local\\LumoPlayTool-read-" + std::to_wstring(nProcess);
}

/// The count as its reader has it. Any one thread.
class SharedReadCount
{
public:
    /// hPipe: the server's end of the connection; must outlive this.
    explicit SharedReadCount(HANDLE hPipe) : m_hPipe(hPipe) {}
    SharedReadCount(const SharedReadCount&) = delete;
    SharedReadCount& operator=(const SharedReadCount&) = delete;
    ~SharedReadCount()
    {
        if (m_pCount)
            UnmapViewOfFile(m_pCount);
    }

    /// Bytes since the process began; 0 until it has read any.
    int64_t value()
    {
        if (!m_pCount)
            open();
        return m_pCount ? m_pCount->load(std::memory_order_acquire) : 0;
    }

private:
    void open()
    {
        ULONG nProcess = 0;
        if (!GetNamedPipeClientProcessId(m_hPipe, &nProcess))
            return;
        const HANDLE hMapping = OpenFileMappingW(FILE_MAP_READ, FALSE, readCountName(nProcess).c_str());
        if (!hMapping)
            return;
        m_pCount = static_cast<const std::atomic<int64_t>*>(MapViewOfFile(hMapping, FILE_MAP_READ, 0, 0, 0));
        CloseHandle(hMapping); // the view keeps it
    }

    const HANDLE m_hPipe;
    const std::atomic<int64_t>* m_pCount = nullptr;
};
} // namespace platform
