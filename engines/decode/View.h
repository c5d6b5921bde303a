// How a port shows its pictures: which part, at what aspect, in what colour. Plain values.
#pragma once

#include "decode/LumoDecode.h"

namespace lumo
{

inline constexpr int kRegionUnits = 8192; // the picture's width and height in display-region units

/// Each 0 to 128, 64 is neutral.
struct ColorLevels {
    int brightness = 64, contrast = 64, saturation = 64, hue = 64;
    bool neutral() const { return *this == ColorLevels(); }
    bool operator==(const ColorLevels&) const = default;
};

struct View {
    LumoRect region{0, 0, kRegionUnits, kRegionUnits};
    bool original = false; // keep the aspect, with black bars
    ColorLevels color;
    unsigned version = 0; // counts changes
};

} // namespace lumo
