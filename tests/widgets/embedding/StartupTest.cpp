// What the process settles before there is an application object.
#include "platform/Startup.h"

#include <gtest/gtest.h>

#include <QByteArray>

namespace
{

/// Gives a variable back at the end of a test.
struct SVariable {
    explicit SVariable(const char* szName) : szName(szName), value(qgetenv(szName)) {}
    ~SVariable() { qputenv(szName, value); }
    const char* szName;
    QByteArray value;
};

// Found by a stack: where no bus ran, one start in some hundred stood for ever in the event loop's first question to
// it.
TEST(Startup, NoMessageBusIsStartedWhereNoneIsNamed)
{
    const SVariable bus("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    platform::prepareProcess();
    EXPECT_FALSE(qgetenv("DBUS_SESSION_BUS_ADDRESS").isEmpty());
}

TEST(Startup, WhatTheUserNamedIsKept)
{
    const SVariable bus("DBUS_SESSION_BUS_ADDRESS"), platformName("QT_QPA_PLATFORM");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/mine");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    platform::prepareProcess();
    EXPECT_EQ("unix:path=/run/mine", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    EXPECT_EQ("offscreen", qgetenv("QT_QPA_PLATFORM"));
}

TEST(Startup, TheWindowSystemIsTheOneTheSurfaceCanEmbedWith)
{
    const SVariable platformName("QT_QPA_PLATFORM"), gl("QT_XCB_GL_INTEGRATION");
    qunsetenv("QT_QPA_PLATFORM");
    qunsetenv("QT_XCB_GL_INTEGRATION");
    platform::prepareProcess();
    EXPECT_EQ("xcb", qgetenv("QT_QPA_PLATFORM"));
    EXPECT_EQ("none", qgetenv("QT_XCB_GL_INTEGRATION"));
}

} // namespace
