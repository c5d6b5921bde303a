// lumo-benchwindow TITLE X Y WIDTH HEIGHT: a plain window in a browser's place, for measurements without a browser.
// Prints one line of JSON, {"window":"<hex>"}, when the window can be seen; ends with its standard input.
#include <xcb/xcb.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

struct Free {
    void operator()(void* p) const { std::free(p); }
};
template <class T> using Reply = std::unique_ptr<T, Free>;

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    const auto cookie = xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name);
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

void setText(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property, xcb_atom_t type, const char* text,
             size_t size)
{
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, property, type, 8, uint32_t(size), text);
}

xcb_window_t makeWindow(xcb_connection_t* c, const xcb_screen_t& screen, char** argv)
{
    const xcb_window_t window = xcb_generate_id(c);
    const uint32_t values[] = {screen.white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen.root, int16_t(std::atoi(argv[2])),
                      int16_t(std::atoi(argv[3])), uint16_t(std::atoi(argv[4])), uint16_t(std::atoi(argv[5])), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    static constexpr char kClass[] = "chromium\0Chromium"; // one that the program knows as a browser
    setText(c, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, kClass, sizeof kClass);
    setText(c, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, argv[1], std::strlen(argv[1]));
    setText(c, window, atom(c, "_NET_WM_NAME"), atom(c, "UTF8_STRING"), argv[1], std::strlen(argv[1]));
    const auto pid = uint32_t(getpid());
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    // Without a window manager nobody says which window is in front; here this one always is.
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen.root, atom(c, "_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 32, 1,
                        &window);
    xcb_map_window(c, window);
    xcb_flush(c);
    return window;
}

/// Until standard input ends or the X server goes.
void serve(xcb_connection_t* c)
{
    pollfd ends[2] = {{STDIN_FILENO, POLLIN, 0}, {xcb_get_file_descriptor(c), POLLIN, 0}};
    char byte = 0;
    while (!xcb_connection_has_error(c) && poll(ends, 2, -1) > 0) {
        if (ends[0].revents && read(STDIN_FILENO, &byte, 1) <= 0)
            return;
        while (Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::fprintf(stderr, "usage: lumo-benchwindow TITLE X Y WIDTH HEIGHT\n");
        return 2;
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "lumo-benchwindow: no X server at $DISPLAY\n");
        return 1;
    }
    const xcb_window_t window = makeWindow(c, *xcb_setup_roots_iterator(xcb_get_setup(c)).data, argv);
    for (bool seen = false; !seen;) {
        const Reply<xcb_generic_event_t> event(xcb_wait_for_event(c));
        if (!event)
            return 1;
        seen = (event->response_type & 0x7F) == XCB_MAP_NOTIFY;
    }
    std::printf("{\"window\":\"%x\"}\n", window);
    std::fflush(stdout);
    serve(c);
    xcb_disconnect(c);
    return 0;
}
