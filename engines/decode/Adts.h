// The ADTS header before each AAC frame (ISO/IEC 13818-7), read and made.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumo
{

inline constexpr int kAdtsSamples = 1024; // of one frame
inline constexpr size_t kAdtsHeader = 7;
inline constexpr uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                         22050, 16000, 12000, 11025, 8000,  7350};

inline bool isAdts(const uint8_t* p, size_t size)
{
    return size >= kAdtsHeader && p[0] == 0xFF && (p[1] & 0xF6) == 0xF0;
}

/// Header and frame.
inline size_t adtsSize(const uint8_t* p)
{
    return size_t((p[3] & 3) << 11 | p[4] << 3 | p[5] >> 5);
}

inline size_t adtsFrames(const uint8_t* p, size_t size)
{
    size_t frames = 0;
    while (isAdts(p, size) && adtsSize(p) >= kAdtsHeader && adtsSize(p) <= size) {
        ++frames;
        const size_t whole = adtsSize(p);
        p += whole;
        size -= whole;
    }
    return frames;
}

/// The header of a frame of this size, from the AudioSpecificConfig (ISO/IEC 14496-3) that a container keeps apart;
/// all zero when ADTS cannot say what it says.
inline std::array<uint8_t, kAdtsHeader> adtsHeader(const uint8_t* config, size_t configSize, size_t frameSize)
{
    const size_t whole = frameSize + kAdtsHeader;
    if (!config || configSize < 2 || whole > 0x1FFF)
        return {};
    const int type = config[0] >> 3, rate = (config[0] & 7) << 1 | config[1] >> 7, channels = config[1] >> 3 & 15;
    if (type < 1 || type > 4 || rate > 12 || channels < 1 || channels > 7)
        return {};
    return {0xFF,
            0xF1,
            uint8_t((type - 1) << 6 | rate << 2 | channels >> 2),
            uint8_t((channels & 3) << 6 | whole >> 11),
            uint8_t(whole >> 3),
            uint8_t((whole & 7) << 5 | 0x1F),
            0xFC};
}

} // namespace lumo
