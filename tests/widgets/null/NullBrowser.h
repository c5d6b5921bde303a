// A browser in the window system in memory, and the surface bound to it. Top-level windows of the browser also exist on
// the X server, since Qt is asked for their QWindow.
#pragma once

#include "platform/null/NullWindows.h"
#include "support/LogCapture.h"
#include "surface/PlayWidget.h"

#include <QWindow>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

inline constexpr char kPageTitle[] = "Web Viewer 7";
inline constexpr int kWindows7Version = 0x90;
inline constexpr int kWindows8Version = 0xa0;
inline constexpr platform::WindowHandle kRenderWindow = 0x7000001;
inline constexpr char kChromeClass[] = "Chrome_RenderWidgetHostHWND";

class NullBrowserTest : public testing::Test
{
protected:
    NullBrowserTest();
    ~NullBrowserTest() override;

    /// Makes the surface on a system of that version, and a browser at (100, 50) with a frame of 8 by 30, titled as
    /// the page, with its render window at (10, 80) in it.
    void start(int nWindowsVersion);
    /// A further top-level window of the browser.
    platform::WindowHandle addTopLevel(const QString& title, QRect rc);
    /// As a login does, with the render window or without.
    void bind(bool withClient = true);
    /// What the system does with an attached child; the surface only asks Qt for it.
    void putInto(platform::WindowHandle hParent);

    void show(const PluginRegion& rc) { surface().onWidgetStatuChange(2, rc); }
    PlayWidget& surface() { return *PlayWidget::Instance(); }
    platform::WindowHandle own() { return surface().winId(); }
    QString hexOwn() { return QString::number(own(), 16); }
    platform::WindowHandle browser() const { return m_hBrowser; }

    /// Runs the event loop until it holds; false after five seconds.
    bool until(const std::function<bool()>& holds);
    /// Until the tracking timer has run some times from now, as told by the questions it asks.
    bool someTicks(int nQuestions = 60);
    /// Of the surface's timers with the tracking interval.
    int timersRunning();

    LogCapture log;

private:
    std::vector<std::unique_ptr<QWindow>> m_windows;
    platform::WindowHandle m_hBrowser = 0;
};
