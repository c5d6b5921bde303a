#include "Display_x11.h"

#include <xcb/shape.h>

#include <cstdlib>

namespace lumo
{
namespace
{

std::mutex g_sharedLock;
std::weak_ptr<Display> g_shared;

} // namespace

std::shared_ptr<Display> Display::shared()
{
    std::lock_guard guard(g_sharedLock);
    auto display = g_shared.lock();
    if (display && !display->lost())
        return display;
    int screen = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return nullptr;
    }
    display = std::make_shared<Display>(connection, screen);
    g_shared = display;
    return display;
}

Display::Display(xcb_connection_t* connection, int screen) : m_connection(connection)
{
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (; screen > 0 && screens.rem > 1; --screen)
        xcb_screen_next(&screens);
    m_screen = screens.data;
    m_root = m_screen->root;

    // The environment variable is for displays whose server cannot see our memory and does not say so.
    const auto* shm = xcb_get_extension_data(m_connection, &xcb_shm_id);
    m_hasShm = shm && shm->present && !std::getenv("LUMODEC_NO_SHM");
    if (m_hasShm)
        m_shmEvent = uint8_t(shm->first_event + XCB_SHM_COMPLETION);
    const auto* shape = xcb_get_extension_data(m_connection, &xcb_shape_id);
    m_hasShape = shape && shape->present;
    if (m_hasShape) { // input shapes came with version 1.1
        XcbPtr<xcb_shape_query_version_reply_t> version(
            xcb_shape_query_version_reply(m_connection, xcb_shape_query_version(m_connection), nullptr));
        m_hasShape = version && (version->major_version > 1 || version->minor_version >= 1);
    }
    m_wakeWindow = xcb_generate_id(m_connection);
    xcb_create_window(m_connection, 0, m_wakeWindow, m_root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    m_thread = std::thread(&Display::run, this);
}

Display::~Display()
{
    m_quit = true;
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = m_wakeWindow;
    xcb_send_event(m_connection, false, m_wakeWindow, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(m_connection);
    m_thread.join();
    xcb_disconnect(m_connection);
}

bool Display::isBgrx(xcb_visualid_t visual, uint8_t depth) const
{
    if (depth != 24 && depth != 32)
        return false;
    if (xcb_get_setup(m_connection)->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return false;
    for (auto d = xcb_screen_allowed_depths_iterator(m_screen); d.rem; xcb_depth_next(&d))
        for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
            if (v.data->visual_id == visual)
                return v.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR && v.data->red_mask == 0xFF0000 &&
                       v.data->green_mask == 0xFF00 && v.data->blue_mask == 0xFF;
    return false;
}

void Display::watch(xcb_window_t window, DisplayListener* listener)
{
    std::lock_guard guard(m_lock);
    m_listeners.emplace(window, listener);
}

void Display::unwatch(DisplayListener* listener)
{
    std::lock_guard guard(m_lock);
    std::erase_if(m_listeners, [listener](const auto& row) { return row.second == listener; });
}

void Display::run()
{
    while (!m_quit) {
        XcbPtr<xcb_generic_event_t> event(xcb_wait_for_event(m_connection));
        if (!event)
            break; // the server is gone
        dispatch(*event);
    }
    m_lost = true;
    std::lock_guard guard(m_lock);
    for (const auto& [window, listener] : m_listeners)
        listener->onDisplayLost();
}

void Display::tell(xcb_window_t window, const xcb_generic_event_t& event)
{
    std::lock_guard guard(m_lock);
    const auto [begin, end] = m_listeners.equal_range(window);
    for (auto row = begin; row != end; ++row)
        row->second->onEvent(event);
}

void Display::dispatch(const xcb_generic_event_t& event)
{
    const uint8_t type = event.response_type & 0x7F;
    if (type == 0) {
        // Errors say which window they are about only where the request was about one; our requests that can fail
        // late are those on the foreign window and on our child inside it.
        const auto& error = reinterpret_cast<const xcb_generic_error_t&>(event);
        std::lock_guard guard(m_lock);
        const auto [begin, end] = m_listeners.equal_range(error.resource_id);
        for (auto row = begin; row != end; ++row)
            row->second->onWindowLost(error.resource_id);
        return;
    }
    if (m_hasShm && type == m_shmEvent) {
        const auto& done = reinterpret_cast<const xcb_shm_completion_event_t&>(event);
        std::lock_guard guard(m_lock);
        const auto [begin, end] = m_listeners.equal_range(done.drawable);
        for (auto row = begin; row != end; ++row)
            row->second->onShmDone(done.shmseg);
        return;
    }
    switch (type) {
    case XCB_EXPOSE:
        tell(reinterpret_cast<const xcb_expose_event_t&>(event).window, event);
        break;
    case XCB_CONFIGURE_NOTIFY:
        tell(reinterpret_cast<const xcb_configure_notify_event_t&>(event).window, event);
        break;
    case XCB_MAP_NOTIFY:
        tell(reinterpret_cast<const xcb_map_notify_event_t&>(event).window, event);
        break;
    case XCB_UNMAP_NOTIFY:
        tell(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window, event);
        break;
    case XCB_REPARENT_NOTIFY:
        tell(reinterpret_cast<const xcb_reparent_notify_event_t&>(event).window, event);
        break;
    case XCB_DESTROY_NOTIFY:
        tell(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window, event);
        break;
    default:
        break;
    }
}

} // namespace lumo
