// Pixels of the X screen through shared memory, for tools and tests.
//
// Thread: one. Errors: a rectangle that cannot be read gives a null pointer; open() false without a usable display.
#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <vector>

struct ScreenRect {
    int x = 0, y = 0, width = 0, height = 0; // pixels
};

class ScreenGrabber
{
public:
    ScreenGrabber() = default;
    ~ScreenGrabber();
    ScreenGrabber(const ScreenGrabber&) = delete;
    ScreenGrabber& operator=(const ScreenGrabber&) = delete;

    /// Connects to $DISPLAY.
    bool open();
    int width() const { return m_width; }
    int height() const { return m_height; }

    /// One pointer per rectangle, to rows of width * 4 bytes, blue first. Valid until the next grab. All requests go
    /// out before the first answer is awaited. Together they must not exceed the screen's area.
    std::vector<const uint8_t*> grab(const std::vector<ScreenRect>& rects);

private:
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
    xcb_shm_seg_t m_segment = 0;
    uint8_t* m_memory = nullptr;
    size_t m_size = 0; // bytes of the segment
    int m_width = 0, m_height = 0;
};
