// A window system in memory, for tests: windows with a place, a parent, an owner, a style, a title, a class and an
// order, and the calls that the program made on them. The test is the user, the browser and Windows in one person.
//
// Thread: GUI thread.
#pragma once

#include "platform/WindowSystem.h"

#include <QStringList>

namespace platform::null
{
struct SWindow {
    WindowHandle hParent = 0;
    WindowHandle hOwner = 0;
    QString strTitle;
    QByteArray className;
    QRect rc;        // relative to the parent's client area, or to the screen; with the frame
    QPoint ptClient; // of the client area inside the frame
    QSize szClient;  // empty: all of rc
    quint32 nStyle = 0;
    quint32 nThread = 1;
    bool bVisible = true; // own flag; ancestors count too
    bool bMinimised = false;
};

/// Native message of this window system, as WindowSystem::destroyedWindow understands it.
struct SMessage {
    quint32 nMessage;
    WindowHandle hWnd;
};

/// Forgets all windows, calls and settings.
void reset();
/// New windows stand above their siblings. A handle that is in use already is made anew.
void add(WindowHandle hWnd, const SWindow& window);
/// Its children go with it.
void remove(WindowHandle hWnd);
/// Fails the test's assumption if there is no such window.
SWindow& window(WindowHandle hWnd);
void setForeground(WindowHandle hWnd);
/// From now on a program that asks for the foreground does not get it, as Windows may decide.
void lockForeground();
void setWindowsVersion(int nVersion);
/// What followClient answers for hClient from now on; 0 takes it back.
void setFollowed(WindowHandle hClient, WindowHandle hNow);

/// Changes asked for, in order, as "moveWindow 2 10 20 300 200": the operation's name, handles in hexadecimal.
const QStringList& calls();
void clearCalls();
/// Questions asked so far, of any kind. Grows with every tick of a timer that looks at windows.
quint64 questionCount();

/// Pens and draw contexts that were made and not given back. Any thread.
int penCount();
int drawContextCount();
} // namespace platform::null
