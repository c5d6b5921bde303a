#include "embedding/PlainBrowser.h"

#include <QTest>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

const QColor PlainBrowser::colour(0x20, 0x80, 0x40);

PlainBrowser::PlainBrowser() : m_connection(xcb_connect(nullptr, nullptr))
{
    m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
}

PlainBrowser::~PlainBrowser()
{
    xcb_disconnect(m_connection);
}

xcb_atom_t PlainBrowser::atom(const char* name)
{
    auto* reply = xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : 0;
    std::free(reply);
    return result;
}

void PlainBrowser::setProperty(xcb_window_t window, const char* name, xcb_atom_t type, int format, const void* data,
                               int count)
{
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom(name), type, static_cast<uint8_t>(format),
                        static_cast<uint32_t>(count), data);
}

void PlainBrowser::message(xcb_window_t window, const char* name, uint32_t first, uint32_t second)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(name);
    event.data.data32[0] = first;
    event.data.data32[1] = second;
    xcb_send_event(m_connection, 0, m_screen->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    sync();
}

void PlainBrowser::sync()
{
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

platform::WindowHandle PlainBrowser::open(const QString& title, QRect rc, const QByteArray& className)
{
    const xcb_window_t window = xcb_generate_id(m_connection);
    const uint32_t background = colour.rgb();
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_screen->root, static_cast<int16_t>(rc.x()),
                      static_cast<int16_t>(rc.y()), static_cast<uint16_t>(rc.width()),
                      static_cast<uint16_t>(rc.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_screen->root_visual,
                      XCB_CW_BACK_PIXEL, &background);
    const QByteArray classText = className.toLower() + '\0' + className + '\0';
    setProperty(window, "WM_CLASS", XCB_ATOM_STRING, 8, classText.constData(), classText.size());
    const uint32_t process = static_cast<uint32_t>(getpid());
    setProperty(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, 32, &process, 1);
    // The user's own position: the window manager must keep it.
    uint32_t hints[18] = {1};
    setProperty(window, "WM_NORMAL_HINTS", XCB_ATOM_WM_SIZE_HINTS, 32, hints, 18);
    setTitle(window, title);
    xcb_map_window(m_connection, window);
    sync();
    EXPECT_TRUE(QTest::qWaitFor([=] { return platform::isVisible(window); }, 5000));
    return window;
}

void PlainBrowser::close(platform::WindowHandle window)
{
    xcb_destroy_window(m_connection, static_cast<xcb_window_t>(window));
    sync();
}

void PlainBrowser::setTitle(platform::WindowHandle window, const QString& title)
{
    const QByteArray bytes = title.toUtf8();
    setProperty(static_cast<xcb_window_t>(window), "_NET_WM_NAME", atom("UTF8_STRING"), 8, bytes.constData(),
                bytes.size());
    sync();
}

void PlainBrowser::move(platform::WindowHandle window, QPoint pt)
{
    const uint32_t values[] = {static_cast<uint32_t>(pt.x()), static_cast<uint32_t>(pt.y())};
    xcb_configure_window(m_connection, static_cast<xcb_window_t>(window), XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         values);
    sync();
}

void PlainBrowser::minimise(platform::WindowHandle window)
{
    message(static_cast<xcb_window_t>(window), "WM_CHANGE_STATE", 3);
}

void PlainBrowser::restore(platform::WindowHandle window)
{
    xcb_map_window(m_connection, static_cast<xcb_window_t>(window));
    sync();
}

void PlainBrowser::activate(platform::WindowHandle window)
{
    message(static_cast<xcb_window_t>(window), "_NET_ACTIVE_WINDOW", 2);
}

QPoint PlainBrowser::origin(platform::WindowHandle window)
{
    auto* reply = xcb_translate_coordinates_reply(
        m_connection, xcb_translate_coordinates(m_connection, static_cast<xcb_window_t>(window), m_screen->root, 0, 0),
        nullptr);
    const QPoint pt = reply ? QPoint(reply->dst_x, reply->dst_y) : QPoint(-1, -1);
    std::free(reply);
    return pt;
}

QImage PlainBrowser::screenshot()
{
    const uint16_t width = m_screen->width_in_pixels;
    const uint16_t height = m_screen->height_in_pixels;
    auto* reply = xcb_get_image_reply(
        m_connection, xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_screen->root, 0, 0, width, height, ~0u),
        nullptr);
    if (!reply)
        return {};
    const QImage image = QImage(xcb_get_image_data(reply), width, height, width * 4, QImage::Format_RGB32).copy();
    std::free(reply);
    return image;
}
