// Starts the display before Qt connects to it. The run fails, rather than passing by, where there is none to be had.
#include "embedding/PrivateDisplay.h"

#include <QApplication>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    PrivateDisplay display;
    if (!display.start() || !display.startWindowManager()) {
        std::fprintf(stderr, "Xvfb and openbox are needed\n");
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    // Neither is needed here, and both leave memory behind in libraries that are not ours.
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
