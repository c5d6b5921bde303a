// The one connection to the X server that all ports share, and the thread that reads its events.
//
// XCB, not Xlib: a window that vanishes while it is painted on gives an error on this connection, it does not end the
// process. The connection opens with the first window and closes behind the last.
#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lumo
{

/// Receives what happens to the windows it watches. Called on the event thread, with the display locked: keep it short,
/// make no call on the display.
class DisplayListener
{
public:
    virtual ~DisplayListener() = default;
    virtual void onEvent(const xcb_generic_event_t& event) = 0;
    virtual void onShmDone(xcb_shm_seg_t segment) = 0;
    /// A request on this window failed: it is gone.
    virtual void onWindowLost(xcb_window_t window) = 0;
    virtual void onDisplayLost() = 0;
};

class Display
{
public:
    /// The shared one; null when no X server answers.
    static std::shared_ptr<Display> shared();

    Display(xcb_connection_t* connection, int screen);
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    xcb_connection_t* connection() const { return m_connection; }
    bool hasShm() const { return m_hasShm; }
    bool hasShape() const { return m_hasShape; }
    bool lost() const { return m_lost; }
    xcb_window_t root() const { return m_root; }
    /// Whether pixels of this visual are 32 bits B G R X.
    bool isBgrx(xcb_visualid_t visual, uint8_t depth) const;

    /// From here on the listener hears of the window. One listener may watch many, many may watch one.
    void watch(xcb_window_t window, DisplayListener* listener);
    /// Returns when the listener is not being called and will not be again.
    void unwatch(DisplayListener* listener);

private:
    void run();
    void dispatch(const xcb_generic_event_t& event);
    void tell(xcb_window_t window, const xcb_generic_event_t& event);

    xcb_connection_t* const m_connection;
    const xcb_screen_t* m_screen = nullptr;
    xcb_window_t m_root = 0;
    xcb_window_t m_wakeWindow = 0; // a window of our own, to wake the event thread
    bool m_hasShm = false, m_hasShape = false;
    uint8_t m_shmEvent = 0;
    std::atomic<bool> m_lost{false}; // written by the event thread
    std::atomic<bool> m_quit{false};

    std::mutex m_lock; // guards m_listeners, held while they are called
    std::multimap<xcb_window_t, DisplayListener*> m_listeners;
    std::thread m_thread;
};

/// Frees what XCB allocated.
struct XcbFree {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using XcbPtr = std::unique_ptr<T, XcbFree>;

} // namespace lumo
