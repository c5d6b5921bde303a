// What the process asks of the window system: find, follow, move, parent and raise windows, read their titles and
// class names. The names and results are those of USER32, to which the Windows back end passes each call as it is;
// the X11 back end gives the same answers from the X server, the null back end from a tree that a test fills.
//
// Thread:    GUI thread, except screenDpi, which any thread may call.
// Errors:    a window that is gone, or never was, answers like "no": 0, false, empty. Nothing throws, nothing ends
//            the process. A change asked of such a window does nothing.
// Units:     physical pixels.
#pragma once

#include <QByteArray>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QtGlobal>
#include <optional>

class QWidget;

namespace platform
{
/// A native window: an HWND or an X11 window id; 0 is none.
using WindowHandle = quintptr;

bool isWindow(WindowHandle hWnd);
/// False while the window or one of its ancestors is hidden or minimised.
bool isVisible(WindowHandle hWnd);

/// 0 for a top-level window; a window manager's frame does not count.
WindowHandle parentOf(WindowHandle hWnd);
WindowHandle firstChildOf(WindowHandle hWnd);
/// The sibling next below in z order.
WindowHandle nextSiblingOf(WindowHandle hWnd);
/// The sibling next above in z order.
WindowHandle previousInZOrder(WindowHandle hWnd);
WindowHandle foregroundWindow();

/// Texts as a call with a buffer of nBuffer units returns them: at most nBuffer - 1 of them.
QByteArray classNameOf(WindowHandle hWnd, int nBuffer);
QByteArray titleBytesOf(WindowHandle hWnd, int nBuffer);
QString titleOf(WindowHandle hWnd, int nBuffer);

/// Where the browser's render window is now. A render window with a handle of its own moves along with its tab, and
/// the answer is hClient; where the browser draws into its top-level window (X11) a torn-out tab is in another
/// window of the same program, the one whose title holds strPageTitle. hClient if there is none.
WindowHandle followClient(WindowHandle hClient, const QString& strPageTitle);

/// The point in the coordinates of hTo, or of the screen when hTo is 0.
QPoint mapPoint(WindowHandle hFrom, WindowHandle hTo, QPoint pt);
/// With the frame, on the screen.
QRect windowRect(WindowHandle hWnd);
QSize clientSize(WindowHandle hWnd);

/// Moves, sizes and repaints. Relative to the parent; on the screen for a top-level window.
void moveWindow(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight);
void invalidate(WindowHandle hWnd);
/// hParent 0 makes it a top-level window.
void setParent(WindowHandle hWnd, WindowHandle hParent);

quint32 styleOf(WindowHandle hWnd);
void setStyle(WindowHandle hWnd, quint32 nStyle);
WindowHandle ownerOf(WindowHandle hWnd);
void setOwner(WindowHandle hWnd, WindowHandle hOwner);
/// Puts hWnd below hAfter in z order, at the top when hAfter is 0. Neither moves, sizes nor activates it.
void insertAfter(WindowHandle hWnd, WindowHandle hAfter);

/// Threads of the window system's input queues; 0 where it has none.
quint32 currentInputThread();
quint32 inputThreadOf(WindowHandle hWnd);
void attachInput(quint32 nThread, quint32 nToThread, bool bAttach);
void setForegroundWindow(WindowHandle hWnd);
void bringToTop(WindowHandle hWnd);

/// Gives a widget other window flags and hides it; does nothing if it has them already. It keeps its native window,
/// and with it those of its children, into which a decoder may be painting.
void changeWindowFlags(QWidget& widget, Qt::WindowFlags flags);
/// Before a tool window that is not shown yet goes full screen: sees to it that the window manager will let it.
void prepareFullScreen(WindowHandle hWnd);

/// Maps a shown window again, and puts it back to its place within its parent, where another program can have undone
/// that since: a window manager that gives up a window may unmap and move it after we have taken it back. The place is
/// one that moveWindow was given.
void keepShown(WindowHandle hWnd, int nX, int nY, int nWidth, int nHeight);

/// Logical pixels per inch of the screen, 0 if the screen gives no answer.
int screenDpi();
/// The enumerator of QSysInfo::windowsVersion(); 0 on other systems.
int windowsVersion();

/// The window that a native event says is being destroyed; nothing for any other event. Only systems that tell a
/// window before it goes have such an event.
std::optional<WindowHandle> destroyedWindow(const QByteArray& eventType, void* pMessage);
/// Turns that event into one without meaning.
void dropNativeEvent(void* pMessage);
} // namespace platform
