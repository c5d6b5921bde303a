#include "TestWindow.h"

#include <cstdlib>
#include <memory>
#include <ostream>
#include <stdexcept>

namespace
{

struct Free {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Ptr = std::unique_ptr<T, Free>;

xcb_screen_t* screen()
{
    return xcb_setup_roots_iterator(xcb_get_setup(TestWindow::connection())).data;
}

void roundTrip()
{
    xcb_connection_t* c = TestWindow::connection();
    Ptr<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

} // namespace

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

xcb_connection_t* TestWindow::connection()
{
    static xcb_connection_t* const connection = [] {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c))
            throw std::runtime_error("these tests need an X server");
        return c;
    }();
    return connection;
}

TestWindow::TestWindow(int width, int height, xcb_window_t parent, bool mapped)
{
    m_window = xcb_generate_id(connection());
    const uint32_t values[] = {0xFF00FF, 1};
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, m_window, parent ? parent : screen()->root, 0, 0,
                      uint16_t(width), uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    if (mapped)
        xcb_map_window(connection(), m_window);
    roundTrip();
}

TestWindow::~TestWindow()
{
    destroy();
}

void TestWindow::map()
{
    xcb_map_window(connection(), m_window);
    roundTrip();
}

void TestWindow::unmap()
{
    xcb_unmap_window(connection(), m_window);
    roundTrip();
}

void TestWindow::resize(int width, int height)
{
    const uint32_t values[] = {uint32_t(width), uint32_t(height)};
    xcb_configure_window(connection(), m_window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    roundTrip();
}

void TestWindow::destroy()
{
    if (m_window)
        xcb_destroy_window(connection(), m_window);
    m_window = 0;
    roundTrip();
}

void TestWindow::reparent(xcb_window_t parent)
{
    xcb_reparent_window(connection(), m_window, parent, 0, 0);
    roundTrip();
}

void TestWindow::cover()
{
    const auto size = shot();
    TestWindow over(size.width, size.height);
    roundTrip();
}

std::vector<xcb_window_t> TestWindow::children() const
{
    Ptr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection(), xcb_query_tree(connection(), m_window), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

Shot TestWindow::shot() const
{
    Shot shot;
    xcb_connection_t* c = connection();
    Ptr<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, xcb_get_geometry(c, m_window), nullptr));
    if (!geometry)
        return shot;
    Ptr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_window, 0, 0, geometry->width, geometry->height, 0xFFFFFFFF),
        nullptr));
    if (!image)
        return shot;
    shot.width = geometry->width;
    shot.height = geometry->height;
    const uint8_t* data = xcb_get_image_data(image.get());
    shot.bgrx.assign(data, data + xcb_get_image_data_length(image.get()));
    return shot;
}
