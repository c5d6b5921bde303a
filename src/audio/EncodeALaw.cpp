#include "audio/EncodeALaw.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace
{

constexpr int kMagnitudes = 2048; // a sample's magnitude in steps of 16

/// Sign, segment and place in the segment, with every other bit inverted as on the line.
constexpr uint8_t codeOfMagnitude(int nMagnitude)
{
    int nSegment = 0;
    while (nMagnitude >> nSegment >= 32)
        ++nSegment;
    const bool bLinear = nMagnitude < 16; // the lowest segment and the one above it have the same step
    const int nPlace = (nMagnitude >> nSegment) & 0x0F;
    return uint8_t((0x80 | (bLinear ? 0 : nSegment + 1) << 4 | nPlace) ^ 0x55);
}

constexpr std::array<uint8_t, kMagnitudes> makeTable()
{
    std::array<uint8_t, kMagnitudes> table{};
    for (int i = 0; i < kMagnitudes; ++i)
        table[size_t(i)] = codeOfMagnitude(i);
    return table;
}

constexpr std::array<uint8_t, kMagnitudes> kPositiveCodes = makeTable();
static_assert(kPositiveCodes.front() == 0xD5 && kPositiveCodes.back() == 0xAA);

uint8_t codeOf(int nSample)
{
    const int nMagnitude = std::min(std::abs(nSample), 32767) >> 4;
    const uint8_t code = kPositiveCodes[size_t(nMagnitude)];
    return nSample < 0 ? uint8_t(code & 0x7F) : code;
}

} // namespace

int EncodeALaw(const uint8_t* pPcm, int nSize, uint8_t* pCodes, int nRoom)
{
    const int nCount = pPcm ? std::clamp(nSize / 2, 0, std::max(nRoom, 0)) : 0;
    for (int i = 0; i < nCount; ++i)
        pCodes[i] = codeOf(int16_t(uint16_t(pPcm[2 * i] | pPcm[2 * i + 1] << 8)));
    return nCount;
}
