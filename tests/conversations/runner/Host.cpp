#include "Host.h"

#include "Failure.h"

#include <QRegularExpression>

Host::Host(const QString& serverName)
{
    if (!m_server.listen(serverName)) {
        throw Failure{"cannot listen as " + serverName + ": " + m_server.errorString()};
    }
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        m_socket = m_server.nextPendingConnection();
        m_peerRead = makePeerRead(*m_socket);
        connect(m_socket, &QLocalSocket::readyRead, this, [this] { read(); });
    });
}

void Host::sendFrame(const QByteArray& body)
{
    sendRaw(QByteArray::number(body.size(), 16).rightJustified(8, '0') + body);
}

void Host::sendRaw(const QByteArray& bytes)
{
    if (!connected()) {
        throw Failure{"the process is not connected"};
    }
    m_socket->write(bytes);
    m_written += bytes.size();
    m_socket->flush();
}

bool Host::drained() const
{
    return m_socket->bytesToWrite() == 0 && m_peerRead(m_written);
}

void Host::close()
{
    if (m_socket) {
        m_socket->disconnectFromServer();
    }
}

void Host::read()
{
    static const QRegularExpression header("^[0-9a-f]{8}$");
    m_buffer += m_socket->readAll();
    while (m_buffer.size() >= 8) {
        const QByteArray digits = m_buffer.left(8);
        if (!header.match(QString::fromLatin1(digits)).hasMatch()) {
            onBadFrame("the frame header \"" + QString::fromLatin1(digits) + "\" is not 8 lower-case digits");
            return;
        }
        const int size = digits.toInt(nullptr, 16);
        if (m_buffer.size() < 8 + size) {
            return;
        }
        const QByteArray body = m_buffer.mid(8, size);
        m_buffer.remove(0, 8 + size);
        onMessage(body);
    }
}
