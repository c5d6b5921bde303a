// On X11 the callback gets a surface in memory, which tells its size.
#include "DrawCell.h"

#include <vector>

namespace fakes
{

struct DrawCell::Data {
    std::vector<uint32_t> pixels;
    LumoDrawSurface surface;
};

DrawCell::DrawCell(LumoWindow, int width, int height) : m_data(std::make_unique<Data>())
{
    m_data->pixels.resize(size_t(width) * size_t(height));
    m_data->surface = {reinterpret_cast<uint8_t*>(m_data->pixels.data()), width, height, width * 4};
}

DrawCell::~DrawCell() = default;

void* DrawCell::context()
{
    return &m_data->surface;
}

uint32_t DrawCell::pixel(int x, int y) const
{
    return m_data->pixels[size_t(y) * size_t(m_data->surface.nWidth) + size_t(x)];
}

} // namespace fakes
