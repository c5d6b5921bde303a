#include "platform/ReadCount.h"

#include "platform/win32/SharedReadCount.h"

namespace platform
{
namespace
{
/// Stays until the process ends.
std::atomic<int64_t>* makeCount()
{
    const HANDLE hMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(int64_t),
                                               readCountName(GetCurrentProcessId()).c_str());
    return hMapping ? static_cast<std::atomic<int64_t>*>(MapViewOfFile(hMapping, FILE_MAP_WRITE, 0, 0, 0)) : nullptr;
}
} // namespace

void countRead(qint64 nBytes)
{
    static std::atomic<int64_t>* const pCount = makeCount(); // it begins at 0
    if (pCount)
        pCount->fetch_add(nBytes, std::memory_order_release);
}
} // namespace platform
