// Windows: the windows live on a thread of their own with a message loop, as a program's do; what they show is read
// from the screen.
#include "TestWindow.h"

#include <windows.h>

#include <functional>
#include <thread>

namespace
{

constexpr wchar_t kClass[] = L"LumoTestWindow";
constexpr UINT kRun = WM_APP + 1; // lParam: std::function<void()>*

HWND hwnd(LumoWindow window)
{
    return reinterpret_cast<HWND>(uintptr_t(window));
}

LumoWindow idOf(HWND window)
{
    return LumoWindow(reinterpret_cast<uintptr_t>(window));
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM w, LPARAM l)
{
    if (message != kRun)
        return DefWindowProcW(window, message, w, l);
    (*reinterpret_cast<std::function<void()>*>(l))();
    return 0;
}

/// The message-only window of the windows' thread, which ends with the process.
HWND control()
{
    static const HWND window = [] {
        HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        HWND made = nullptr;
        std::thread([&made, ready] {
            WNDCLASSW c = {};
            c.lpfnWndProc = onMessage;
            c.hInstance = GetModuleHandleW(nullptr);
            c.hbrBackground = CreateSolidBrush(RGB(255, 0, 255));
            c.lpszClassName = kClass;
            RegisterClassW(&c);
            made = CreateWindowW(kClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, c.hInstance, nullptr);
            SetEvent(ready);
            MSG message;
            while (GetMessageW(&message, nullptr, 0, 0) > 0)
                DispatchMessageW(&message);
        }).detach();
        WaitForSingleObject(ready, INFINITE);
        CloseHandle(ready);
        return made;
    }();
    return window;
}

void onTheirThread(std::function<void()> work)
{
    SendMessageW(control(), kRun, 0, reinterpret_cast<LPARAM>(&work));
}

} // namespace

TestWindow::TestWindow(int width, int height, LumoWindow parent, bool mapped)
{
    onTheirThread([&] {
        const DWORD style = (parent ? WS_CHILD : WS_POPUP) | WS_CLIPCHILDREN | WS_CLIPSIBLINGS;
        m_window = idOf(CreateWindowExW(parent ? 0 : WS_EX_TOOLWINDOW, kClass, L"", style, 0, 0, width, height,
                                        hwnd(parent), nullptr, GetModuleHandleW(nullptr), nullptr));
        // The newest stands above, as on an X server.
        SetWindowPos(hwnd(m_window), HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    });
    if (mapped)
        map();
}

TestWindow::~TestWindow()
{
    destroy();
}

void TestWindow::map()
{
    onTheirThread([this] {
        ShowWindow(hwnd(m_window), SW_SHOWNOACTIVATE);
        UpdateWindow(hwnd(m_window));
    });
}

void TestWindow::unmap()
{
    onTheirThread([this] { ShowWindow(hwnd(m_window), SW_HIDE); });
}

void TestWindow::resize(int width, int height)
{
    onTheirThread([=, this] {
        SetWindowPos(hwnd(m_window), nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    });
}

void TestWindow::moveTo(int x, int y)
{
    onTheirThread(
        [=, this] { SetWindowPos(hwnd(m_window), nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE); });
}

void TestWindow::raise()
{
    onTheirThread(
        [this] { SetWindowPos(hwnd(m_window), HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE); });
}

void TestWindow::destroy()
{
    if (m_window)
        onTheirThread([this] { DestroyWindow(hwnd(m_window)); });
    m_window = 0;
}

void TestWindow::reparent(LumoWindow parent)
{
    onTheirThread([=, this] { SetParent(hwnd(m_window), hwnd(parent)); });
}

void TestWindow::cover()
{
    onTheirThread([this] {
        RedrawWindow(hwnd(m_window), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
    });
}

std::vector<LumoWindow> TestWindow::children() const
{
    std::vector<LumoWindow> found;
    for (HWND w = GetWindow(hwnd(m_window), GW_CHILD); w; w = GetWindow(w, GW_HWNDNEXT))
        found.push_back(idOf(w));
    return found;
}

Shot TestWindow::shot() const
{
    Shot shot;
    RECT area = {};
    POINT corner = {};
    if (!IsWindowVisible(hwnd(m_window)) || !GetClientRect(hwnd(m_window), &area) ||
        !ClientToScreen(hwnd(m_window), &corner))
        return shot;
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = area.right;
    info.bmiHeader.biHeight = -area.bottom;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bitmap) {
        const HGDIOBJ before = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, area.right, area.bottom, screen, corner.x, corner.y, SRCCOPY);
        GdiFlush();
        shot.width = area.right;
        shot.height = area.bottom;
        const auto* data = static_cast<const uint8_t*>(bits);
        shot.bgrx.assign(data, data + size_t(area.right) * size_t(area.bottom) * 4);
        SelectObject(memory, before);
        DeleteObject(bitmap);
    }
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return shot;
}
