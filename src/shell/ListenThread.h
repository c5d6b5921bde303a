// The process's only link to the plug-in host: a local socket that carries frames of 8 hexadecimal digits and a
// UTF-8 body. It knows nothing of what the bodies say.
//
// Thread: created on the GUI thread, lives on the socket thread, which alone touches the socket. A plain QObject,
// whatever the name says. Errors: never reported; an unconnected socket swallows what is sent.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QSemaphore>
#include <QString>
#include <QThread>
#include <memory>

class QLocalSocket;

class ListenThread : public QObject
{
    Q_OBJECT
public:
    /// Waits up to 30 seconds for the host. On failure logs and comes back to the calling thread.
    ListenThread(QString serverName, QObject* parent);

    /// Lets the socket thread read. After the signals are connected: a host may send, or close, as soon as it is
    /// reached.
    void startReading();

    /// Ends the socket thread, waiting a second at most. Before the application object goes, which that thread uses.
    void stopReading();

signals:
    void recvMsgSig(QString msg);
    void disconnectSig();

public slots:
    void onSendMsg(QString msg);
    void onReadyRead();

private:
    void connectAndHold(const QString& serverName, QThread* pCreator);
    void takeFrames();
    bool readHeader();
    void readBody();
    void deliver();

    bool readingHeader = true;
    int expectedSize = 0;
    QByteArray buffer;
    qint64 m_nLeft = 0; // bytes that came before and are still in the socket's own buffer
    QLocalSocket* socket;
    std::unique_ptr<QThread> m_pThread;
    bool m_bConnected = false; // told by m_tried
    QSemaphore m_tried, m_wanted;
};
