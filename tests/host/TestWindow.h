// An X server of the test's own, and windows on it that claim what a browser's would.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QProcess>
#include <QString>

#include <xcb/xcb.h>

namespace lumo::test
{

class TestScreen
{
public:
    /// Throws std::runtime_error when no server comes up.
    TestScreen();
    ~TestScreen();

    /// For the host's environment.
    QString display() const { return display_; }

    /// A mapped top-level window with _NET_WM_PID and _NET_WM_NAME.
    uint32_t makeWindow(int64_t pid, const std::string& title, uint32_t parent = 0);
    void setTitle(uint32_t window, const std::string& title);

    /// What a window manager would say.
    void setClientList(const std::vector<uint32_t>& windows);
    void setActive(uint32_t window);

    /// Gives a window the keyboard, as happens without a window manager.
    void focus(uint32_t window);

private:
    void setWords(uint32_t window, const char* name, xcb_atom_t type, const std::vector<uint32_t>& words);
    xcb_atom_t atom(const char* name);
    void barrier();

    QProcess server_;
    QString display_;
    xcb_connection_t* connection_ = nullptr;
    xcb_window_t root_ = 0;
};

} // namespace lumo::test
