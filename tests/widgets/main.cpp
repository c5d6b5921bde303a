#include <QApplication>

#include <gmock/gmock.h>

#include <cstdio>

namespace
{

/// The debug stream carries every log line; here only what Qt itself complains about is of interest.
void showWarnings(QtMsgType type, const QMessageLogContext&, const QString& strMessage)
{
    if (type != QtDebugMsg)
        std::fprintf(stderr, "%s\n", qPrintable(strMessage));
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    qInstallMessageHandler(showWarnings);
    // Neither is needed here, and both leave memory behind in libraries that are not ours.
    qputenv("QT_XCB_GL_INTEGRATION", "none");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
