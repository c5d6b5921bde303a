// The runner's end of the recording libraries: receives their calls in order, answers them, raises callbacks.
// Thread: the runner's one thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QObject>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

struct Call {
    QString library; // LumoNet or LumoDecode
    quint64 id = 0;
    quint64 thread = 0;
    QString name;
    QJsonArray args;
    QString text() const;
};

class FakeServer : public QObject
{
public:
    FakeServer();
    quint16 port() const { return m_server.serverPort(); }
    /// value and fields: what the script says; arrays "colour" and "build" stand for their single fields.
    void answer(const Call& call, double value, const QJsonObject& fields);
    void raise(const QString& library, quint64 id, const QString& kind, const QJsonObject& fields);
    bool connected(const QString& library) const { return m_sockets.contains(library); }
    void closeAll();

    std::function<void(const Call&)> onCall;
    std::function<void(quint64 id, const QString& result)> onDone;
    std::function<void(const QString& text)> onFault;

private:
    void accept();
    void read(QTcpSocket* socket);
    void onLine(QTcpSocket* socket, const QByteArray& line);

    QTcpServer m_server;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    QHash<QTcpSocket*, QString> m_libraries;
    QHash<QString, QTcpSocket*> m_sockets;
};
