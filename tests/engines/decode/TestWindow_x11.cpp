#include "TestConnection_x11.h"
#include "TestWindow.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>

xcb_connection_t* testConnection()
{
    static xcb_connection_t* const connection = [] {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c))
            throw std::runtime_error("these tests need an X server");
        return c;
    }();
    return connection;
}

namespace
{

xcb_window_t xid(LumoWindow window)
{
    return static_cast<xcb_window_t>(window);
}

struct Free {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Ptr = std::unique_ptr<T, Free>;

xcb_screen_t* screen()
{
    return xcb_setup_roots_iterator(xcb_get_setup(testConnection())).data;
}

void roundTrip()
{
    xcb_connection_t* c = testConnection();
    Ptr<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

} // namespace

TestWindow::TestWindow(int width, int height, LumoWindow parent, bool mapped)
{
    m_window = xcb_generate_id(testConnection());
    const uint32_t values[] = {0xFF00FF, 1};
    xcb_create_window(testConnection(), XCB_COPY_FROM_PARENT, xid(m_window), parent ? xid(parent) : screen()->root, 0,
                      0, uint16_t(width), uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    if (mapped)
        xcb_map_window(testConnection(), xid(m_window));
    roundTrip();
}

TestWindow::~TestWindow()
{
    destroy();
}

void TestWindow::map()
{
    xcb_map_window(testConnection(), xid(m_window));
    roundTrip();
}

void TestWindow::unmap()
{
    xcb_unmap_window(testConnection(), xid(m_window));
    roundTrip();
}

void TestWindow::resize(int width, int height)
{
    const uint32_t values[] = {uint32_t(width), uint32_t(height)};
    xcb_configure_window(testConnection(), xid(m_window), XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    roundTrip();
}

void TestWindow::moveTo(int x, int y)
{
    const uint32_t values[] = {uint32_t(x), uint32_t(y)};
    xcb_configure_window(testConnection(), xid(m_window), XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    roundTrip();
}

void TestWindow::raise()
{
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(testConnection(), xid(m_window), XCB_CONFIG_WINDOW_STACK_MODE, &above);
    roundTrip();
}

void TestWindow::destroy()
{
    if (m_window)
        xcb_destroy_window(testConnection(), xid(m_window));
    m_window = 0;
    roundTrip();
}

void TestWindow::reparent(LumoWindow parent)
{
    xcb_reparent_window(testConnection(), xid(m_window), xid(parent), 0, 0);
    roundTrip();
}

void TestWindow::cover()
{
    const auto size = shot();
    TestWindow over(size.width, size.height);
    roundTrip();
}

std::vector<LumoWindow> TestWindow::children() const
{
    Ptr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(testConnection(), xcb_query_tree(testConnection(), xid(m_window)), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

Shot TestWindow::shot() const
{
    Shot shot;
    xcb_connection_t* c = testConnection();
    Ptr<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, xcb_get_geometry(c, xid(m_window)), nullptr));
    if (!geometry)
        return shot;
    Ptr<xcb_get_image_reply_t> image(xcb_get_image_reply(
        c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, xid(m_window), 0, 0, geometry->width, geometry->height, 0xFFFFFFFF),
        nullptr));
    if (!image)
        return shot;
    shot.width = geometry->width;
    shot.height = geometry->height;
    const uint8_t* data = xcb_get_image_data(image.get());
    shot.bgrx.assign(data, data + xcb_get_image_data_length(image.get()));
    return shot;
}
