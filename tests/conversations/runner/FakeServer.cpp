#include "FakeServer.h"

#include "Failure.h"
#include "Pattern.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace
{

QByteArray encoded(const QJsonValue& value)
{
    const QString text = value.isDouble() ? QString::number(static_cast<qint64>(value.toDouble())) : value.toString();
    return text.toUtf8().toPercentEncoding();
}

QByteArray fieldText(const QJsonObject& fields)
{
    static const QHash<QString, QStringList> lists{{"colour", {"brightness", "contrast", "saturation", "hue"}},
                                                   {"build", {"year", "month", "day"}}};
    QByteArray out;
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        if (lists.contains(it.key())) {
            for (int i = 0; i < lists[it.key()].size(); ++i) {
                out += " " + lists[it.key()][i].toUtf8() + "=" + encoded(it.value().toArray()[i]);
            }
        } else {
            out += " " + it.key().toUtf8() + "=" + encoded(it.value());
        }
    }
    return out;
}

} // namespace

QString Call::text() const
{
    QString out = name;
    for (const QJsonValue& arg : args) {
        out += " " + compact(arg);
    }
    return out;
}

FakeServer::FakeServer()
{
    if (!m_server.listen(QHostAddress::LocalHost, 0)) {
        throw Failure{"cannot listen on the loopback address: " + m_server.errorString()};
    }
    connect(&m_server, &QTcpServer::newConnection, this, [this] { accept(); });
}

void FakeServer::accept()
{
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        read(socket);
    }
}

void FakeServer::read(QTcpSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    for (int end; (end = buffer.indexOf('\n')) >= 0;) {
        const QByteArray line = buffer.left(end);
        buffer.remove(0, end + 1);
        onLine(socket, line);
    }
}

void FakeServer::onLine(QTcpSocket* socket, const QByteArray& line)
{
    const QList<QByteArray> words = line.split(' ');
    const QByteArray& verb = words[0];
    if (verb == "hello") {
        m_libraries[socket] = words.value(1);
        m_sockets[words.value(1)] = socket;
    } else if (verb == "call") {
        Call call;
        call.library = m_libraries[socket];
        call.id = words.value(1).toULongLong();
        call.thread = words.value(2).toULongLong();
        call.name = words.value(3);
        call.args = QJsonDocument::fromJson(line.mid(line.indexOf('['))).array();
        onCall(call);
    } else if (verb == "done") {
        onDone(words.value(1).toULongLong(), words.value(2));
    } else if (verb == "fault") {
        onFault(QString::fromUtf8(line.mid(6)));
    }
}

void FakeServer::answer(const Call& call, double value, const QJsonObject& fields)
{
    QTcpSocket* socket = m_sockets.value(call.library);
    socket->write("ret " + QByteArray::number(call.id) + " " + QByteArray::number(value, 'g', 12) + fieldText(fields) +
                  "\n");
    socket->flush();
}

void FakeServer::raise(const QString& library, quint64 id, const QString& kind, const QJsonObject& fields)
{
    QTcpSocket* socket = m_sockets.value(library);
    if (!socket) {
        throw Failure{"the process has not called " + library + " yet"};
    }
    socket->write("raise " + QByteArray::number(id) + " " + kind.toUtf8() + fieldText(fields) + "\n");
    socket->flush();
}

void FakeServer::closeAll()
{
    for (QTcpSocket* socket : qAsConst(m_sockets)) {
        socket->abort();
    }
}
