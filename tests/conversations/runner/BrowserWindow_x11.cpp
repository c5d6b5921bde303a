#include "BrowserWindow.h"

#include "Failure.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QVector>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace
{

constexpr qint64 kConnectMs = 5000;

template <class T> using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T> Reply<T> own(T* reply)
{
    return Reply<T>(reply, &std::free);
}

} // namespace

struct Desktop::Impl {
    xcb_connection_t* c = nullptr;
    xcb_screen_t* screen = nullptr;

    xcb_atom_t atom(const char* name)
    {
        const auto cookie = xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name);
        const auto reply = own(xcb_intern_atom_reply(c, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }
    void setText(xcb_window_t w, xcb_atom_t property, xcb_atom_t type, const QByteArray& text)
    {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 8, static_cast<uint32_t>(text.size()),
                            text.constData());
    }
    void setNumber(xcb_window_t w, const char* property, xcb_atom_t type, uint32_t value)
    {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(property), type, 32, 1, &value);
    }
    uint32_t number(xcb_window_t w, const char* property)
    {
        const auto cookie = xcb_get_property(c, 0, w, atom(property), XCB_ATOM_ANY, 0, 1);
        const auto reply = own(xcb_get_property_reply(c, cookie, nullptr));
        return reply && xcb_get_property_value_length(reply.get()) >= 4
                   ? *static_cast<uint32_t*>(xcb_get_property_value(reply.get()))
                   : 0;
    }
    QVector<xcb_window_t> children(xcb_window_t w)
    {
        const auto reply = own(xcb_query_tree_reply(c, xcb_query_tree(c, w), nullptr));
        QVector<xcb_window_t> result;
        if (reply) {
            const auto* list = xcb_query_tree_children(reply.get());
            for (int i = 0; i < xcb_query_tree_children_length(reply.get()); ++i) {
                result << list[i];
            }
        }
        return result;
    }
    bool viewable(xcb_window_t w)
    {
        const auto cookie = xcb_get_window_attributes(c, w);
        const auto reply = own(xcb_get_window_attributes_reply(c, cookie, nullptr));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }
    QRect geometry(xcb_window_t w)
    {
        const auto reply = own(xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr));
        return reply ? QRect(reply->x, reply->y, reply->width, reply->height) : QRect();
    }
    /// All windows with this process id, at most two levels below the root (a window manager's frame between).
    QVector<xcb_window_t> topLevelsOf(qint64 pid)
    {
        QVector<xcb_window_t> result;
        for (const xcb_window_t top : children(screen->root)) {
            // A frame of the window manager bears no process id; a window that does is no frame.
            QVector<xcb_window_t> candidates{top};
            if (!number(top, "_NET_WM_PID")) {
                candidates += children(top);
            }
            for (const xcb_window_t w : candidates) {
                if (number(w, "_NET_WM_PID") == static_cast<uint32_t>(pid) && viewable(w)) {
                    result << w;
                }
            }
        }
        return result;
    }
    void flush()
    {
        // A question answered: all before has been done.
        own(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        while (auto event = own(xcb_poll_for_event(c))) {
        }
    }
};

Desktop::Desktop() : m(new Impl)
{
    // A server whose last client just went starts anew, and refuses whoever comes in that moment.
    int number = 0;
    QElapsedTimer timer;
    timer.start();
    m->c = xcb_connect(nullptr, &number);
    while (xcb_connection_has_error(m->c)) {
        xcb_disconnect(m->c);
        if (timer.elapsed() > kConnectMs) {
            throw Failure{"no X server at $DISPLAY"};
        }
        QThread::msleep(10); // between two tries; nobody tells when it takes clients again
        m->c = xcb_connect(nullptr, &number);
    }
    auto it = xcb_setup_roots_iterator(xcb_get_setup(m->c));
    for (; number > 0; --number) {
        xcb_screen_next(&it);
    }
    m->screen = it.data;
}

Desktop::~Desktop()
{
    xcb_disconnect(m->c);
}

WindowId Desktop::openWindow(const QString& title, const QRect& place, const QString& className)
{
    const xcb_window_t w = xcb_generate_id(m->c);
    const uint32_t values[] = {m->screen->white_pixel};
    xcb_create_window(m->c, XCB_COPY_FROM_PARENT, w, m->screen->root, static_cast<int16_t>(place.x()),
                      static_cast<int16_t>(place.y()), static_cast<uint16_t>(place.width()),
                      static_cast<uint16_t>(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m->screen->root_visual,
                      XCB_CW_BACK_PIXEL, values);
    const QByteArray name = className.toLatin1();
    m->setText(w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, name + '\0' + name + '\0');
    m->setNumber(w, "_NET_WM_PID", XCB_ATOM_CARDINAL, static_cast<uint32_t>(QCoreApplication::applicationPid()));
    // Opening it takes the foreground from nobody.
    m->setNumber(w, "_NET_WM_USER_TIME", XCB_ATOM_CARDINAL, 0);
    setTitle(w, title);
    xcb_map_window(m->c, w);
    m->flush();
    return w;
}

void Desktop::closeWindow(WindowId window)
{
    xcb_destroy_window(m->c, static_cast<xcb_window_t>(window));
    m->flush();
}

void Desktop::setTitle(WindowId window, const QString& title)
{
    const auto w = static_cast<xcb_window_t>(window);
    m->setText(w, m->atom("_NET_WM_NAME"), m->atom("UTF8_STRING"), title.toUtf8());
    m->setText(w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, title.toLatin1());
    m->flush();
}

void Desktop::moveWindow(WindowId window, QPoint to)
{
    const uint32_t values[] = {static_cast<uint32_t>(to.x()), static_cast<uint32_t>(to.y())};
    xcb_configure_window(m->c, static_cast<xcb_window_t>(window), XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    m->flush();
}

void Desktop::focus(WindowId window)
{
    const auto w = static_cast<xcb_window_t>(window);
    if (!m->number(m->screen->root, "_NET_SUPPORTING_WM_CHECK")) {
        xcb_change_property(m->c, XCB_PROP_MODE_REPLACE, m->screen->root, m->atom("_NET_ACTIVE_WINDOW"),
                            XCB_ATOM_WINDOW, 32, 1, &w);
        xcb_set_input_focus(m->c, XCB_INPUT_FOCUS_PARENT, w, XCB_CURRENT_TIME);
        m->flush();
        return;
    }
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = w;
    event.type = m->atom("_NET_ACTIVE_WINDOW");
    event.data.data32[0] = 2; // as a pager asks
    // A window manager passes over what it does not manage yet, so it is asked until it says so.
    QElapsedTimer timer;
    timer.start();
    while (m->number(m->screen->root, "_NET_ACTIVE_WINDOW") != w && timer.elapsed() < 20000) {
        xcb_send_event(m->c, 0, m->screen->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
        m->flush();
        QThread::msleep(10); // between two tries
    }
}

bool Desktop::exists(WindowId window)
{
    return !m->geometry(static_cast<xcb_window_t>(window)).isEmpty();
}

QRect Desktop::surface(WindowId browser)
{
    for (const xcb_window_t w : m->children(static_cast<xcb_window_t>(browser))) {
        if (m->viewable(w)) {
            return m->geometry(w);
        }
    }
    return QRect();
}

WindowId Desktop::fullScreenWindow(qint64 pid)
{
    for (const xcb_window_t w : m->topLevelsOf(pid)) {
        if (placeIn(w, m->screen->root) == QRect(0, 0, m->screen->width_in_pixels, m->screen->height_in_pixels)) {
            return w;
        }
    }
    return 0;
}

int Desktop::visibleTopLevels(qint64 pid)
{
    return m->topLevelsOf(pid).size();
}

QRect Desktop::placeIn(WindowId window, WindowId ancestor)
{
    const auto w = static_cast<xcb_window_t>(window);
    const auto cookie = xcb_translate_coordinates(m->c, w, static_cast<xcb_window_t>(ancestor), 0, 0);
    const auto reply = own(xcb_translate_coordinates_reply(m->c, cookie, nullptr));
    return reply ? QRect(QPoint(reply->dst_x, reply->dst_y), m->geometry(w).size()) : QRect();
}

WindowId Desktop::windowAt(WindowId window, QPoint at)
{
    const auto top = static_cast<xcb_window_t>(window);
    for (auto w = top;;) {
        const QPoint in = at - placeIn(w, window).topLeft();
        const auto cookie =
            xcb_translate_coordinates(m->c, w, w, static_cast<int16_t>(in.x()), static_cast<int16_t>(in.y()));
        const auto reply = own(xcb_translate_coordinates_reply(m->c, cookie, nullptr));
        if (!reply || !reply->child) {
            return m->children(w).isEmpty() && w != top ? w : 0;
        }
        w = reply->child;
    }
}

void Desktop::mouse(WindowId window, Mouse what, int button, QPoint at, quint32 timeMs)
{
    const QPoint onScreen = placeIn(window, m->screen->root).topLeft() + at;
    xcb_button_press_event_t event{};
    event.response_type = what == Mouse::Press     ? XCB_BUTTON_PRESS
                          : what == Mouse::Release ? XCB_BUTTON_RELEASE
                                                   : XCB_MOTION_NOTIFY;
    event.detail = what == Mouse::Move ? 0 : static_cast<uint8_t>(button);
    event.time = timeMs;
    event.root = m->screen->root;
    event.event = static_cast<xcb_window_t>(window);
    event.root_x = static_cast<int16_t>(onScreen.x());
    event.root_y = static_cast<int16_t>(onScreen.y());
    event.event_x = static_cast<int16_t>(at.x());
    event.event_y = static_cast<int16_t>(at.y());
    event.state =
        what == Mouse::Press ? 0 : static_cast<uint16_t>(button ? XCB_KEY_BUT_MASK_BUTTON_1 << (button - 1) : 0);
    event.same_screen = 1;
    xcb_send_event(m->c, 0, event.event, 0, reinterpret_cast<const char*>(&event));
    m->flush();
}

void Desktop::keyRelease(WindowId window, quint32 keySymbol, quint32 timeMs)
{
    const auto* setup = xcb_get_setup(m->c);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const auto cookie = xcb_get_keyboard_mapping(m->c, setup->min_keycode, static_cast<uint8_t>(count));
    const auto map = own(xcb_get_keyboard_mapping_reply(m->c, cookie, nullptr));
    xcb_key_release_event_t event{};
    for (int i = 0; map && i < count; ++i) {
        if (xcb_get_keyboard_mapping_keysyms(map.get())[i * map->keysyms_per_keycode] == keySymbol) {
            event.detail = static_cast<xcb_keycode_t>(setup->min_keycode + i);
        }
    }
    event.response_type = XCB_KEY_RELEASE;
    event.time = timeMs;
    event.root = m->screen->root;
    event.event = static_cast<xcb_window_t>(window);
    event.same_screen = 1;
    xcb_send_event(m->c, 0, event.event, 0, reinterpret_cast<const char*>(&event));
    m->flush();
}
