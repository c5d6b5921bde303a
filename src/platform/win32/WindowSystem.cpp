// WindowSystem on Windows: one call of USER32 each.
#include "platform/WindowSystem.h"

#include <QSysInfo>
#include <QVarLengthArray>
#include <QWidget>
#include <windows.h>

namespace platform
{
namespace
{
HWND asHwnd(WindowHandle hWnd)
{
    return reinterpret_cast<HWND>(hWnd);
}
WindowHandle asHandle(HWND hWnd)
{
    return reinterpret_cast<WindowHandle>(hWnd);
}
} // namespace

bool isWindow(WindowHandle hWnd)
{
    return IsWindow(asHwnd(hWnd));
}
bool isVisible(WindowHandle hWnd)
{
    return IsWindowVisible(asHwnd(hWnd));
}

WindowHandle parentOf(WindowHandle hWnd)
{
    return asHandle(GetParent(asHwnd(hWnd)));
}
WindowHandle firstChildOf(WindowHandle hWnd)
{
    return asHandle(GetWindow(asHwnd(hWnd), GW_CHILD));
}
WindowHandle nextSiblingOf(WindowHandle hWnd)
{
    return asHandle(GetWindow(asHwnd(hWnd), GW_HWNDNEXT));
}
WindowHandle previousInZOrder(WindowHandle hWnd)
{
    return asHandle(GetWindow(asHwnd(hWnd), GW_HWNDPREV));
}
WindowHandle foregroundWindow()
{
    return asHandle(GetForegroundWindow());
}

QByteArray classNameOf(WindowHandle hWnd, int nBuffer)
{
    QByteArray text(nBuffer, 0);
    return text.left(GetClassNameA(asHwnd(hWnd), text.data(), nBuffer));
}

QByteArray titleBytesOf(WindowHandle hWnd, int nBuffer)
{
    if (!isWindow(hWnd)) // Wine leaves the buffer to chance then
        return {};
    QByteArray text(nBuffer, 0);
    return text.left(GetWindowTextA(asHwnd(hWnd), text.data(), nBuffer));
}

QString titleOf(WindowHandle hWnd, int nBuffer)
{
    QVarLengthArray<wchar_t, 256> text(nBuffer);
    return QString::fromWCharArray(text.data(), GetWindowTextW(asHwnd(hWnd), text.data(), nBuffer));
}

// The render window is a window of its own and goes with its tab.
WindowHandle followClient(WindowHandle hClient, const QString&)
{
    return hClient;
}

QPoint mapPoint(WindowHandle hFrom, WindowHandle hTo, QPoint pt)
{
    POINT point = {pt.x(), pt.y()};
    MapWindowPoints(asHwnd(hFrom), hTo ? asHwnd(hTo) : GetDesktopWindow(), &point, 1);
    return QPoint(point.x, point.y);
}

QRect windowRect(WindowHandle hWnd)
{
    RECT rc = {};
    GetWindowRect(asHwnd(hWnd), &rc);
    return QRect(rc.left, rc.top, rc.right - rc.left, rc.bottom - rc.top);
}

QSize clientSize(WindowHandle hWnd)
{
    RECT rc = {};
    GetClientRect(asHwnd(hWnd), &rc);
    return QSize(rc.right - rc.left, rc.bottom - rc.top);
}

void moveWindow(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight)
{
    MoveWindow(asHwnd(hWnd), nX, nY, nWidth, nHeight, TRUE);
}

void invalidate(WindowHandle hWnd)
{
    InvalidateRect(asHwnd(hWnd), nullptr, TRUE);
}
void setParent(WindowHandle hWnd, WindowHandle hParent)
{
    SetParent(asHwnd(hWnd), asHwnd(hParent));
}

quint32 styleOf(WindowHandle hWnd)
{
    return static_cast<quint32>(GetWindowLongPtrW(asHwnd(hWnd), GWL_STYLE));
}

void setStyle(WindowHandle hWnd, quint32 nStyle)
{
    SetWindowLongPtrW(asHwnd(hWnd), GWL_STYLE, static_cast<LONG_PTR>(nStyle));
}

WindowHandle ownerOf(WindowHandle hWnd)
{
    return static_cast<WindowHandle>(GetWindowLongPtrW(asHwnd(hWnd), GWLP_HWNDPARENT));
}

void setOwner(WindowHandle hWnd, WindowHandle hOwner)
{
    SetWindowLongPtrW(asHwnd(hWnd), GWLP_HWNDPARENT, static_cast<LONG_PTR>(hOwner));
}

void insertAfter(WindowHandle hWnd, WindowHandle hAfter)
{
    SetWindowPos(asHwnd(hWnd), asHwnd(hAfter), 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE | SWP_NOACTIVATE);
}

quint32 currentInputThread()
{
    return GetCurrentThreadId();
}
quint32 inputThreadOf(WindowHandle hWnd)
{
    return GetWindowThreadProcessId(asHwnd(hWnd), nullptr);
}

void attachInput(quint32 nThread, quint32 nToThread, bool bAttach)
{
    AttachThreadInput(nThread, nToThread, bAttach ? TRUE : FALSE);
}

void setForegroundWindow(WindowHandle hWnd)
{
    SetForegroundWindow(asHwnd(hWnd));
}
void bringToTop(WindowHandle hWnd)
{
    BringWindowToTop(asHwnd(hWnd));
}

void changeWindowFlags(QWidget& widget, Qt::WindowFlags flags)
{
    widget.setWindowFlags(flags);
}

// Any window may fill the screen here.
void prepareFullScreen(WindowHandle) {}

void keepShown(WindowHandle, int, int, int, int) {}

int screenDpi()
{
    const HDC hDC = GetDC(nullptr);
    if (!hDC)
        return 0;
    const int nDpi = GetDeviceCaps(hDC, LOGPIXELSX);
    ReleaseDC(nullptr, hDC);
    return nDpi;
}

int windowsVersion()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    return static_cast<int>(QSysInfo::windowsVersion());
    QT_WARNING_POP
}

std::optional<WindowHandle> destroyedWindow(const QByteArray& eventType, void* pMessage)
{
    if (eventType != "windows_generic_MSG" && eventType != "windows_dispatcher_MSG")
        return std::nullopt;
    const auto* pNative = static_cast<const MSG*>(pMessage);
    return pNative->message == WM_DESTROY ? std::optional(asHandle(pNative->hwnd)) : std::nullopt;
}

void dropNativeEvent(void* pMessage)
{
    static_cast<MSG*>(pMessage)->message = 0;
}
} // namespace platform
