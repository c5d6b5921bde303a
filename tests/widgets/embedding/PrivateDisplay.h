// An X server of this program's own, with or without a window manager. Ends with the object.
#pragma once

#include <QProcess>
#include <memory>

class PrivateDisplay
{
public:
    /// Sets DISPLAY. Before the application object.
    bool start();
    /// Returns when the window manager manages.
    bool startWindowManager();
    ~PrivateDisplay();

private:
    QProcess m_server;
    QProcess m_manager;
};
