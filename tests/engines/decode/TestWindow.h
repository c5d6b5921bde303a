// Windows that belong to the test, on a connection of their own, as the program's windows are: and what is on them.
#pragma once

#include "decode/LumoDecode.h"

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <iosfwd>
#include <vector>

struct Rgb {
    int r = -1, g = -1, b = -1;
    bool near(const Rgb& o, int by = 6) const
    {
        return std::abs(r - o.r) <= by && std::abs(g - o.g) <= by && std::abs(b - o.b) <= by;
    }
};
std::ostream& operator<<(std::ostream& out, const Rgb& c);

/// What a window shows, children included.
struct Shot {
    int width = 0, height = 0;
    std::vector<uint8_t> bgrx;
    Rgb at(int x, int y) const;
    /// The number in the bars that clip::numbered paints; -1 when they cannot be read.
    int number() const;
    bool operator==(const Shot&) const = default;
};

class TestWindow
{
public:
    /// parent 0: at the root, without a window manager's interference. The background is magenta.
    TestWindow(int width, int height, xcb_window_t parent = 0, bool mapped = true);
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    LumoWindow id() const { return m_window; }
    xcb_window_t xid() const { return m_window; }
    void map();
    void unmap();
    void resize(int width, int height);
    void destroy();
    void reparent(xcb_window_t parent);
    /// Wipes the window with its background, children too, as another window passing over it would.
    void cover();
    std::vector<xcb_window_t> children() const;

    Shot shot() const;
    static xcb_connection_t* connection();

private:
    xcb_window_t m_window = 0;
};

inline constexpr Rgb kMagenta{255, 0, 255};
