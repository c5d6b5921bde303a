#include "ParameterSets.h"

#include <algorithm>
#include <cmath>

namespace lumo::net
{
namespace
{

std::optional<PictureFormat> made(int64_t width, int64_t height, uint8_t fps)
{
    if (width <= 0 || height <= 0 || width > 16384 || height > 16384)
        return std::nullopt;
    return PictureFormat{uint16_t(width), uint16_t(height), fps};
}

void skipH264ScalingLists(BitReader& r, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!r.flag())
            continue;
        int last = 8, next = 8;
        for (int j = 0; j < (i < 6 ? 16 : 64) && !r.overrun(); ++j) {
            if (next != 0)
                next = (last + r.se() + 256) % 256;
            last = next == 0 ? last : next;
        }
    }
}

bool hasChromaFormat(uint32_t profile)
{
    static constexpr uint32_t kHigh[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(kHigh), std::end(kHigh), profile) != std::end(kHigh);
}

uint8_t h264RateFromVui(BitReader& r)
{
    if (r.flag() && r.bits(8) == 255) // aspect ratio, 255: given as numbers
        r.skip(32);
    if (r.flag()) // overscan
        r.skip(1);
    if (r.flag()) { // video signal type
        r.skip(4);
        if (r.flag())
            r.skip(24);
    }
    if (r.flag()) { // chroma location
        r.ue();
        r.ue();
    }
    if (!r.flag()) // timing
        return 0;
    const double units = r.bits(32);
    const double scale = r.bits(32);
    if (r.overrun() || units <= 0 || scale <= 0)
        return 0;
    const double fps = std::round(scale / units / 2);
    return fps >= 1 && fps <= 240 ? uint8_t(fps) : 0;
}

void skipH265ProfileTierLevel(BitReader& r, uint32_t subLayers)
{
    r.skip(88 + 8);
    bool profile[8] = {}, level[8] = {};
    for (uint32_t i = 0; i < subLayers; ++i) {
        profile[i] = r.flag();
        level[i] = r.flag();
    }
    if (subLayers > 0)
        r.skip(2 * (8 - subLayers));
    for (uint32_t i = 0; i < subLayers; ++i)
        r.skip((profile[i] ? 88 : 0) + (level[i] ? 8 : 0));
}

} // namespace

uint32_t BitReader::bits(int count)
{
    uint32_t value = 0;
    for (int i = 0; i < count; ++i, ++m_at) {
        const uint32_t bit = m_at < m_bits ? (m_data[m_at / 8] >> (7 - m_at % 8)) & 1 : 0;
        value = (value << 1) | bit;
    }
    return value;
}

uint32_t BitReader::ue()
{
    int zeros = 0;
    while (zeros < 32 && !overrun() && !flag())
        ++zeros;
    if (zeros >= 32) {
        m_at = m_bits + 1; // no such number in a sound stream
        return 0;
    }
    return (1u << zeros) - 1 + bits(zeros);
}

int32_t BitReader::se()
{
    const uint32_t v = ue();
    return v & 1 ? int32_t(v / 2 + 1) : -int32_t(v / 2);
}

std::vector<uint8_t> unescape(const uint8_t* nal, size_t size)
{
    std::vector<uint8_t> out;
    out.reserve(size);
    int zeros = 0;
    for (size_t i = 0; i < size; ++i) {
        if (zeros >= 2 && nal[i] == 3) {
            zeros = 0;
            continue;
        }
        zeros = nal[i] == 0 ? zeros + 1 : 0;
        out.push_back(nal[i]);
    }
    return out;
}

std::optional<PictureFormat> parseH264Sps(const uint8_t* nal, size_t size)
{
    if (size < 4 || (nal[0] & 31) != 7)
        return std::nullopt;
    const auto payload = unescape(nal + 1, size - 1);
    BitReader r(payload.data(), payload.size());
    const uint32_t profile = r.bits(8);
    r.skip(16); // constraints, level
    r.ue();     // id
    uint32_t chroma = 1;
    bool planes = false;
    if (hasChromaFormat(profile)) {
        chroma = r.ue();
        if (chroma == 3)
            planes = r.flag();
        r.ue();
        r.ue();
        r.skip(1);
        if (r.flag())
            skipH264ScalingLists(r, chroma == 3 ? 12 : 8);
    }
    r.ue(); // frame number size
    const uint32_t orderType = r.ue();
    if (orderType == 0) {
        r.ue();
    } else if (orderType == 1) {
        r.skip(1);
        r.se();
        r.se();
        const uint32_t cycle = r.ue();
        for (uint32_t i = 0; i < cycle && i < 256 && !r.overrun(); ++i)
            r.se();
    }
    r.ue(); // reference frames
    r.skip(1);
    const int64_t widthMbs = int64_t(r.ue()) + 1;
    const int64_t heightUnits = int64_t(r.ue()) + 1;
    const bool framesOnly = r.flag();
    if (!framesOnly)
        r.skip(1);
    r.skip(1);
    int64_t crop[4] = {};
    if (r.flag())
        for (auto& c : crop)
            c = r.ue();
    if (r.overrun() || chroma > 3)
        return std::nullopt;
    const uint8_t fps = r.flag() ? h264RateFromVui(r) : 0;
    const bool subX = !planes && (chroma == 1 || chroma == 2), subY = !planes && chroma == 1;
    const int64_t stepX = subX ? 2 : 1, stepY = (subY ? 2 : 1) * (framesOnly ? 1 : 2);
    return made(widthMbs * 16 - stepX * (crop[0] + crop[1]),
                heightUnits * 16 * (framesOnly ? 1 : 2) - stepY * (crop[2] + crop[3]), fps);
}

std::optional<PictureFormat> parseH265Sps(const uint8_t* nal, size_t size)
{
    if (size < 4 || ((nal[0] >> 1) & 63) != 33)
        return std::nullopt;
    const auto payload = unescape(nal + 2, size - 2);
    BitReader r(payload.data(), payload.size());
    r.skip(4); // video parameter set id
    const uint32_t subLayers = r.bits(3);
    r.skip(1);
    if (subLayers > 6)
        return std::nullopt;
    skipH265ProfileTierLevel(r, subLayers);
    r.ue(); // id
    const uint32_t chroma = r.ue();
    const bool planes = chroma == 3 && r.flag();
    const int64_t width = r.ue();
    const int64_t height = r.ue();
    int64_t crop[4] = {};
    if (r.flag())
        for (auto& c : crop)
            c = r.ue();
    if (r.overrun() || chroma > 3)
        return std::nullopt;
    const int64_t stepX = !planes && (chroma == 1 || chroma == 2) ? 2 : 1;
    const int64_t stepY = !planes && chroma == 1 ? 2 : 1;
    return made(width - stepX * (crop[0] + crop[1]), height - stepY * (crop[2] + crop[3]), 0);
}

} // namespace lumo::net
