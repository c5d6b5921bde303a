// A page and its process: commands through, one at a time, and what a page may not do.
#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "HostRunner.h"
#include "WebClient.h"

using namespace lumo::test;

namespace
{

QJsonObject object(const std::string& json)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
}

QStringList argsOf(WebPage& page)
{
    return object(page.ask("args"))["args"].toVariant().toStringList();
}

qint64 pidOf(WebPage& page)
{
    return object(page.ask("args"))["pid"].toVariant().toLongLong();
}

void makeFile(const QString& path)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
}

} // namespace

TEST(Session, CommandsAndMessagesPassVerbatim)
{
    HostRunner host;
    WebPage page(host.port());
    for (const std::string text :
         {"{\"MainType\":8,\"MsgID\":1}", "", " \n", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xA5", "a\\u0000b"})
        EXPECT_EQ(page.ask(text), text);
}

TEST(Session, ProcessGetsIdServerNamePluginFolderAndNoWindowWithoutADisplay)
{
    HostRunner host;
    WebPage page(host.port(), {"/?title=Some%20Page", {}, {}, false});
    const QStringList args = argsOf(page);
    ASSERT_EQ(args.size(), 5);
    EXPECT_EQ(args[1], "1");
    EXPECT_FALSE(args[2].isEmpty());
    EXPECT_TRUE(QFileInfo(args[3]).isDir()) << args[3].toStdString();
    EXPECT_EQ(args[4], "");
}

TEST(Session, TwoPagesHaveTwoProcessesAndIdsThatCountUp)
{
    HostRunner host;
    WebPage first(host.port());
    EXPECT_EQ(argsOf(first)[1], "1");
    WebPage second(host.port());
    EXPECT_EQ(argsOf(second)[1], "2");
    EXPECT_NE(pidOf(first), pidOf(second));
    EXPECT_NE(argsOf(first)[2], argsOf(second)[2]);

    first.send("abort");
    EXPECT_EQ(first.awaitClose().code, 4001);
    EXPECT_EQ(second.ask("still here"), "still here");
    WebPage third(host.port());
    EXPECT_EQ(argsOf(third)[1], "3");
}

TEST(Session, WorksOverTheOtherLoopbackAddress)
{
    if (!QFile::exists("/proc/net/if_inet6"))
        GTEST_SKIP() << "this machine has no IPv6";
    HostRunner host;
    WebPage page(host.port(), {"/", {}, {}, true});
    EXPECT_EQ(page.ask("hello"), "hello");
}

TEST(Session, AFrameLeavesOnlyWhenTheOneBeforeItWasRead)
{
    HostRunner host;
    WebPage page(host.port());
    page.send("hold " + host.pathText("go"));
    constexpr int kCommands = 300;
    for (int i = 0; i < kCommands; ++i)
        page.send("command " + std::to_string(i));
    makeFile(host.path("go"));
    for (int i = 0; i < kCommands; ++i)
        ASSERT_EQ(page.receive(), "command " + std::to_string(i));
    const QJsonObject reads = object(page.ask("reads"));
    EXPECT_EQ(reads["frames"].toInt(), kCommands + 2);
    EXPECT_EQ(reads["mixed"].toInt(), 0);
}

TEST(Session, LargeFramesArePacedToo)
{
    HostRunner host;
    WebPage page(host.port());
    page.send("hold " + host.pathText("go"));
    constexpr int kCommands = 40;
    for (int i = 0; i < kCommands; ++i)
        page.send(std::string(65535 - i, static_cast<char>('a' + i % 26)));
    makeFile(host.path("go"));
    for (int i = 0; i < kCommands; ++i)
        ASSERT_EQ(page.receive(), std::string(65535 - i, static_cast<char>('a' + i % 26)));
    EXPECT_EQ(object(page.ask("reads"))["mixed"].toInt(), 0);
}

TEST(Session, ACommandOf65535BytesPassesAndOneMoreIsRefused)
{
    HostRunner host;
    WebPage page(host.port());
    const std::string largest(65535, 'x');
    EXPECT_EQ(page.ask(largest), largest);
    const qint64 pid = pidOf(page);
    page.send(largest + "x");
    EXPECT_EQ(page.awaitClose().code, 1009);
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
}

TEST(Session, TheMessageLimitCanBeLowered)
{
    HostRunner host({"--max-message", "100"});
    WebPage page(host.port());
    EXPECT_EQ(page.ask(std::string(100, 'x')).size(), 100u);
    page.send(std::string(101, 'x'));
    EXPECT_EQ(page.awaitClose().code, 1009);
}

TEST(Session, BinaryFramesAreRefused)
{
    HostRunner host;
    WebPage page(host.port());
    page.sendBinary("{}");
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 1003);
    EXPECT_EQ(closed.reason, "commands are text, not binary");
}

TEST(Session, TextThatIsNoUtf8IsRefused)
{
    HostRunner host;
    WebPage page(host.port());
    page.sendBadText();
    EXPECT_EQ(page.awaitClose().code, 1007);
}

TEST(Session, APageThatFloodsIsClosedAndNothingElseSuffers)
{
    HostRunner host({"--max-pending", "50", "--exit-timeout-ms", "300"});
    WebPage other(host.port());
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    page.send("hold " + host.pathText("never"));
    for (int i = 0; i < 53; ++i) // one in the process, one under way, fifty that wait, one too many
        page.send("command");
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 1008);
    EXPECT_EQ(closed.reason, "too many commands wait for the process");
    EXPECT_EQ(other.ask("still here"), "still here");
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
    EXPECT_EQ(other.ask("still here"), "still here");
}

TEST(Session, WaitingCommandsAreBoundedInBytesToo)
{
    HostRunner host({"--max-pending-bytes", "100000", "--exit-timeout-ms", "300"});
    WebPage page(host.port());
    page.send("hold " + host.pathText("never"));
    for (int i = 0; i < 4; ++i)
        page.send(std::string(60000, 'x'));
    EXPECT_EQ(page.awaitClose().code, 1008);
}

TEST(Session, APageThatReadsNothingIsClosedWhenItsProcessFloods)
{
    HostRunner host({"--max-unsent-bytes", "1000000"});
    WebPage other(host.port());
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    page.send("flood 200000 1000");
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
    EXPECT_EQ(other.ask("still here"), "still here");
}

TEST(Session, AFloodThatIsReadArrivesWhole)
{
    HostRunner host;
    WebPage page(host.port());
    page.send("flood 3000 1000");
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ(page.receive(), std::string(1000, 'f'));
}

TEST(Session, FramesThatTheProcessSendsInPiecesAreJoined)
{
    HostRunner host;
    WebPage page(host.port());
    EXPECT_EQ(page.ask("split byte by byte"), "byte by byte");
}

TEST(Session, CommandsThatStillWaitReachTheProcessWhenThePageCloses)
{
    HostRunner host;
    WebPage page(host.port());
    EXPECT_EQ(page.ask("ready"), "ready");
    page.send("hold " + host.pathText("go"));
    page.send("first");
    page.send("touch " + host.pathText("done"));
    page.close();
    makeFile(host.path("go"));
    EXPECT_TRUE(eventually([&] { return QFile::exists(host.path("done")); }));
}
