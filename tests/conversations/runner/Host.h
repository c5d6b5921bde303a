// The plug-in host's end of the local socket: frames of 8 hexadecimal digits and a body, one at a time.
// Thread: the runner's one thread.
#pragma once

#include <QByteArray>
#include <QLocalServer>
#include <QLocalSocket>
#include <QObject>

#include <functional>

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
    QByteArray m_buffer;
};

/// Bytes written to the socket that its peer has not read yet; one implementation file per platform.
qint64 unreadByPeer(QLocalSocket& socket);
