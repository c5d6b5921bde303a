#include "G711.h"

#include <algorithm>

namespace lumo::net
{

int linearOfALaw(uint8_t code)
{
    code ^= 0x55;
    const int segment = (code >> 4) & 7;
    int magnitude = ((code & 15) << 4) + 8;
    if (segment > 0)
        magnitude = (magnitude + 256) << (segment - 1);
    return code & 0x80 ? magnitude : -magnitude;
}

uint8_t aLawOfLinear(int sample)
{
    const uint8_t sign = sample >= 0 ? 0x80 : 0;
    int magnitude = (sample >= 0 ? sample : -sample - 1) >> 3; // 13 bits
    magnitude = std::clamp(magnitude, 0, 4095);
    int segment = 0;
    for (int limit = 31; segment < 7 && magnitude > limit; limit = limit * 2 + 1)
        ++segment;
    const int mantissa = segment == 0 ? magnitude >> 1 : magnitude >> segment;
    return uint8_t((sign | (segment << 4) | (mantissa & 15)) ^ 0x55);
}

int linearOfMuLaw(uint8_t code)
{
    code = uint8_t(~code);
    const int magnitude = (((code & 15) << 3) + 132) << ((code >> 4) & 7);
    return code & 0x80 ? 132 - magnitude : magnitude - 132;
}

uint8_t muLawOfLinear(int sample)
{
    constexpr int kBias = 132, kClip = 32635;
    const uint8_t sign = sample < 0 ? 0x80 : 0;
    const int magnitude = std::min(sample < 0 ? -sample : sample, kClip) + kBias;
    int segment = 7;
    for (int limit = 0x4000; segment > 0 && magnitude < limit; limit >>= 1)
        --segment;
    return uint8_t(~(sign | (segment << 4) | ((magnitude >> (segment + 3)) & 15)));
}

} // namespace lumo::net
