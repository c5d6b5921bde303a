// The browser's window as a plain top-level window of the runner, and a look at what the program put into it.
// One implementation file per window system. Coordinates are physical pixels.
#pragma once

#include <QRect>
#include <QString>

#include <memory>

using WindowId = quint64;

class Desktop
{
public:
    Desktop();
    ~Desktop();

    /// A visible top-level window of the class, with this process's id.
    WindowId openWindow(const QString& title, const QRect& place, const QString& className);
    void closeWindow(WindowId window);
    void setTitle(WindowId window, const QString& title);
    void moveWindow(WindowId window, QPoint to);
    /// Makes it the foreground window.
    void focus(WindowId window);

    bool exists(WindowId window);
    /// The program's window in the browser window, as its child or owned by it: its place relative to the window; empty
    /// when there is none that can be seen.
    QRect surface(WindowId browser);
    /// The program's visible top-level window that covers the whole screen, or 0.
    WindowId fullScreenWindow(qint64 pid);
    /// Top-level windows of the program that can be seen and belong to no browser window.
    int visibleTopLevels(qint64 pid);
    QRect placeIn(WindowId window, WindowId ancestor);
    /// The visible window without children at a point of the given one; 0 while there is none.
    WindowId windowAt(WindowId window, QPoint at);

    enum class Mouse { Press, Release, Move };
    /// button: 1 left, 2 middle, 3 right. timeMs stands in the event.
    void mouse(WindowId window, Mouse what, int button, QPoint at, quint32 timeMs);
    void keyRelease(WindowId window, quint32 keySymbol, quint32 timeMs);

private:
    struct Impl;
    std::unique_ptr<Impl> m;
};
