// Picture size and rate out of H.264 and H.265 parameter sets, without a decoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumo::net
{

struct PictureFormat {
    uint16_t width = 0, height = 0; // pixels, cropped
    uint8_t fps = 0;                // 0 unknown
    bool operator==(const PictureFormat&) const = default;
};

/// Reads bits of a NAL unit's payload, most significant first; past the end it reads zeros and says so.
class BitReader
{
public:
    BitReader(const uint8_t* data, size_t size) : m_data(data), m_bits(size * 8) {}
    uint32_t bits(int count);
    bool flag() { return bits(1) != 0; }
    void skip(size_t count) { m_at += count; }
    uint32_t ue(); // Exp-Golomb, unsigned
    int32_t se();  // Exp-Golomb, signed
    bool overrun() const { return m_at > m_bits; }

private:
    const uint8_t* m_data;
    size_t m_bits;
    size_t m_at = 0;
};

/// The payload without emulation prevention bytes.
std::vector<uint8_t> unescape(const uint8_t* nal, size_t size);

/// From a whole NAL unit, its header included; empty when it is no parameter set of that kind or is damaged.
std::optional<PictureFormat> parseH264Sps(const uint8_t* nal, size_t size);
std::optional<PictureFormat> parseH265Sps(const uint8_t* nal, size_t size);

} // namespace lumo::net
