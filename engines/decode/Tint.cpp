#include "Tint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace lumo
{

void tintLuma(uint8_t* luma, size_t size, const ColorLevels& color)
{
    if (color.brightness == 64 && color.contrast == 64)
        return;
    std::array<uint8_t, 256> table;
    for (int i = 0; i < 256; ++i)
        table[size_t(i)] =
            uint8_t(std::clamp((i - 128) * color.contrast / 64 + 128 + (color.brightness - 64) * 2, 0, 255));
    for (size_t i = 0; i < size; ++i)
        luma[i] = table[luma[i]];
}

void tintChroma(uint8_t* u, uint8_t* v, size_t size, const ColorLevels& color)
{
    if (color.saturation == 64 && color.hue == 64)
        return;
    const double angle = (color.hue - 64) / 64.0 * std::numbers::pi;
    const int c = int(std::lround(std::cos(angle) * color.saturation * 4)); // of 256
    const int s = int(std::lround(std::sin(angle) * color.saturation * 4));
    for (size_t i = 0; i < size; ++i) {
        const int cb = u[i] - 128, cr = v[i] - 128;
        u[i] = uint8_t(std::clamp((cb * c - cr * s) / 256 + 128, 0, 255));
        v[i] = uint8_t(std::clamp((cb * s + cr * c) / 256 + 128, 0, 255));
    }
}

} // namespace lumo
