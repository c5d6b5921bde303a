#include "shell/ListenThread.h"

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

ListenThread::ListenThread(QString serverName, QObject* parent) : QObject(parent), socket(new QLocalSocket(this))
{
    socket->connectToServer(serverName, QIODevice::ReadWrite);
    if (!socket->waitForConnected(kConnectTimeoutMs)) {
        writeLog("ListenThread::ListenThread", QString("can't connect to plugin server,serverName:%1").arg(serverName),
                 kLogError);
        QCoreApplication::quit(); // no event loop runs yet, so the process stays up, unconnected
        return;
    }
    connect(socket, &QLocalSocket::readyRead, this, &ListenThread::onReadyRead);
    connect(socket, &QLocalSocket::disconnected, this, [this] {
        emit disconnectSig(); // blocking: the hub has logged out when this returns
        // Queued: a host that closes at once must find the event loop running.
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
    });
    m_pThread = new QThread(this);
    moveToThread(m_pThread);
}

void ListenThread::startReading()
{
    if (m_pThread)
        m_pThread->start(QThread::InheritPriority);
}

void ListenThread::stopReading()
{
    if (!m_pThread)
        return;
    m_pThread->quit();
    // Bounded: the thread may wait for a hub that is held up in a call to the device.
    m_pThread->wait(kStopTimeoutMs);
}

void ListenThread::onReadyRead()
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
