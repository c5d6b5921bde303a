#include "WebPeer.h"

#include "Failure.h"

#include <QSslConfiguration>
#include <QSslSocket>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

namespace
{

template <typename Write> QByteArray pem(Write write)
{
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    write(memory.get());
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return QByteArray(text, static_cast<int>(size));
}

/// A key and a certificate signed with it, good for a day.
void makeCertificate(QSslKey& key, QSslCertificate& certificate)
{
    constexpr long kDaySeconds = 86400;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pair(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> x509(X509_new(), X509_free);
    ASN1_INTEGER_set(X509_get_serialNumber(x509.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509.get()), -kDaySeconds);
    X509_gmtime_adj(X509_getm_notAfter(x509.get()), kDaySeconds);
    X509_set_pubkey(x509.get(), pair.get());
    X509_NAME* name = X509_get_subject_name(x509.get());
    const auto* self = reinterpret_cast<const unsigned char*>("nobody");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, self, -1, -1, 0);
    X509_set_issuer_name(x509.get(), name);
    if (!X509_sign(x509.get(), pair.get(), EVP_sha256())) {
        throw Failure{"cannot make a certificate"};
    }
    key = QSslKey(pem([&](BIO* b) { PEM_write_bio_PrivateKey(b, pair.get(), nullptr, nullptr, 0, nullptr, nullptr); }),
                  QSsl::Ec);
    certificate = QSslCertificate(pem([&](BIO* b) { PEM_write_bio_X509(b, x509.get()); }));
}

} // namespace

WebPeer::WebPeer(bool secure) : m_secure(secure)
{
    if (m_secure) {
        makeCertificate(m_key, m_certificate);
    }
    if (!listen(QHostAddress::LocalHost, 0)) {
        throw Failure{"the web server cannot listen: " + errorString()};
    }
}

void WebPeer::incomingConnection(qintptr descriptor)
{
    auto* socket = new QSslSocket(this);
    connect(socket, &QSslSocket::readyRead, this, [this, socket] { read(socket); });
    connect(socket, &QSslSocket::disconnected, this, [this] { ++m_ended; });
    socket->setSocketDescriptor(descriptor);
    if (m_secure) {
        socket->setLocalCertificate(m_certificate);
        socket->setPrivateKey(m_key);
        socket->setPeerVerifyMode(QSslSocket::VerifyNone);
        socket->startServerEncryption();
    }
}

void WebPeer::read(QSslSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    if (!buffer.contains("\r\n\r\n")) {
        return;
    }
    m_requests << QString::fromLatin1(buffer.left(buffer.indexOf('\r')));
    buffer.clear();
    Deed deed{Deed::Hang, 0, {}};
    if (!m_deeds.empty()) {
        deed = m_deeds.front();
        m_deeds.pop_front();
    }
    act(socket, deed);
}

void WebPeer::answerLate(int status, const QByteArray& body)
{
    if (m_hanging.empty()) {
        throw Failure{"no request is left hanging"};
    }
    QSslSocket* const socket = m_hanging.front();
    m_hanging.pop_front();
    act(socket, {Deed::Answer, status, body});
}

void WebPeer::act(QSslSocket* socket, const Deed& deed)
{
    constexpr int kChunk = 65536; // bytes
    switch (deed.what) {
    case Deed::Answer:
        socket->write("HTTP/1.1 " + QByteArray::number(deed.status) +
                      " So\r\nContent-Length: " + QByteArray::number(deed.body.size()) + "\r\n\r\n" + deed.body);
        break;
    case Deed::Endless: // each chunk when the last one is gone
        socket->write("HTTP/1.1 200 So\r\n\r\n" + QByteArray(kChunk, 'x'));
        connect(socket, &QSslSocket::bytesWritten, this, [socket] {
            if (socket->bytesToWrite() == 0) {
                socket->write(QByteArray(kChunk, 'x'));
            }
        });
        break;
    case Deed::Close:
        socket->abort();
        break;
    case Deed::Hang:
        m_hanging.push_back(socket);
        break;
    }
}
