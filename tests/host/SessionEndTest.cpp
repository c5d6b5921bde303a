// How a session ends, from either side, and that nothing is left of it.
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include "HostRunner.h"
#include "WebClient.h"

using namespace lumo::test;

namespace
{

qint64 pidOf(WebPage& page)
{
    const std::string json = page.ask("args");
    return QJsonDocument::fromJson(QByteArray::fromStdString(json)).object()["pid"].toVariant().toLongLong();
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string hostInfo(const HostRunner& host)
{
    return bodyOf(httpAnswer(host.port(), "/api/host"));
}

} // namespace

TEST(SessionEnd, ACrashIsToldWithItsSignal)
{
    HostRunner host;
    WebPage page(host.port());
    page.send("abort");
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4001);
    EXPECT_EQ(closed.reason, "the process was ended by signal 6");
}

TEST(SessionEnd, AnExitIsToldWithItsCodeAfterTheLastMessages)
{
    HostRunner host;
    WebPage page(host.port());
    page.send("last words");
    page.send("exit 7");
    EXPECT_EQ(page.receive(), "last words");
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4001);
    EXPECT_EQ(closed.reason, "the process ended with exit code 7");
}

TEST(SessionEnd, AProgramThatDoesNotExistIsTold)
{
    HostRunner host({"--program", "/nonexistent/program"});
    WebPage page(host.port());
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4002);
    EXPECT_TRUE(contains(closed.reason, "the process cannot be started: ")) << closed.reason;
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":0"); }));
}

TEST(SessionEnd, AProgramThatNeverConnectsIsToldAndKilled)
{
    HostRunner host({"--connect-timeout-ms", "200"}, {"LUMO_FAKE=deaf"});
    WebPage page(host.port());
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4002);
    EXPECT_EQ(closed.reason, "the process did not connect within 200 ms");
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":0"); }));
}

TEST(SessionEnd, AProgramThatEndsBeforeItConnectsIsTold)
{
    HostRunner host({"--program", "/bin/false"});
    WebPage page(host.port());
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4001);
    EXPECT_EQ(closed.reason, "the process ended with exit code 1");
}

TEST(SessionEnd, AClosedPageEndsItsProcess)
{
    HostRunner host;
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    ASSERT_TRUE(processExists(pid));
    EXPECT_TRUE(contains(hostInfo(host), "\"sessions\":1"));
    page.close();
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":0"); }));
}

TEST(SessionEnd, ADroppedConnectionEndsItsProcess)
{
    HostRunner host;
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    page.drop();
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
}

TEST(SessionEnd, APageThatVanishesBeforeItsProcessConnectsLeavesNothing)
{
    HostRunner host({}, {"LUMO_FAKE=deaf"});
    WebPage page(host.port());
    page.drop();
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":0"); }));
}

TEST(SessionEnd, APageThatAnswersNoPingIsGone)
{
    HostRunner host({"--idle-timeout-ms", "300"});
    const std::string own = "127.0.0.1:" + std::to_string(host.port());
    RawConnection silent(host.port());
    silent.send("GET / HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own +
                "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n");
    EXPECT_TRUE(contains(silent.readUntil("\r\n\r\n"), "101"));
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":1"); }));
    const std::string rest = silent.readAll();
    EXPECT_TRUE(contains(rest, "\x89")) << "there was no ping";
    EXPECT_TRUE(eventually([&] { return contains(hostInfo(host), "\"sessions\":0"); }));
}

TEST(SessionEnd, AProcessThatDoesNotEndIsKilled)
{
    HostRunner host({"--exit-timeout-ms", "200"});
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    page.send("stay");
    EXPECT_EQ(page.ask("ready"), "ready");
    page.close();
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
}

TEST(SessionEnd, AProcessThatSendsNoFramesIsToldAndEnded)
{
    HostRunner host;
    WebPage page(host.port());
    const qint64 pid = pidOf(page);
    page.send("garbage");
    const Closed closed = page.awaitClose();
    EXPECT_EQ(closed.code, 4001);
    EXPECT_TRUE(contains(closed.reason, "the process sent a damaged frame")) << closed.reason;
    EXPECT_TRUE(eventually([&] { return !processExists(pid); }));
}

TEST(SessionEnd, TheHostsEndIsToldAndTakesItsProcessesAlong)
{
    HostRunner host;
    WebPage first(host.port());
    WebPage second(host.port());
    const qint64 firstPid = pidOf(first);
    const qint64 secondPid = pidOf(second);
    EXPECT_EQ(host.stop(), 0);
    EXPECT_EQ(first.awaitClose().code, 1001);
    EXPECT_EQ(second.awaitClose().code, 1001);
    EXPECT_FALSE(processExists(firstPid));
    EXPECT_FALSE(processExists(secondPid));
}

TEST(SessionEnd, SocketFilesAreTakenAway)
{
    QString server;
    {
        HostRunner host;
        WebPage page(host.port());
        const std::string json = page.ask("args");
        server =
            QJsonDocument::fromJson(QByteArray::fromStdString(json)).object()["args"].toVariant().toStringList()[2];
    }
    ASSERT_FALSE(server.isEmpty());
    EXPECT_FALSE(QFile::exists("/tmp/" + server));
}
