#include "maintenance/VersionFetch.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <memory>

namespace
{

// Qt's own thread must have heard of the abort before the manager takes it away, or the connection stays open.
constexpr int kHangUpMs = 1000;

/// "https" anywhere in the address, in just these letters; other spellings keep the certificate's check.
QNetworkRequest requestFor(const QString& strAddress)
{
    QNetworkRequest request;
    if (strAddress.contains("https")) {
        QSslConfiguration configuration;
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        request.setSslConfiguration(configuration);
    }
    request.setUrl(QUrl(strAddress));
    return request;
}

/// One request under way.
struct SFetch {
    QNetworkAccessManager* pManager = nullptr;
    QNetworkReply* pReply = nullptr;
    QTimer* pTimer = nullptr;
    QByteArray body;

    /// Nothing of it is heard any more: an abort would raise finished again.
    void end()
    {
        pTimer->stop();
        pReply->disconnect();
        pReply->abort();
        pReply->deleteLater();
        QTimer::singleShot(kHangUpMs, pManager, &QObject::deleteLater);
        pTimer->deleteLater();
    }
};

} // namespace

void fetchVersionFile(QObject* pOwner, const QString& strAddress, const SVersionEnds& ends, int nTimeoutMs)
{
    auto pFetch = std::make_shared<SFetch>();
    pFetch->pManager = new QNetworkAccessManager(pOwner);
    // A request still under way ends with its thread, and Qt's own thread for it, too.
    QObject::connect(QThread::currentThread(), &QThread::finished, pFetch->pManager, &QObject::deleteLater);
    pFetch->pReply = pFetch->pManager->get(requestFor(strAddress));
    pFetch->pReply->setReadBufferSize(kVersionFileBytes + 1); // while the owner is busy the server has to wait
    pFetch->pTimer = new QTimer(pFetch->pManager);
    QObject::connect(pFetch->pTimer, &QTimer::timeout, pOwner, [pFetch, ends] {
        pFetch->end();
        ends.fnTimeout();
    });
    const auto fnAnswer = [pFetch, ends](const QByteArray& body) {
        pFetch->end();
        ends.fnAnswer(body);
    };
    QObject::connect(pFetch->pReply, &QNetworkReply::readyRead, pOwner, [pFetch, fnAnswer] {
        pFetch->body += pFetch->pReply->read(kVersionFileBytes + 1 - pFetch->body.size());
        if (pFetch->body.size() > kVersionFileBytes)
            fnAnswer(QByteArray());
    });
    QObject::connect(pFetch->pReply, &QNetworkReply::finished, pOwner, [pFetch, fnAnswer] {
        pFetch->body += pFetch->pReply->readAll();
        fnAnswer(pFetch->body.size() > kVersionFileBytes ? QByteArray() : pFetch->body);
    });
    pFetch->pTimer->start(nTimeoutMs);
}
