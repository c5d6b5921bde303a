// What a picture of a window says, whoever took it.
#include "TestWindow.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, const Rgb& c)
{
    return out << "rgb(" << c.r << ", " << c.g << ", " << c.b << ")";
}

Rgb Shot::at(int x, int y) const
{
    if (x < 0 || y < 0 || x >= width || y >= height)
        return {};
    const uint8_t* p = &bgrx[(size_t(y) * size_t(width) + size_t(x)) * 4];
    return {p[2], p[1], p[0]};
}

int Shot::number() const
{
    int value = 0;
    for (int bit = 0; bit < 16; ++bit) {
        const Rgb c = at((2 * bit + 1) * width / 32, height / 2);
        if (c.near({255, 255, 255}, 60))
            value |= 1 << (15 - bit);
        else if (!c.near({0, 0, 0}, 60))
            return -1;
    }
    return value;
}

int numberIn(const LumoDrawSurface& cell)
{
    int number = 0;
    for (int bit = 0; bit < 16; ++bit)
        number = number * 2 + (cell.pBits[(2 * bit + 1) * cell.nWidth / 32 * 4] > 127);
    return number;
}
