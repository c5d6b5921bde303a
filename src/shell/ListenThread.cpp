#include "shell/ListenThread.h"

#include "platform/ReadCount.h"
#include "shell/LightWeightLog.h"

#include <QCoreApplication>
#include <QLocalSocket>
#include <QThread>

namespace
{
constexpr int kHeaderSize = 8;
constexpr int kConnectTimeoutMs = 30000;
constexpr unsigned long kStopTimeoutMs = 1000;
} // namespace

ListenThread::ListenThread(QString serverName, QObject* parent)
    : QObject(parent), socket(new QLocalSocket(this)), m_pThread(new QThread)
{
    QThread* pCreator = QThread::currentThread();
    moveToThread(m_pThread.get());
    m_pThread->start(QThread::InheritPriority);
    QMetaObject::invokeMethod(this, [=, this] { connectAndHold(serverName, pCreator); });
    m_tried.acquire();
    if (m_bConnected)
        return;
    m_pThread->quit();
    m_pThread->wait();
    writeLog("ListenThread::ListenThread", QString("can't connect to plugin server,serverName:%1").arg(serverName),
             kLogError);
    QCoreApplication::quit(); // no event loop runs yet, so the process stays up, unconnected
}

/// On Windows a pipe's data come in on the thread that connected, without a lock between it and one that reads them. So
/// this thread connects; and then it stands still, since what it takes before anybody listens the host counts as read.
void ListenThread::connectAndHold(const QString& serverName, QThread* pCreator)
{
    socket->connectToServer(serverName, QIODevice::ReadWrite);
    m_bConnected = socket->waitForConnected(kConnectTimeoutMs);
    if (!m_bConnected) {
        moveToThread(pCreator);
        m_tried.release();
        return;
    }
    connect(socket, &QLocalSocket::readyRead, this, &ListenThread::onReadyRead);
    connect(socket, &QLocalSocket::disconnected, this, [this] {
        emit disconnectSig(); // blocking: the hub has logged out when this returns
        // Queued: a host that closes at once must find the event loop running.
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
    });
    m_tried.release();
    m_wanted.acquire();
}

void ListenThread::startReading()
{
    m_wanted.release();
}

void ListenThread::stopReading()
{
    if (!m_bConnected)
        return;
    m_wanted.release();
    m_pThread->quit();
    // Bounded: the thread may wait for a hub that is held up in a call to the device.
    m_pThread->wait(kStopTimeoutMs);
}

void ListenThread::onReadyRead()
{
    const qint64 nCame = socket->bytesAvailable() - m_nLeft;
    takeFrames();
    m_nLeft = socket->bytesAvailable();
    platform::countRead(nCame);
}

void ListenThread::takeFrames()
{
    while (socket->bytesAvailable() > 0) {
        if (readingHeader && !readHeader())
            return;
        if (!readingHeader)
            readBody();
    }
}

/// False when the eight bytes were no hexadecimal number; they are gone then.
bool ListenThread::readHeader()
{
    bool bOk = false;
    const int nSize = QString::fromUtf8(socket->read(kHeaderSize)).toInt(&bOk, 16);
    if (!bOk)
        return false;
    expectedSize = nSize;
    buffer = socket->readAll();
    // Whatever came with a complete body stays in the message: the host sends one frame at a time.
    if (unsigned(buffer.size()) >= unsigned(expectedSize))
        deliver();
    else
        readingHeader = false;
    return true;
}

void ListenThread::readBody()
{
    const QByteArray bytes = socket->readAll();
    // A body that has overshot its size, or has one below zero, is never delivered; there is no use in letting it grow.
    if (buffer.size() > expectedSize)
        return;
    buffer += bytes;
    if (buffer.size() == expectedSize) {
        readingHeader = true;
        deliver();
    }
}

void ListenThread::deliver()
{
    const QString strMessage = QString::fromUtf8(buffer);
    emit recvMsgSig(strMessage);
    writeLog("ListenThread::onReadyRead", strMessage);
}

void ListenThread::onSendMsg(QString msg)
{
    const int nSize = msg.toUtf8().size();
    socket->write((QString("%1").arg(nSize, kHeaderSize, 16, QChar('0')) + msg).toUtf8());
    socket->flush();
}
