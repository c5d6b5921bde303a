// The plug-in host's end of the local socket: frames of 8 hexadecimal digits and a body, one at a time.
// Thread: the runner's one thread.
#pragma once

#include <QByteArray>
#include <QLocalServer>
#include <QLocalSocket>
#include <QObject>

#include <functional>

/// True when the peer of a socket has read all of so many bytes, which were written since it connected.
using PeerRead = std::function<bool(qint64 written)>;
/// The socket must outlive it. One implementation file per platform.
PeerRead makePeerRead(QLocalSocket& socket);

class Host : public QObject
{
public:
    explicit Host(const QString& serverName);
    QString serverName() const { return m_server.serverName(); }
    bool connected() const { return m_socket && m_socket->state() == QLocalSocket::ConnectedState; }
    void sendFrame(const QByteArray& body);
    void sendRaw(const QByteArray& bytes);
    /// True when the process has read all that was sent.
    bool drained() const;
    void close();

    std::function<void(const QByteArray& body)> onMessage;
    /// A frame that is not formed as it must be.
    std::function<void(const QString& why)> onBadFrame;

private:
    void read();

    QLocalServer m_server;
    QLocalSocket* m_socket = nullptr;
    PeerRead m_peerRead;
    qint64 m_written = 0;
    QByteArray m_buffer;
};
