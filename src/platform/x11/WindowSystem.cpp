// WindowSystem on X11. Two differences from Windows are bridged here. A browser has no render window of its own: its
// top-level window is reported as bearing the render window's class. And window managers put frames around
// top-level windows: a frame is nobody's parent here.
#include "platform/WindowSystem.h"

#include "platform/Machine.h"
#include "platform/x11/Connection.h"

#include <QWidget>
#include <array>

namespace platform
{
using namespace x11;

namespace
{
constexpr quint32 kStateNormal = 1;
constexpr quint32 kStateIconic = 3;
constexpr int kMaxClassBytes = 512;
constexpr int kMaxTitleBytes = 4096;
constexpr int kMaxClients = 4096;
constexpr int kMaxCoordinate = 32767;
constexpr QSize kLargeWindow(4096, 4096);
constexpr quint64 kReleasePatienceMs = 500;
constexpr char kRenderClass[] = "Chrome_RenderWidgetHostHWND";

/// Parts of the class names of browsers' windows, in lower case.
constexpr std::array kBrowsers = {"chrom",     "msedge",   "microsoft-edge", "brave",         "opera",
                                  "vivaldi",   "yandex",   "electron",       "firefox",       "navigator",
                                  "librewolf", "waterfox", "epiphany",       "org.gnome.web", "falkon",
                                  "konqueror", "midori",   "qutebrowser"};

xcb_window_t asXcb(WindowHandle hWnd)
{
    return hWnd > 0xffffffffu ? 0 : static_cast<xcb_window_t>(hWnd);
}

/// Whether the server can be asked about it. Our own widgets are first brought up to date there.
bool canAsk(WindowHandle hWnd)
{
    if (!connection() || !asXcb(hWnd))
        return false;
    if (QWidget::find(static_cast<WId>(hWnd)))
        awaitQt();
    return true;
}

Reply<xcb_query_tree_reply_t> tree(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return nullptr;
    return waitFor(xcb_query_tree_reply, xcb_query_tree(connection(), asXcb(hWnd)));
}

Reply<xcb_get_geometry_reply_t> geometry(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return nullptr;
    return waitFor(xcb_get_geometry_reply, xcb_get_geometry(connection(), asXcb(hWnd)));
}

Reply<xcb_get_window_attributes_reply_t> attributes(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return nullptr;
    return waitFor(xcb_get_window_attributes_reply, xcb_get_window_attributes(connection(), asXcb(hWnd)));
}

quint32 managerState(WindowHandle hWnd)
{
    return values(asXcb(hWnd), atoms().wmState, 1).value(0);
}

/// Whether a window manager treats it as a program's top-level window.
bool isManaged(WindowHandle hWnd)
{
    const quint32 nState = managerState(hWnd);
    return nState == kStateNormal || nState == kStateIconic;
}

QByteArray titleText(WindowHandle hWnd)
{
    const QByteArray utf8 = property(asXcb(hWnd), atoms().netWmName, kMaxTitleBytes);
    return utf8.isEmpty() ? property(asXcb(hWnd), atoms().wmName, kMaxTitleBytes) : utf8;
}

QByteArray ownClassName(WindowHandle hWnd)
{
    // WM_CLASS holds two texts, each ended by a zero byte: instance and class.
    const QList<QByteArray> texts = property(asXcb(hWnd), atoms().wmClass, kMaxClassBytes).split('\0');
    return texts.value(1);
}

bool isBrowser(const QByteArray& className)
{
    const QByteArray lower = className.toLower();
    for (const char* szPart : kBrowsers)
        if (lower.contains(szPart))
            return true;
    return false;
}

quint32 processOf(WindowHandle hWnd)
{
    return values(asXcb(hWnd), atoms().netWmPid, 1).value(0);
}

/// The child of the root or the managed window that hWnd lies in.
WindowHandle topLevelOf(WindowHandle hWnd)
{
    while (const WindowHandle hParent = parentOf(hWnd))
        hWnd = hParent;
    return hWnd;
}

/// What the window manager lists, or the root's children where there is no such list.
QVector<quint32> topLevelWindows()
{
    QVector<quint32> windows = values(rootWindow(), atoms().netClientList, kMaxClients);
    if (!windows.isEmpty())
        return windows;
    if (const auto reply = waitFor(xcb_query_tree_reply, xcb_query_tree(connection(), rootWindow()))) {
        const xcb_window_t* pFirst = xcb_query_tree_children(reply.get());
        for (int i = 0; i < xcb_query_tree_children_length(reply.get()); ++i)
            windows.append(pFirst[i]);
    }
    return windows;
}

WindowHandle focusWindow()
{
    const auto reply = waitFor(xcb_get_input_focus_reply, xcb_get_input_focus(connection()));
    if (!reply || reply->focus <= XCB_INPUT_FOCUS_POINTER_ROOT || reply->focus == rootWindow())
        return 0;
    return topLevelOf(reply->focus);
}

void configure(WindowHandle hWnd, uint16_t nMask, const uint32_t* pValues)
{
    if (!canAsk(hWnd))
        return;
    xcb_configure_window(connection(), asXcb(hWnd), nMask, pValues);
    flush();
}

void moveRaw(WindowHandle hWnd, const QRect& rc)
{
    const uint32_t rect[] = {static_cast<uint32_t>(rc.x()), static_cast<uint32_t>(rc.y()),
                             static_cast<uint32_t>(rc.width()), static_cast<uint32_t>(rc.height())};
    configure(hWnd, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
              rect);
}

bool hasWindowManager()
{
    return !values(rootWindow(), atoms().netSupportingWmCheck, 1).isEmpty();
}
} // namespace

bool isWindow(WindowHandle hWnd)
{
    return attributes(hWnd) != nullptr;
}

bool isVisible(WindowHandle hWnd)
{
    const auto reply = attributes(hWnd);
    // Some window managers keep a minimised window mapped and only say so in its state.
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE && managerState(hWnd) != kStateIconic;
}

WindowHandle parentOf(WindowHandle hWnd)
{
    const auto reply = tree(hWnd);
    if (!reply || reply->parent == 0 || reply->parent == reply->root)
        return 0;
    // The parent is asked first: a window that was once managed itself may still carry the mark.
    if (isManaged(reply->parent))
        return reply->parent;
    return isManaged(hWnd) ? 0 : reply->parent;
}

WindowHandle firstChildOf(WindowHandle hWnd)
{
    // The server lists children from the bottom to the top.
    const auto reply = tree(hWnd);
    const int nCount = reply ? xcb_query_tree_children_length(reply.get()) : 0;
    return nCount > 0 ? xcb_query_tree_children(reply.get())[nCount - 1] : 0;
}

namespace
{
/// nStep -1 is below, 1 above.
WindowHandle sibling(WindowHandle hWnd, int nStep)
{
    const auto own = tree(hWnd);
    const auto siblings = own ? tree(own->parent) : nullptr;
    if (!siblings)
        return 0;
    const xcb_window_t* pChildren = xcb_query_tree_children(siblings.get());
    const int nCount = xcb_query_tree_children_length(siblings.get());
    for (int i = 0; i < nCount; ++i)
        if (pChildren[i] == hWnd)
            return i + nStep >= 0 && i + nStep < nCount ? pChildren[i + nStep] : 0;
    return 0;
}
} // namespace

WindowHandle nextSiblingOf(WindowHandle hWnd)
{
    return sibling(hWnd, -1);
}

WindowHandle previousInZOrder(WindowHandle hWnd)
{
    return sibling(hWnd, 1);
}

WindowHandle foregroundWindow()
{
    if (!connection())
        return 0;
    const QVector<quint32> active = values(rootWindow(), atoms().netActiveWindow, 1);
    return active.isEmpty() ? focusWindow() : active.first();
}

QByteArray classNameOf(WindowHandle hWnd, int nBuffer)
{
    const QByteArray own = ownClassName(hWnd);
    return (isBrowser(own) ? QByteArray(kRenderClass) : own).left(nBuffer - 1);
}

QByteArray titleBytesOf(WindowHandle hWnd, int nBuffer)
{
    return titleText(hWnd).left(nBuffer - 1);
}

QString titleOf(WindowHandle hWnd, int nBuffer)
{
    return QString::fromUtf8(titleText(hWnd)).left(nBuffer - 1);
}

WindowHandle followClient(WindowHandle hClient, const QString& strPageTitle)
{
    if (QString::fromUtf8(titleText(hClient)).contains(strPageTitle))
        return hClient;
    const quint32 nProcess = processOf(hClient);
    if (nProcess == 0)
        return hClient;
    for (const quint32 nWindow : topLevelWindows())
        if (nWindow != hClient && processOf(nWindow) == nProcess &&
            QString::fromUtf8(titleText(nWindow)).contains(strPageTitle))
            return nWindow;
    return hClient;
}

QPoint mapPoint(WindowHandle hFrom, WindowHandle hTo, QPoint pt)
{
    if (!canAsk(hFrom))
        return {};
    const xcb_window_t nTarget = hTo ? asXcb(hTo) : rootWindow();
    const auto reply = waitFor(xcb_translate_coordinates_reply,
                               xcb_translate_coordinates(connection(), asXcb(hFrom), nTarget,
                                                         static_cast<int16_t>(pt.x()), static_cast<int16_t>(pt.y())));
    return reply ? QPoint(reply->dst_x, reply->dst_y) : QPoint();
}

QRect windowRect(WindowHandle hWnd)
{
    // The frame is the ancestor directly below the root.
    WindowHandle hFrame = hWnd;
    for (auto reply = tree(hFrame); reply && reply->parent && reply->parent != reply->root; reply = tree(hFrame))
        hFrame = reply->parent;
    const WindowHandle hOuter = parentOf(hWnd) ? hWnd : hFrame;
    const auto reply = geometry(hOuter);
    return reply ? QRect(mapPoint(hOuter, 0, {}), QSize(reply->width, reply->height)) : QRect();
}

QSize clientSize(WindowHandle hWnd)
{
    const auto reply = geometry(hWnd);
    return reply ? QSize(reply->width, reply->height) : QSize();
}

/// Twice the screen, and never small. Nobody sees more of a window, and every pixel of ours is kept in memory and
/// painted: at the protocol's limit that would be four gigabytes, and the program busy for minutes.
QSize largestWindow()
{
    return (2 * clientSize(rootWindow())).expandedTo(kLargeWindow);
}

/// The protocol has 16 bits for each: what does not fit would come out somewhere else.
QRect heldBack(int nX, int nY, int nWidth, int nHeight)
{
    const QPoint ptPlace(qBound(-kMaxCoordinate, nX, kMaxCoordinate), qBound(-kMaxCoordinate, nY, kMaxCoordinate));
    return QRect(ptPlace, QSize(nWidth, nHeight).expandedTo(QSize(1, 1)).boundedTo(largestWindow()));
}

void moveWindow(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight)
{
    const QRect rc = heldBack(nX, nY, nWidth, nHeight);
    // Our own widgets are told directly, so that they stand as asked when this returns. The server is told too,
    // since a widget that believes to stand there already asks for nothing.
    if (QWidget* pWidget = QWidget::find(static_cast<WId>(hWnd)))
        pWidget->setGeometry(rc);
    moveRaw(hWnd, rc);
}

void invalidate(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return;
    xcb_clear_area(connection(), 1, asXcb(hWnd), 0, 0, 0, 0);
    flush();
}

void setParent(WindowHandle hWnd, WindowHandle hParent)
{
    if (!canAsk(hWnd))
        return;
    xcb_reparent_window(connection(), asXcb(hWnd), hParent ? asXcb(hParent) : rootWindow(), 0, 0);
    flush();
}

// X11 has no window styles: a window is a child by having a parent.
quint32 styleOf(WindowHandle)
{
    return 0;
}
void setStyle(WindowHandle, quint32) {}

WindowHandle ownerOf(WindowHandle hWnd)
{
    return values(asXcb(hWnd), atoms().wmTransientFor, 1).value(0);
}

void setOwner(WindowHandle hWnd, WindowHandle hOwner)
{
    if (!canAsk(hWnd))
        return;
    const xcb_window_t nOwner = asXcb(hOwner);
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, asXcb(hWnd), atoms().wmTransientFor, XCB_ATOM_WINDOW, 32,
                        1, &nOwner);
    flush();
}

void insertAfter(WindowHandle hWnd, WindowHandle hAfter)
{
    const uint32_t below[] = {asXcb(hAfter), XCB_STACK_MODE_BELOW};
    const uint32_t top[] = {XCB_STACK_MODE_ABOVE};
    if (hAfter)
        configure(hWnd, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, below);
    else
        configure(hWnd, XCB_CONFIG_WINDOW_STACK_MODE, top);
}

// Input queues are the server's: there is none to share.
quint32 currentInputThread()
{
    return 0;
}
quint32 inputThreadOf(WindowHandle)
{
    return 0;
}
void attachInput(quint32, quint32, bool) {}

void setForegroundWindow(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return;
    if (!hasWindowManager()) {
        xcb_set_input_focus(connection(), XCB_INPUT_FOCUS_PARENT, asXcb(hWnd), XCB_CURRENT_TIME);
    } else {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = asXcb(hWnd);
        event.type = atoms().netActiveWindow;
        event.data.data32[0] = 2; // from the user's own tools: never held back as focus stealing
        xcb_send_event(connection(), 0, rootWindow(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
    }
    flush();
}

void bringToTop(WindowHandle hWnd)
{
    insertAfter(hWnd, 0);
}

namespace
{
/// A window manager that has not noticed yet that the window is hidden still moves it about.
void awaitRelease(WindowHandle hWnd)
{
    const quint64 nGiveUpMs = tickMs() + kReleasePatienceMs;
    while (parentOf(hWnd) == 0 && isManaged(hWnd) && tickMs() < nGiveUpMs)
        sleepMs(1);
}
} // namespace

void changeWindowFlags(QWidget& widget, Qt::WindowFlags flags)
{
    if (widget.windowFlags() == flags)
        return;
    widget.hide();
    awaitRelease(static_cast<WindowHandle>(widget.winId()));
    // Not setWindowFlags: when "stays on top" or "bypass" change, Qt would make a new native window at the next show,
    // and the children's windows would go with the old one.
    widget.overrideWindowFlags(flags);
    const auto hWnd = static_cast<WindowHandle>(widget.winId());
    if (!canAsk(hWnd))
        return;
    const uint32_t nBypass = flags.testFlag(Qt::X11BypassWindowManagerHint) ? 1 : 0;
    xcb_change_window_attributes(connection(), asXcb(hWnd), XCB_CW_OVERRIDE_REDIRECT, &nBypass);
    flush();
}

void prepareFullScreen(WindowHandle hWnd)
{
    if (!canAsk(hWnd))
        return;
    // Window managers refuse the full screen to tool windows.
    const xcb_atom_t nType = atoms().netWmWindowTypeNormal;
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, asXcb(hWnd), atoms().netWmWindowType, XCB_ATOM_ATOM, 32, 1,
                        &nType);
    if (!hasWindowManager()) {
        const QSize screen = clientSize(rootWindow());
        moveRaw(hWnd, QRect(QPoint(), screen));
    }
    flush();
}

void keepShown(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight)
{
    const auto reply = attributes(hWnd);
    if (!reply)
        return;
    const QRect rcPlace = heldBack(nX, nY, nWidth, nHeight);
    const auto place = geometry(hWnd);
    if (place && QRect(place->x, place->y, place->width, place->height) != rcPlace)
        moveRaw(hWnd, rcPlace);
    if (reply->map_state == XCB_MAP_STATE_UNMAPPED)
        xcb_map_window(connection(), asXcb(hWnd));
    flush();
}

int screenDpi()
{
    if (!connection())
        return 0;
    // The desktop's setting, the same that browsers take; screens seldom tell their true size.
    for (const QByteArray& line : property(rootWindow(), atoms().resourceManager, 1 << 16).split('\n'))
        if (line.startsWith("Xft.dpi:"))
            return qRound(line.mid(8).trimmed().toDouble());
    return 96;
}

int windowsVersion()
{
    return 0;
}

// A window is not told before it is destroyed with its parent.
std::optional<WindowHandle> destroyedWindow(const QByteArray&, void*)
{
    return std::nullopt;
}
void dropNativeEvent(void*) {}
} // namespace platform
