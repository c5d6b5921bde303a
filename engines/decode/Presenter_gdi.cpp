// Presenter for Windows: a child window over the given one, two memory bitmaps, one shown while the other is painted.
//
// A window belongs to the thread that made it and needs that thread's message loop. The port's thread has none, and the
// program's GUI thread may be waiting for the port; so all children live on one thread of ours. They are disabled, so
// that input goes to the owner, and tell the owner nothing.
#include "Presenter.h"

#include <windows.h>

#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace lumo
{
namespace
{

constexpr wchar_t kClassName[] = L"LumoDecodeView";
constexpr UINT kMakeChild = WM_APP + 1; // lParam: PresenterGdi*, the child comes back as the result
constexpr UINT kDropChild = WM_APP + 2; // lParam: HWND
constexpr UINT kFollow = WM_APP + 3;    // lParam: HWND; wParam: width and height
constexpr UINT kLookMs = 100;           // between two looks at the owner's window

/// 32 bits B G R X, top row first, with a device context to draw on.
class Bitmap
{
public:
    Bitmap(int width, int height) : m_width(width), m_height(height)
    {
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        void* bits = nullptr;
        m_context = CreateCompatibleDC(nullptr);
        m_bitmap = CreateDIBSection(m_context, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        m_bits = static_cast<uint8_t*>(bits);
        if (m_bitmap)
            m_before = SelectObject(m_context, m_bitmap);
    }
    ~Bitmap()
    {
        if (m_before)
            SelectObject(m_context, m_before);
        if (m_bitmap)
            DeleteObject(m_bitmap);
        if (m_context)
            DeleteDC(m_context);
    }
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    HDC context() const { return m_context; }
    uint8_t* bits() const { return m_bits; }
    int width() const { return m_width; }
    int height() const { return m_height; }

private:
    const int m_width, m_height;
    HDC m_context = nullptr;
    HBITMAP m_bitmap = nullptr;
    HGDIOBJ m_before = nullptr;
    uint8_t* m_bits = nullptr;
};

class PresenterGdi;

/// The thread of all children. It lives as long as one presenter does.
class ViewThread
{
public:
    static std::shared_ptr<ViewThread> shared();
    ViewThread();
    ~ViewThread();

    /// Null when the parent does not exist.
    HWND makeChild(PresenterGdi* presenter)
    {
        return reinterpret_cast<HWND>(SendMessageW(m_control, kMakeChild, 0, reinterpret_cast<LPARAM>(presenter)));
    }
    void dropChild(HWND child) { SendMessageW(m_control, kDropChild, 0, reinterpret_cast<LPARAM>(child)); }
    void follow(HWND child, int width, int height)
    {
        PostMessageW(m_control, kFollow, WPARAM(MAKELONG(width, height)), reinterpret_cast<LPARAM>(child));
    }

private:
    void run();
    static LRESULT CALLBACK onControl(HWND window, UINT message, WPARAM w, LPARAM l);
    static LRESULT CALLBACK onChild(HWND window, UINT message, WPARAM w, LPARAM l);

    HWND m_control = nullptr;
    std::mutex m_lock;
    std::condition_variable m_ready;
    bool m_started = false;
    std::thread m_thread;
};

class PresenterGdi final : public Presenter
{
public:
    PresenterGdi(HWND parent, std::function<void()> wake)
        : m_views(ViewThread::shared()), m_parent(parent), m_wake(std::move(wake))
    {
    }
    ~PresenterGdi() override
    {
        if (m_child)
            m_views->dropChild(m_child);
    }

    State poll() override;
    Surface begin() override;
    void show() override;
    void showAgain() override;
    void* drawContext() override { return m_images[m_painting]->context(); }

    HWND parent() const { return m_parent; }
    /// View thread, or the port's: the last picture at the child's size.
    void paintInto(HWND child, HDC context);
    /// View thread: wakes the port when the owner's window has changed.
    void lookAround();

private:
    const std::shared_ptr<ViewThread> m_views;
    const HWND m_parent;
    const std::function<void()> m_wake;
    HWND m_child = nullptr; // port thread only
    size_t m_painting = 0;  // port thread only

    std::mutex m_lock; // guards what follows
    std::array<std::unique_ptr<Bitmap>, 2> m_images;
    int m_shown = -1; // image that stands on the window
    bool m_mapped = false;

    int m_seenWidth = 0, m_seenHeight = 0; // view thread only; what lookAround saw last
};

/// Windows tells a child nothing about its parent's size or visibility: it is asked before every picture, and by a
/// timer in between.
Presenter::State PresenterGdi::poll()
{
    if (!IsWindow(m_parent))
        return {};
    if (!m_child)
        m_child = m_views->makeChild(this);
    RECT area = {};
    if (!m_child || !IsWindow(m_child) || !IsWindowVisible(m_parent) || !GetClientRect(m_parent, &area))
        return {};
    return {int(area.right), int(area.bottom), false};
}

Surface PresenterGdi::begin()
{
    const State state = poll();
    if (state.width < 1 || state.height < 1)
        return {};
    std::lock_guard guard(m_lock);
    m_painting = m_shown == 0 ? 1 : 0;
    auto& image = m_images[m_painting];
    if (!image || image->width() != state.width || image->height() != state.height)
        image = std::make_unique<Bitmap>(state.width, state.height);
    GdiFlush(); // what GDI still draws into the bitmap must be done before its bits are written
    return {image->bits(), image->width(), image->height(), image->width() * 4};
}

void PresenterGdi::show()
{
    GdiFlush();
    int width = 0, height = 0;
    {
        std::lock_guard guard(m_lock);
        m_shown = int(m_painting);
        width = m_images[m_painting]->width();
        height = m_images[m_painting]->height();
    }
    RECT area = {};
    GetClientRect(m_child, &area);
    if (!m_mapped || area.right != width || area.bottom != height) {
        m_mapped = true;
        m_views->follow(m_child, width, height);
    }
    showAgain();
}

void PresenterGdi::showAgain()
{
    HDC context = GetDC(m_child);
    if (!context)
        return;
    paintInto(m_child, context);
    ReleaseDC(m_child, context);
}

void PresenterGdi::paintInto(HWND child, HDC context)
{
    std::lock_guard guard(m_lock);
    if (m_shown < 0)
        return;
    const Bitmap& image = *m_images[size_t(m_shown)];
    RECT area = {};
    GetClientRect(child, &area);
    if (area.right == image.width() && area.bottom == image.height()) {
        BitBlt(context, 0, 0, image.width(), image.height(), image.context(), 0, 0, SRCCOPY);
        return;
    }
    // Between a change of size and the next picture the last one is stretched.
    SetStretchBltMode(context, COLORONCOLOR);
    StretchBlt(context, 0, 0, area.right, area.bottom, image.context(), 0, 0, image.width(), image.height(), SRCCOPY);
}

void PresenterGdi::lookAround()
{
    RECT area = {};
    if (IsWindowVisible(m_parent))
        GetClientRect(m_parent, &area);
    if (area.right == m_seenWidth && area.bottom == m_seenHeight)
        return;
    m_seenWidth = int(area.right);
    m_seenHeight = int(area.bottom);
    m_wake();
}

// ---- the view thread

std::shared_ptr<ViewThread> ViewThread::shared()
{
    static std::mutex lock;
    static std::weak_ptr<ViewThread> kept;
    std::lock_guard guard(lock);
    auto views = kept.lock();
    if (!views) {
        views = std::make_shared<ViewThread>();
        kept = views;
    }
    return views;
}

ViewThread::ViewThread()
{
    m_thread = std::thread(&ViewThread::run, this);
    std::unique_lock guard(m_lock);
    m_ready.wait(guard, [this] { return m_started; });
}

ViewThread::~ViewThread()
{
    PostMessageW(m_control, WM_CLOSE, 0, 0);
    m_thread.join();
}

void ViewThread::run()
{
    HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSW child = {};
    child.lpfnWndProc = &ViewThread::onChild;
    child.hInstance = instance;
    child.lpszClassName = kClassName;
    RegisterClassW(&child);
    WNDCLASSW control = {};
    control.lpfnWndProc = &ViewThread::onControl;
    control.hInstance = instance;
    control.lpszClassName = L"LumoDecodeControl";
    RegisterClassW(&control);
    {
        std::lock_guard guard(m_lock);
        m_control = CreateWindowW(control.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, instance, nullptr);
        m_started = true;
        m_ready.notify_all();
    }
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

LRESULT CALLBACK ViewThread::onControl(HWND window, UINT message, WPARAM w, LPARAM l)
{
    switch (message) {
    case kMakeChild: {
        auto* presenter = reinterpret_cast<PresenterGdi*>(l);
        HWND child = CreateWindowExW(WS_EX_NOPARENTNOTIFY, kClassName, L"", WS_CHILD | WS_DISABLED | WS_CLIPSIBLINGS, 0,
                                     0, 1, 1, presenter->parent(), nullptr, GetModuleHandleW(nullptr), nullptr);
        if (child) {
            SetWindowLongPtrW(child, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(presenter));
            SetWindowPos(child, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
            SetTimer(child, 1, kLookMs, nullptr);
        }
        return reinterpret_cast<LRESULT>(child);
    }
    case kDropChild:
        SetWindowLongPtrW(reinterpret_cast<HWND>(l), GWLP_USERDATA, 0);
        DestroyWindow(reinterpret_cast<HWND>(l));
        return 0;
    case kFollow:
        SetWindowPos(reinterpret_cast<HWND>(l), HWND_BOTTOM, 0, 0, LOWORD(w), HIWORD(w),
                     SWP_NOACTIVATE | SWP_SHOWWINDOW | SWP_NOCOPYBITS); // what it shows was stretched to the old size
        return 0;
    case WM_CLOSE:
        DestroyWindow(window);
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcW(window, message, w, l);
    }
}

LRESULT CALLBACK ViewThread::onChild(HWND window, UINT message, WPARAM w, LPARAM l)
{
    auto* presenter = reinterpret_cast<PresenterGdi*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
    case WM_ERASEBKGND:
        return 1; // never a flash of background under the picture
    case WM_TIMER:
        if (presenter)
            presenter->lookAround();
        return 0;
    case WM_PAINT: {
        PAINTSTRUCT paint;
        HDC context = BeginPaint(window, &paint);
        if (presenter)
            presenter->paintInto(window, context);
        EndPaint(window, &paint);
        return 0;
    }
    default:
        return DefWindowProcW(window, message, w, l);
    }
}

} // namespace

std::unique_ptr<Presenter> createPresenter(LumoWindow window, std::function<void()> wake)
{
    if (window == 0)
        return nullptr;
    return std::make_unique<PresenterGdi>(reinterpret_cast<HWND>(uintptr_t(window)), std::move(wake));
}

} // namespace lumo
