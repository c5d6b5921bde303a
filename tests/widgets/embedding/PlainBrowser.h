// A browser as the window system sees it: a top-level window of another X client, with a class, a title and a process
// number, painted in one colour. It runs on a connection of its own, so that it can go at any moment.
#pragma once

#include "platform/WindowSystem.h"

#include <QColor>
#include <QImage>
#include <QRect>
#include <xcb/xcb.h>

class PlainBrowser
{
public:
    PlainBrowser();
    /// Closes its connection: all its windows go at once.
    ~PlainBrowser();

    /// Mapped and managed when it returns.
    platform::WindowHandle open(const QString& title, QRect rc, const QByteArray& className = "Chromium");
    void close(platform::WindowHandle window);
    void setTitle(platform::WindowHandle window, const QString& title);
    void move(platform::WindowHandle window, QPoint pt);
    void minimise(platform::WindowHandle window);
    void restore(platform::WindowHandle window);
    void activate(platform::WindowHandle window);
    /// The upper left corner of its client area on the screen.
    QPoint origin(platform::WindowHandle window);

    /// What the screen shows.
    QImage screenshot();

    static const QColor colour;

private:
    xcb_atom_t atom(const char* name);
    void setProperty(xcb_window_t window, const char* name, xcb_atom_t type, int format, const void* data, int count);
    void message(xcb_window_t window, const char* name, uint32_t first, uint32_t second = 0);
    void sync();

    xcb_connection_t* m_connection;
    xcb_screen_t* m_screen;
};
