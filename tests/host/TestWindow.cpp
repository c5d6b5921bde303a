#include "TestWindow.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace lumo::test
{

TestScreen::TestScreen()
{
    server_.start("Xvfb", {"-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp"});
    while (!server_.canReadLine())
        if (!server_.waitForReadyRead(30000))
            throw std::runtime_error("Xvfb did not start");
    display_ = ":" + QString::fromLatin1(server_.readLine().trimmed());
    connection_ = xcb_connect(display_.toLatin1().constData(), nullptr);
    if (xcb_connection_has_error(connection_))
        throw std::runtime_error("no connection to Xvfb");
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

TestScreen::~TestScreen()
{
    if (connection_)
        xcb_disconnect(connection_);
    server_.terminate();
    server_.waitForFinished(30000);
}

uint32_t TestScreen::makeWindow(int64_t pid, const std::string& title, uint32_t parent)
{
    const uint32_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, parent ? parent : root_, 10, 10, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    if (pid != 0)
        setWords(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, {static_cast<uint32_t>(pid)});
    setTitle(window, title);
    xcb_map_window(connection_, window);
    barrier();
    return window;
}

void TestScreen::setTitle(uint32_t window, const std::string& title)
{
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8,
                        static_cast<uint32_t>(title.size()), title.data());
    barrier();
}

void TestScreen::setClientList(const std::vector<uint32_t>& windows)
{
    setWords(root_, "_NET_CLIENT_LIST", XCB_ATOM_WINDOW, windows);
}

void TestScreen::setActive(uint32_t window)
{
    setWords(root_, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, {window});
}

void TestScreen::focus(uint32_t window)
{
    xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    barrier();
}

void TestScreen::setWords(uint32_t window, const char* name, xcb_atom_t type, const std::vector<uint32_t>& words)
{
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                        static_cast<uint32_t>(words.size()), words.data());
    barrier();
}

xcb_atom_t TestScreen::atom(const char* name)
{
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name);
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(connection_, cookie, nullptr);
    const xcb_atom_t atom = reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

/// Returns when the server has done all that was asked before.
void TestScreen::barrier()
{
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

} // namespace lumo::test
