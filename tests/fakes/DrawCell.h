// A cell for the draw callback to draw into: black memory, its size the one that the callback is to find.
//
// Thread: the callback's. Units: pixels.
#pragma once

#include "decode/LumoDecode.h"

#include <cstdint>
#include <memory>

namespace fakes
{

class DrawCell
{
public:
    /// window: the one that the port plays in.
    DrawCell(LumoWindow window, int width, int height);
    ~DrawCell();
    DrawCell(const DrawCell&) = delete;
    DrawCell& operator=(const DrawCell&) = delete;

    /// What the callback gets.
    void* context();
    /// 0xRRGGBB in the order of the surface's bytes; 0 where nothing was drawn.
    uint32_t pixel(int x, int y) const;

private:
    struct Data;
    std::unique_ptr<Data> m_data;
};

} // namespace fakes
