// Windows that belong to the test, on a connection or a thread of their own, as the program's windows are: and what is
// on them. One implementation file per window system (TestWindow_x11.cpp, TestWindow_gdi.cpp).
#pragma once

#include "decode/LumoDecode.h"

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

/// The same in a cell that is being painted, for draw callbacks.
int numberIn(const LumoDrawSurface& cell);

class TestWindow
{
public:
    /// parent 0: at the root, without a window manager's interference. The background is magenta.
    TestWindow(int width, int height, LumoWindow parent = 0, bool mapped = true);
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    LumoWindow id() const { return m_window; }
    void map();
    void unmap();
    void resize(int width, int height);
    void destroy();
    void moveTo(int x, int y);
    /// Above all windows that stand beside it.
    void raise();
    void reparent(LumoWindow parent);
    /// Wipes the window with its background, children too, as another window passing over it would.
    void cover();
    std::vector<LumoWindow> children() const;

    Shot shot() const;

private:
    LumoWindow m_window = 0;
};

inline constexpr Rgb kMagenta{255, 0, 255};
