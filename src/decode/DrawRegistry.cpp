#include "decode/DrawRegistry.h"

#include <array>
#include <atomic>

namespace drawregistry
{
namespace
{

constexpr int32_t kSize = 256; // more than there are ports in use at one time
std::array<std::atomic<CDecodeChannel*>, kSize> g_channels{};

} // namespace

int32_t add(CDecodeChannel* pChannel)
{
    for (int32_t i = 0; i < kSize; ++i) {
        CDecodeChannel* pFree = nullptr;
        if (g_channels[i].compare_exchange_strong(pFree, pChannel))
            return i + 1;
    }
    return 0;
}

void remove(int32_t nWord)
{
    if (nWord >= 1 && nWord <= kSize)
        g_channels[nWord - 1].store(nullptr);
}

CDecodeChannel* find(int32_t nWord)
{
    return nWord >= 1 && nWord <= kSize ? g_channels[nWord - 1].load() : nullptr;
}

} // namespace drawregistry
