// On Windows the callback gets a device context and asks the window for the size: it is given that size.
#include "DrawCell.h"

#include <windows.h>

namespace fakes
{

struct DrawCell::Data {
    HDC context = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    uint32_t* pixels = nullptr; // rows from the top
    int width = 0;
};

DrawCell::DrawCell(LumoWindow window, int width, int height) : m_data(std::make_unique<Data>())
{
    SetWindowPos(reinterpret_cast<HWND>(window), nullptr, 0, 0, width, height,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    m_data->width = width;
    m_data->context = CreateCompatibleDC(nullptr);
    m_data->bitmap =
        CreateDIBSection(m_data->context, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&m_data->pixels), nullptr, 0);
    m_data->old = SelectObject(m_data->context, m_data->bitmap);
}

DrawCell::~DrawCell()
{
    SelectObject(m_data->context, m_data->old);
    DeleteObject(m_data->bitmap);
    DeleteDC(m_data->context);
}

void* DrawCell::context()
{
    return m_data->context;
}

uint32_t DrawCell::pixel(int x, int y) const
{
    GdiFlush();
    return m_data->pixels[size_t(y) * size_t(m_data->width) + size_t(x)];
}

} // namespace fakes
