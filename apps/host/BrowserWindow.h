// Finds the browser's top-level window that shows the page at the far end of a connection, so that the process can
// embed into it without guessing by title.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::host
{

/// The two ports of the page's TCP connection over loopback, as seen from the host.
struct PageConnection {
    uint16_t peerPort = 0;
    uint16_t ownPort = 0;
};

struct TopLevelWindow {
    uint64_t handle = 0;
    int64_t pid = 0; // 0 when the window does not tell
    std::string title;
    bool active = false;
};

struct WindowChoice {
    uint64_t handle = 0; // 0: none
    bool sure = true;    // false: there were several and none bears the page's title (yet)
};

/// The rule: a window of these processes (nearest to the connection first) that bears the title; else, of the nearest
/// process that has windows, the active one or the only one. Pure.
WindowChoice chooseWindow(const std::vector<int64_t>& pids, const std::vector<TopLevelWindow>& windows,
                          std::string_view title);

/// Lower-case hexadecimal digits without prefix; empty for 0.
std::string windowText(uint64_t handle);

/// The process that holds the far end of the connection, then its parents, nearest first. Empty when it cannot be told.
/// Blocking for some milliseconds.
std::vector<int64_t> connectionProcesses(const PageConnection& connection);

/// All top-level windows of the screen, as far as the window system tells; empty without one. Blocking as above.
std::vector<TopLevelWindow> topLevelWindows();

/// The three together.
WindowChoice findBrowserWindow(const PageConnection& connection, std::string_view title);

} // namespace lumo::host
