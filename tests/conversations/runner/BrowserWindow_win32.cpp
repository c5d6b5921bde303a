// Windows: USER32. A browser of the Chromium kind shows its page in a child window of its own class, one without has
// none; both windows here have no frame, so that the client area begins in the corner.
#include "BrowserWindow.h"

#include "Failure.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <vector>

#include <windows.h>

namespace
{

constexpr wchar_t kTopClass[] = L"Chrome_WidgetWin_1";
constexpr wchar_t kPageClass[] = L"Chrome_RenderWidgetHostHWND";
constexpr quint32 kEscapeSymbol = 0xff1b;

HWND hwnd(WindowId window)
{
    return reinterpret_cast<HWND>(window);
}

WindowId idOf(HWND window)
{
    return reinterpret_cast<WindowId>(window);
}

DWORD processOf(HWND window)
{
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    return pid;
}

QRect rectOf(HWND window)
{
    RECT rc = {};
    GetWindowRect(window, &rc);
    return QRect(rc.left, rc.top, rc.right - rc.left, rc.bottom - rc.top);
}

std::vector<HWND> visibleTopLevelsOf(qint64 pid)
{
    struct Search {
        DWORD pid;
        std::vector<HWND> found;
    } search{static_cast<DWORD>(pid), {}};
    EnumWindows(
        [](HWND window, LPARAM target) -> BOOL {
            auto* search = reinterpret_cast<Search*>(target);
            if (processOf(window) == search->pid && IsWindowVisible(window)) {
                search->found.push_back(window);
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

/// What the program put into the browser's window, as its child or as a window that it owns; null while none can be
/// seen.
HWND surfaceOf(HWND browser)
{
    for (HWND w = GetWindow(browser, GW_CHILD); w; w = GetWindow(w, GW_HWNDNEXT)) {
        if (processOf(w) != GetCurrentProcessId() && IsWindowVisible(w)) {
            return w;
        }
    }
    for (HWND w = GetTopWindow(nullptr); w; w = GetWindow(w, GW_HWNDNEXT)) {
        if (GetWindow(w, GW_OWNER) == browser && processOf(w) != GetCurrentProcessId() && IsWindowVisible(w)) {
            return w;
        }
    }
    return nullptr;
}

bool isOwnedByAnother(HWND window)
{
    const HWND owner = GetWindow(window, GW_OWNER);
    return owner && processOf(owner) != processOf(window);
}

LPARAM pack(QPoint at)
{
    return MAKELPARAM(at.x(), at.y());
}

} // namespace

struct Desktop::Impl {
    quint32 lastTimeMs = 0;   // told for the last input
    QElapsedTimer sinceInput; // since it was sent
    std::vector<HWND> opened;

    /// A posted message bears the time at which it was posted; what is told to be apart has to be.
    void keepApart(quint32 timeMs)
    {
        const qint64 apart = qMin<qint64>(qint64(timeMs) - lastTimeMs, GetDoubleClickTime() + 50);
        if (sinceInput.isValid() && apart > 100 && sinceInput.elapsed() < apart) {
            // Time itself is meant: whether two clicks are one double click is told by their times alone.
            QThread::msleep(static_cast<unsigned long>(apart - sinceInput.elapsed()));
        }
        lastTimeMs = timeMs;
        sinceInput.start();
    }
};

Desktop::Desktop() : m(new Impl)
{
    for (const wchar_t* name : {kTopClass, kPageClass}) {
        WNDCLASSW c = {};
        c.lpfnWndProc = DefWindowProcW;
        c.hInstance = GetModuleHandleW(nullptr);
        c.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
        c.lpszClassName = name;
        RegisterClassW(&c);
    }
}

Desktop::~Desktop()
{
    for (const HWND window : m->opened) {
        DestroyWindow(window); // one that is gone already is no harm
    }
}

WindowId Desktop::openWindow(const QString& title, const QRect& place, const QString& className)
{
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    const HWND window =
        CreateWindowExW(0, kTopClass, reinterpret_cast<const wchar_t*>(title.utf16()), WS_POPUP | WS_CLIPCHILDREN,
                        place.x(), place.y(), place.width(), place.height(), nullptr, nullptr, instance, nullptr);
    if (!window) {
        throw Failure{"the browser's window cannot be made"};
    }
    m->opened.push_back(window);
    if (className == "chromium") {
        CreateWindowExW(0, kPageClass, L"", WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS, 0, 0, place.width(),
                        place.height(), window, nullptr, instance, nullptr);
    }
    ShowWindow(window, SW_SHOWNOACTIVATE);
    return idOf(window);
}

void Desktop::closeWindow(WindowId window)
{
    DestroyWindow(hwnd(window));
}

void Desktop::setTitle(WindowId window, const QString& title)
{
    SetWindowTextW(hwnd(window), reinterpret_cast<const wchar_t*>(title.utf16()));
}

void Desktop::moveWindow(WindowId window, QPoint to)
{
    SetWindowPos(hwnd(window), nullptr, to.x(), to.y(), 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void Desktop::focus(WindowId window)
{
    SetForegroundWindow(hwnd(window));
}

bool Desktop::exists(WindowId window)
{
    return IsWindow(hwnd(window));
}

QRect Desktop::surface(WindowId browser)
{
    const HWND surface = surfaceOf(hwnd(browser));
    return surface ? placeIn(idOf(surface), browser) : QRect();
}

WindowId Desktop::fullScreenWindow(qint64 pid)
{
    const QRect screen(0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN));
    for (const HWND w : visibleTopLevelsOf(pid)) {
        if (rectOf(w) == screen) {
            return idOf(w);
        }
    }
    return 0;
}

int Desktop::visibleTopLevels(qint64 pid)
{
    const std::vector<HWND> all = visibleTopLevelsOf(pid);
    return static_cast<int>(std::count_if(all.begin(), all.end(), [](HWND w) { return !isOwnedByAnother(w); }));
}

QRect Desktop::placeIn(WindowId window, WindowId ancestor)
{
    QRect place = rectOf(hwnd(window));
    POINT corner = {};
    ClientToScreen(hwnd(ancestor), &corner);
    return place.translated(-corner.x, -corner.y);
}

WindowId Desktop::windowAt(WindowId window, QPoint at)
{
    POINT onScreen = {at.x(), at.y()};
    ClientToScreen(hwnd(window), &onScreen);
    const HWND surface = surfaceOf(hwnd(window));
    HWND w = surface && rectOf(surface).contains(onScreen.x, onScreen.y) ? surface : hwnd(window);
    for (;;) {
        POINT in = onScreen;
        ScreenToClient(w, &in);
        const HWND child = ChildWindowFromPointEx(w, in, CWP_SKIPINVISIBLE);
        if (!child || child == w) {
            break;
        }
        w = child;
    }
    const bool isPrograms = processOf(w) != GetCurrentProcessId();
    return isPrograms && !GetWindow(w, GW_CHILD) ? idOf(w) : 0;
}

void Desktop::mouse(WindowId window, Mouse what, int button, QPoint at, quint32 timeMs)
{
    m->keepApart(timeMs);
    const bool right = button == 3;
    const WPARAM held = what == Mouse::Release ? 0 : right ? MK_RBUTTON : MK_LBUTTON;
    const UINT press = right ? WM_RBUTTONDOWN : WM_LBUTTONDOWN;
    const UINT release = right ? WM_RBUTTONUP : WM_LBUTTONUP;
    const UINT message = what == Mouse::Press ? press : what == Mouse::Release ? release : WM_MOUSEMOVE;
    PostMessageW(hwnd(window), message, held, pack(at));
}

void Desktop::keyRelease(WindowId window, quint32 keySymbol, quint32 timeMs)
{
    m->keepApart(timeMs);
    const WPARAM key = keySymbol == kEscapeSymbol ? VK_ESCAPE : 0;
    const LPARAM scan = LPARAM(MapVirtualKeyW(UINT(key), MAPVK_VK_TO_VSC)) << 16;
    // A release that nothing was pressed for is passed over.
    PostMessageW(hwnd(window), WM_KEYDOWN, key, scan | 1);
    PostMessageW(hwnd(window), WM_KEYUP, key, scan | LPARAM(0xC0000001));
}
