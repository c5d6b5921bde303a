// What the tests of a window around the picture share: pictures of one colour, known by their time.
#pragma once

#include "Player.h"

inline constexpr Rgb kRedRgb{255, 0, 0};

class WindowFixture : public ScreenTest
{
protected:
    static clip::Bytes picture(clip::Yuv color, uint64_t utcSeconds = 1'700'000'000)
    {
        clip::Spec spec;
        spec.utcMs = utcSeconds * 1000;
        return clip::solid(spec, color).front().frame;
    }
    /// Waits until the picture of that time is shown.
    static bool reached(const Player& player, int seconds)
    {
        return eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == seconds; });
    }
};
