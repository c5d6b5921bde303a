// A web server as a conversation needs one: it does with each request what the file says beforehand, with a certificate
// of its own that nobody vouches for. Thread: the runner's one thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QSslCertificate>
#include <QSslKey>
#include <QStringList>
#include <QTcpServer>

#include <deque>

class QSslSocket;

class WebPeer : public QTcpServer
{
public:
    /// What it does with one request.
    struct Deed {
        enum What { Answer, Hang, Close, Endless } what = Answer;
        int status = 200;
        QByteArray body;
    };

    explicit WebPeer(bool secure);
    /// In the order of the requests; a request that nothing was said about is left hanging.
    void next(const Deed& deed) { m_deeds.push_back(deed); }
    /// The first request that is left hanging gets its answer after all.
    void answerLate(int status, const QByteArray& body);
    /// First lines of the requests so far.
    const QStringList& requests() const { return m_requests; }
    /// Connections that the program has ended.
    int ended() const { return m_ended; }

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void read(QSslSocket* socket);
    void act(QSslSocket* socket, const Deed& deed);

    bool m_secure;
    QSslKey m_key;
    QSslCertificate m_certificate;
    std::deque<Deed> m_deeds;
    std::deque<QSslSocket*> m_hanging;
    QHash<QSslSocket*, QByteArray> m_buffers;
    QStringList m_requests;
    int m_ended = 0;
};
