#include "platform/Startup.h"

#include <QByteArray>
#include <clocale>

namespace platform
{
namespace
{
/// The locale that the environment names for character encoding, by the order of setlocale.
QByteArray namedLocale()
{
    for (const char* szName : {"LC_ALL", "LC_CTYPE", "LANG"})
        if (const QByteArray value = qgetenv(szName); !value.isEmpty())
            return value;
    return {};
}
} // namespace

void prepareProcess()
{
    const QByteArray locale = namedLocale();
    if (locale.isEmpty() || locale == "C" || locale == "POSIX")
        qputenv("LC_ALL", "C.UTF-8");
    std::setlocale(LC_ALL, "");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    // Nothing here draws with OpenGL; its drivers would take some 50 MB all the same.
    if (qEnvironmentVariableIsEmpty("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none");
    // Where no message bus runs, asking for one would start one and wait for it, on the GUI thread. Nothing here uses
    // it.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
}

std::vector<QByteArray> commandLine(int argc, char* argv[])
{
    return {argv, argv + argc};
}
} // namespace platform
