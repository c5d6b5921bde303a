// The colour controls, on planes of 8 bits in place.
#pragma once

#include "View.h"

#include <cstddef>
#include <cstdint>

namespace lumo
{

/// Brightness adds, contrast spreads around the middle.
void tintLuma(uint8_t* luma, size_t size, const ColorLevels& color);
/// Saturation multiplies, hue turns the colour circle: 0 and 128 are half a turn either way.
void tintChroma(uint8_t* u, uint8_t* v, size_t size, const ColorLevels& color);

} // namespace lumo
