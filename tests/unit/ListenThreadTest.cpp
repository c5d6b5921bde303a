// Framing on the local socket, with the test as the host.
#include "shell/ListenThread.h"

#include "platform/Machine.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSemaphore>
#include <QStringList>
#include <QThread>
#include <QUuid>

#include <memory>

using testing::ElementsAre;

namespace
{

class ListenThreadTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.listen("lumo-test-" + QUuid::createUuid().toString(QUuid::WithoutBraces)));
        listen = new ListenThread(server.serverName(), nullptr);
        QObject::connect(listen, &ListenThread::recvMsgSig, &receiver, [this](QString msg) { got << msg; });
        QObject::connect(listen, &ListenThread::disconnectSig, &receiver, [this] { disconnected = true; });
        listen->startReading();
        ASSERT_TRUE(server.waitForNewConnection(10000));
        host.reset(server.nextPendingConnection());
    }

    void TearDown() override
    {
        QThread* pThread = listen->thread();
        host.reset(); // ends the session: the socket thread raises disconnectSig and asks the loop to quit
        ASSERT_TRUE(waitFor([&] { return disconnected; }));
        pThread->quit();
        pThread->wait();
        delete listen;
        QCoreApplication::removePostedEvents(qApp); // the quit
    }

    template <typename F> bool waitFor(F f)
    {
        QDeadlineTimer deadline(20000);
        while (!f() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return f();
    }

    /// Writes the bytes and waits until the process has read them, so that each write is a read of its own.
    void sendRead(const QByteArray& bytes)
    {
        host->write(bytes);
        host->flush();
        const auto nThread = listen->thread();
        ASSERT_NE(nThread, QThread::currentThread());
        // A queued call behind the socket notifier: run twice, the notifier has surely been served in between.
        for (int i = 0; i < 2; ++i)
            QMetaObject::invokeMethod(
                listen, [] {}, Qt::BlockingQueuedConnection);
        waitUntilDrained();
    }

    void waitUntilDrained()
    {
        QMetaObject::invokeMethod(
            listen,
            [this] {
                auto* pSocket = listen->findChild<QLocalSocket*>();
                pSocket->waitForReadyRead(50); // takes in what has not been told yet; no data is no failure
            },
            Qt::BlockingQueuedConnection);
    }

    bool gotCount(int n)
    {
        return waitFor([&] { return got.size() >= n; });
    }

    QLocalServer server;
    std::unique_ptr<QLocalSocket> host;
    ListenThread* listen = nullptr;
    QObject receiver;
    QStringList got;
    bool disconnected = false;
};

TEST_F(ListenThreadTest, AFrameInOneReadIsOneMessage)
{
    sendRead("00000002{}");
    ASSERT_TRUE(gotCount(1));
    EXPECT_EQ(QStringList("{}"), got);
}

TEST_F(ListenThreadTest, UpperCaseHeaderDigitsPass)
{
    sendRead("0000000A0123456789");
    ASSERT_TRUE(gotCount(1));
    EXPECT_EQ("0123456789", got[0]);
}

TEST_F(ListenThreadTest, AnEmptyFrameRaisesAnEmptyMessageAtOnce)
{
    sendRead("00000000");
    ASSERT_TRUE(gotCount(1));
    EXPECT_EQ("", got[0]);
}

TEST_F(ListenThreadTest, ABodySplitOverReadsIsDeliveredOnceWhenItsSizeMatches)
{
    sendRead("00000006ab");
    sendRead("cd");
    EXPECT_TRUE(got.isEmpty());
    sendRead("ef");
    ASSERT_TRUE(gotCount(1));
    sendRead("00000001x");
    ASSERT_TRUE(gotCount(2));
    EXPECT_EQ((QStringList{"abcdef", "x"}), got);
}

TEST_F(ListenThreadTest, ABodyBeyondSixteenBitsArrivesWhole)
{
    sendRead("00020000");
    for (int i = 0; i < 4; ++i)
        sendRead(QByteArray(32768, char('a' + i)));
    ASSERT_TRUE(gotCount(1));
    ASSERT_EQ(131072, got[0].size());
    EXPECT_EQ("abcd", QString(got[0][32767]) + got[0][32768] + got[0][65536 + 1] + got[0][131071]);
    EXPECT_EQ(1, got.size());
}

TEST_F(ListenThreadTest, TwoFramesInOneReadAreOneMessage)
{
    sendRead("00000002{}00000002[]");
    ASSERT_TRUE(gotCount(1));
    EXPECT_EQ(QStringList("{}00000002[]"), got);
}

TEST_F(ListenThreadTest, ABodyThatOvershootsIsNeverDelivered)
{
    sendRead("00000006ab");
    sendRead("cdefgh");
    sendRead("00000002{}");
    EXPECT_TRUE(got.isEmpty());
}

TEST_F(ListenThreadTest, ABodyOfASizeBelowZeroNeverEndsAndIsNotKept)
{
    sendRead("-0000001x");
    const quint64 nBefore = platform::processMemory();
    const QByteArray megabyte(1 << 20, 'x');
    for (int i = 0; i < 48; ++i) {
        host->write(megabyte);
        ASSERT_TRUE(waitFor([&] { return host->bytesToWrite() == 0; }));
    }
    sendRead("x");
    EXPECT_LT(platform::processMemory(), nBefore + (24u << 20));
    EXPECT_TRUE(got.isEmpty());
}

TEST_F(ListenThreadTest, AHeaderThatIsNoNumberIsDroppedAndTheRestIsAHeaderOnTheNextRead)
{
    sendRead("zzzzzzzz");
    EXPECT_TRUE(got.isEmpty());
    sendRead("00000002{}");
    ASSERT_TRUE(gotCount(1));
    EXPECT_EQ(QStringList("{}"), got);
}

TEST_F(ListenThreadTest, SendingCountsUtf8BytesInEightLowerCaseDigits)
{
    QMetaObject::invokeMethod(listen, [this] { listen->onSendMsg(QString::fromUtf8("ä€0123456789")); });
    ASSERT_TRUE(waitFor([&] { return host->bytesAvailable() >= 8 + 15; }));
    EXPECT_EQ(QByteArray("0000000fä€0123456789"), host->readAll());
}

TEST_F(ListenThreadTest, AnEmptyMessageIsSentAsAHeaderAlone)
{
    QMetaObject::invokeMethod(listen, [this] { listen->onSendMsg(QString()); });
    ASSERT_TRUE(waitFor([&] { return host->bytesAvailable() >= 8; }));
    EXPECT_EQ(QByteArray("00000000"), host->readAll());
}

TEST_F(ListenThreadTest, AMessageComesInWhileTheCreatingThreadIsBusy)
{
    QSemaphore came;
    QObject::connect(
        listen, &ListenThread::recvMsgSig, &receiver, [&came] { came.release(); }, Qt::DirectConnection);
    for (int i = 0; i < 3; ++i) {
        host->write("00000002{}");
        host->flush();
        ASSERT_TRUE(came.tryAcquire(1, 20000)) << i;
    }
    EXPECT_TRUE(gotCount(3));
}

TEST_F(ListenThreadTest, WhatTheHostSendsBeforeTheSignalsAreWiredIsNotLost)
{
    QLocalServer early;
    ASSERT_TRUE(early.listen("lumo-test-" + QUuid::createUuid().toString(QUuid::WithoutBraces)));
    auto* pListen = new ListenThread(early.serverName(), nullptr);
    ASSERT_TRUE(early.waitForNewConnection(10000));
    std::unique_ptr<QLocalSocket> pHost(early.nextPendingConnection());
    pHost->write("00000002{}");
    ASSERT_TRUE(pHost->waitForBytesWritten(10000));
    QSemaphore runs;
    QMetaObject::invokeMethod(pListen, [&] { runs.release(); });
    EXPECT_FALSE(runs.tryAcquire(1, 100)) << "its thread stands still";
    QStringList texts;
    bool bEnded = false;
    QObject::connect(pListen, &ListenThread::recvMsgSig, &receiver, [&](QString msg) { texts << msg; });
    QObject::connect(pListen, &ListenThread::disconnectSig, &receiver, [&] { bEnded = true; });
    pListen->startReading();
    EXPECT_TRUE(waitFor([&] { return texts.size() == 1; }));
    pHost.reset();
    EXPECT_TRUE(waitFor([&] { return bEnded; }));
    pListen->thread()->quit();
    pListen->thread()->wait();
    delete pListen;
}

TEST(ListenThreadUnconnected, StaysOnItsThreadAndSwallowsWhatIsSent)
{
    ListenThread listen("lumo-no-such-server", nullptr);
    EXPECT_EQ(QThread::currentThread(), listen.thread());
    listen.onSendMsg("x");
    QCoreApplication::removePostedEvents(qApp); // the quit it asked for
}

} // namespace
