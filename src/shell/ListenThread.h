// The process's only link to the plug-in host: a local socket that carries frames of 8 hexadecimal digits and a
// UTF-8 body. It knows nothing of what the bodies say.
//
// Thread: created on the GUI thread, then lives on the socket thread, where all slots run. A plain QObject,
// whatever the name says. Errors: never reported; an unconnected socket swallows what is sent.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class QLocalSocket;
class QThread;

class ListenThread : public QObject
{
    Q_OBJECT
public:
    /// Waits up to 30 seconds for the host. On failure logs and stays on the calling thread.
    ListenThread(QString serverName, QObject* parent);

    /// Starts the socket thread. After the signals are connected: a host may send, or close, as soon as it is reached.
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
    bool readHeader();
    void readBody();
    void deliver();

    bool readingHeader = true;
    int expectedSize = 0;
    QByteArray buffer;
    QLocalSocket* socket;
    QThread* m_pThread = nullptr; // none when the host was not reached
};
