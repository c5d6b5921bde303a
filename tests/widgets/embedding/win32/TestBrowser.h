// The browser of tests/fakes/browser, in a process of its own, told what its user does.
// Thread: the test's. Errors: a browser that does not answer fails the test.
#pragma once

#include "platform/WindowSystem.h"

#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QString>

class TestBrowser
{
public:
    struct Window {
        platform::WindowHandle hTop = 0, hRender = 0, hToolbar = 0;
    };

    TestBrowser();
    ~TestBrowser();

    Window openChrome(const QString& name, QRect place, const QString& title);
    Window openExplorer(const QString& name, QRect place, const QString& title);
    /// One line of the browser's language; waits until it is done. The other program's windows may have to answer
    /// meanwhile, so the event loop runs.
    QString tell(const QString& line);

private:
    Window open(const QString& name, const char* kind, QRect place, const QString& title);

    QProcess m_process;
};
