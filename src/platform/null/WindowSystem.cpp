#include "platform/null/NullWindows.h"

#include <QHash>
#include <QWidget>

namespace platform
{
namespace null
{
namespace
{
constexpr quint32 kDestroy = 2;

struct SWorld {
    QHash<WindowHandle, SWindow> windows;
    QHash<WindowHandle, QList<WindowHandle>> children; // of a parent, top first; 0 is the screen
    QHash<WindowHandle, WindowHandle> followed;
    QStringList calls;
    WindowHandle hForeground = 0;
    bool bForegroundLocked = false;
    quint64 nQuestions = 0;
    int nVersion = 0;
};

SWorld& world()
{
    static SWorld w;
    return w;
}

void record(const QString& strCall)
{
    world().calls += strCall;
}

QString hex(WindowHandle hWnd)
{
    return QString::number(hWnd, 16);
}

const SWindow* find(WindowHandle hWnd)
{
    ++world().nQuestions;
    const auto it = world().windows.constFind(hWnd);
    return it == world().windows.constEnd() ? nullptr : &it.value();
}

QList<WindowHandle>& siblingsOf(WindowHandle hWnd)
{
    return world().children[world().windows[hWnd].hParent];
}

WindowHandle sibling(WindowHandle hWnd, int nStep)
{
    if (!find(hWnd))
        return 0;
    const QList<WindowHandle>& siblings = siblingsOf(hWnd);
    return siblings.value(siblings.indexOf(hWnd) + nStep, 0);
}

QPoint clientOnScreen(WindowHandle hWnd)
{
    QPoint pt;
    for (const SWindow* pWindow = find(hWnd); pWindow; pWindow = find(pWindow->hParent))
        pt += pWindow->rc.topLeft() + pWindow->ptClient;
    return pt;
}
} // namespace

void reset()
{
    world() = SWorld();
}

void add(WindowHandle hWnd, const SWindow& window)
{
    if (world().windows.contains(hWnd))
        siblingsOf(hWnd).removeAll(hWnd);
    world().windows[hWnd] = window;
    siblingsOf(hWnd).prepend(hWnd);
}

void remove(WindowHandle hWnd)
{
    for (const WindowHandle hChild : world().children.take(hWnd))
        remove(hChild);
    siblingsOf(hWnd).removeAll(hWnd);
    world().windows.remove(hWnd);
}

SWindow& window(WindowHandle hWnd)
{
    Q_ASSERT(world().windows.contains(hWnd));
    return world().windows[hWnd];
}

void setForeground(WindowHandle hWnd)
{
    world().hForeground = hWnd;
}
void lockForeground()
{
    world().bForegroundLocked = true;
}
void setWindowsVersion(int nVersion)
{
    world().nVersion = nVersion;
}
void setFollowed(WindowHandle hClient, WindowHandle hNow)
{
    world().followed[hClient] = hNow;
}
const QStringList& calls()
{
    return world().calls;
}
void clearCalls()
{
    world().calls.clear();
}
quint64 questionCount()
{
    return world().nQuestions;
}
} // namespace null

using namespace null;

bool isWindow(WindowHandle hWnd)
{
    return find(hWnd) != nullptr;
}

bool isVisible(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    if (!pWindow)
        return false;
    for (; pWindow; pWindow = find(pWindow->hParent))
        if (!pWindow->bVisible || pWindow->bMinimised)
            return false;
    return true;
}

WindowHandle parentOf(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->hParent : 0;
}

WindowHandle firstChildOf(WindowHandle hWnd)
{
    return find(hWnd) ? world().children.value(hWnd).value(0, 0) : 0;
}

WindowHandle nextSiblingOf(WindowHandle hWnd)
{
    return sibling(hWnd, 1);
}
WindowHandle previousInZOrder(WindowHandle hWnd)
{
    return sibling(hWnd, -1);
}

WindowHandle foregroundWindow()
{
    ++world().nQuestions;
    return world().hForeground;
}

QByteArray classNameOf(WindowHandle hWnd, int nBuffer)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->className.left(nBuffer - 1) : QByteArray();
}

QByteArray titleBytesOf(WindowHandle hWnd, int nBuffer)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->strTitle.toUtf8().left(nBuffer - 1) : QByteArray();
}

QString titleOf(WindowHandle hWnd, int nBuffer)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->strTitle.left(nBuffer - 1) : QString();
}

WindowHandle followClient(WindowHandle hClient, const QString&)
{
    const WindowHandle hNow = world().followed.value(hClient);
    return hNow ? hNow : hClient;
}

QPoint mapPoint(WindowHandle hFrom, WindowHandle hTo, QPoint pt)
{
    return find(hFrom) ? pt + clientOnScreen(hFrom) - clientOnScreen(hTo) : QPoint();
}

QRect windowRect(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? QRect(clientOnScreen(hWnd) - pWindow->ptClient, pWindow->rc.size()) : QRect();
}

QSize clientSize(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    if (!pWindow)
        return {};
    return pWindow->szClient.isEmpty() ? pWindow->rc.size() : pWindow->szClient;
}

void moveWindow(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight)
{
    record(QString("moveWindow %1 %2 %3 %4 %5").arg(hex(hWnd)).arg(nX).arg(nY).arg(nWidth).arg(nHeight));
    if (find(hWnd))
        window(hWnd).rc = QRect(nX, nY, nWidth, nHeight);
}

void invalidate(WindowHandle hWnd)
{
    record("invalidate " + hex(hWnd));
}

void setParent(WindowHandle hWnd, WindowHandle hParent)
{
    record(QString("setParent %1 %2").arg(hex(hWnd), hex(hParent)));
    if (!find(hWnd))
        return;
    siblingsOf(hWnd).removeAll(hWnd);
    window(hWnd).hParent = hParent;
    siblingsOf(hWnd).prepend(hWnd);
}

quint32 styleOf(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->nStyle : 0;
}

void setStyle(WindowHandle hWnd, quint32 nStyle)
{
    record(QString("setStyle %1 %2").arg(hex(hWnd), QString::number(nStyle, 16)));
    if (find(hWnd))
        window(hWnd).nStyle = nStyle;
}

WindowHandle ownerOf(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->hOwner : 0;
}

void setOwner(WindowHandle hWnd, WindowHandle hOwner)
{
    record(QString("setOwner %1 %2").arg(hex(hWnd), hex(hOwner)));
    if (find(hWnd))
        window(hWnd).hOwner = hOwner;
}

void insertAfter(WindowHandle hWnd, WindowHandle hAfter)
{
    record(QString("insertAfter %1 %2").arg(hex(hWnd), hex(hAfter)));
    if (!find(hWnd))
        return;
    QList<WindowHandle>& siblings = siblingsOf(hWnd);
    siblings.removeAll(hWnd);
    siblings.insert(siblings.indexOf(hAfter) + 1, hWnd);
}

quint32 currentInputThread()
{
    return 1;
}

quint32 inputThreadOf(WindowHandle hWnd)
{
    const SWindow* pWindow = find(hWnd);
    return pWindow ? pWindow->nThread : 0;
}

void attachInput(quint32 nThread, quint32 nToThread, bool bAttach)
{
    record(QString("attachInput %1 %2 %3").arg(nThread).arg(nToThread).arg(bAttach));
}

void setForegroundWindow(WindowHandle hWnd)
{
    record("setForegroundWindow " + hex(hWnd));
    if (!world().bForegroundLocked)
        world().hForeground = hWnd;
}

void bringToTop(WindowHandle hWnd)
{
    record("bringToTop " + hex(hWnd));
}

void changeWindowFlags(QWidget& widget, Qt::WindowFlags flags)
{
    if (widget.windowFlags() == flags)
        return;
    widget.hide();
    widget.overrideWindowFlags(flags);
}

// Any window may fill the screen here.
void prepareFullScreen(WindowHandle) {}

void keepShown(WindowHandle, int, int, int, int) {}

int screenDpi()
{
    return 96;
}
int windowsVersion()
{
    return world().nVersion;
}

std::optional<WindowHandle> destroyedWindow(const QByteArray& eventType, void* pMessage)
{
    if (eventType != "windows_generic_MSG" && eventType != "windows_dispatcher_MSG")
        return std::nullopt;
    const auto* pNative = static_cast<const SMessage*>(pMessage);
    return pNative->nMessage == kDestroy ? std::optional(pNative->hWnd) : std::nullopt;
}

void dropNativeEvent(void* pMessage)
{
    static_cast<SMessage*>(pMessage)->nMessage = 0;
}
} // namespace platform
