// The end of a request for the version file that its server leaves unanswered; all else is told by conversations.
#include "maintenance/VersionFetch.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

namespace
{

/// Accepts, reads, and says what it is told to say.
struct Server {
    QTcpServer listener;
    QByteArray answer;
    int asked = 0, ended = 0;

    Server()
    {
        EXPECT_TRUE(listener.listen(QHostAddress::LocalHost, 0));
        QObject::connect(&listener, &QTcpServer::newConnection, [this] {
            QTcpSocket* pSocket = listener.nextPendingConnection();
            QObject::connect(pSocket, &QTcpSocket::disconnected, [this] { ++ended; });
            QObject::connect(pSocket, &QTcpSocket::readyRead, [this, pSocket] {
                ++asked;
                pSocket->write(answer);
            });
        });
    }
    QString address() const { return QString("http://127.0.0.1:%1/v.ini").arg(listener.serverPort()); }
};

struct Counts {
    int answers = 0, timeouts = 0;
    QByteArray body;
    SVersionEnds ends()
    {
        return {[this](const QByteArray& b) {
                    ++answers;
                    body = b;
                },
                [this] { ++timeouts; }};
    }
};

template <typename Fact> bool waitFor(Fact fact)
{
    QElapsedTimer timer;
    timer.start();
    while (!fact() && timer.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return fact();
}

void settle()
{
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

TEST(VersionFetch, NoAnswerInTimeIsToldOnceAndNoEndFollowsIt)
{
    QObject owner;
    Server server;
    Counts counts;
    fetchVersionFile(&owner, server.address(), counts.ends(), 100);
    ASSERT_TRUE(waitFor([&] { return counts.timeouts > 0; }));
    ASSERT_TRUE(waitFor([&] { return server.ended > 0; })); // it lets go of the server
    settle();
    EXPECT_EQ(1, counts.timeouts);
    EXPECT_EQ(0, counts.answers);
    EXPECT_TRUE(waitFor([&] { return owner.children().isEmpty(); }));
}

TEST(VersionFetch, AnAnswerThatStopsHalfWayIsNoneInTime)
{
    QObject owner;
    Server server;
    server.answer = "HTTP/1.1 200 So\r\nContent-Length: 100\r\n\r\n[Tool]\n";
    Counts counts;
    fetchVersionFile(&owner, server.address(), counts.ends(), 300);
    ASSERT_TRUE(waitFor([&] { return counts.timeouts > 0; }));
    settle();
    EXPECT_EQ(0, counts.answers);
}

TEST(VersionFetch, AnAnswerInTimeEndsTheClock)
{
    QObject owner;
    Server server;
    server.answer = "HTTP/1.1 200 So\r\nContent-Length: 7\r\n\r\n[Tool]\n";
    Counts counts;
    fetchVersionFile(&owner, server.address(), counts.ends(), 20000);
    ASSERT_TRUE(waitFor([&] { return counts.answers > 0; }));
    settle();
    EXPECT_EQ("[Tool]\n", counts.body);
    EXPECT_TRUE(waitFor([&] { return owner.children().isEmpty(); }));
}

TEST(VersionFetch, ABodyOfOneMibIsTakenAndALongerOneIsEmpty)
{
    for (int nMore : {0, 1}) {
        QObject owner;
        Server server;
        const int nSize = kVersionFileBytes + nMore;
        server.answer =
            "HTTP/1.1 200 So\r\nContent-Length: " + QByteArray::number(nSize) + "\r\n\r\n" + QByteArray(nSize, 'x');
        Counts counts;
        fetchVersionFile(&owner, server.address(), counts.ends());
        ASSERT_TRUE(waitFor([&] { return counts.answers > 0; }));
        settle();
        EXPECT_EQ(nMore ? 0 : nSize, counts.body.size());
        EXPECT_EQ(1, counts.answers);
    }
}

TEST(VersionFetch, AnOwnerThatGoesFirstHearsNothing)
{
    Server server;
    Counts counts;
    {
        QObject owner;
        fetchVersionFile(&owner, server.address(), counts.ends(), 20000);
        ASSERT_TRUE(waitFor([&] { return server.asked > 0; }));
    }
    ASSERT_TRUE(waitFor([&] { return server.ended > 0; }));
    settle();
    EXPECT_EQ(0, counts.answers + counts.timeouts);
}

TEST(VersionFetch, ItsTimeIsAMinute)
{
    EXPECT_EQ(60000, kVersionTimeoutMs);
    EXPECT_EQ(1048576, kVersionFileBytes);
}

} // namespace
