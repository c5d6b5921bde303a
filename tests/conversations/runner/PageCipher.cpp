#include "PageCipher.h"

#include "Failure.h"

#include <openssl/evp.h>

#include <memory>

namespace
{

constexpr int kBlock = 16; // bytes

QByteArray run(const QByteArray& in, const QByteArray& key, bool encipher)
{
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    const QByteArray zeros(kBlock, '\0');
    const QByteArray padded = (key + zeros).left(kBlock);
    const auto bytes = [](const QByteArray& b) { return reinterpret_cast<const unsigned char*>(b.constData()); };
    QByteArray out(in.size() + kBlock, '\0');
    int done = 0;
    if (!EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(padded), bytes(zeros), encipher) ||
        !EVP_CIPHER_CTX_set_padding(context.get(), 0) ||
        !EVP_CipherUpdate(context.get(), reinterpret_cast<unsigned char*>(out.data()), &done, bytes(in), in.size())) {
        throw Failure{"the cipher does not work"};
    }
    return out.left(done);
}

} // namespace

QByteArray cipher::seal(const QByteArray& text, const QByteArray& key)
{
    const int size = (text.size() + kBlock - 1) / kBlock * kBlock;
    return run(text + QByteArray(size - text.size(), '\0'), key, true).toBase64();
}

QByteArray cipher::opened(const QByteArray& sealed, const QByteArray& key)
{
    const QByteArray bytes = QByteArray::fromBase64(sealed);
    if (bytes.toBase64() != sealed || bytes.isEmpty() || bytes.size() % kBlock != 0) {
        throw Failure{"the message is no Base64 of whole blocks: " + QString::fromUtf8(sealed.left(400))};
    }
    QByteArray text = run(bytes, key, false);
    int padding = 0;
    while (text.endsWith('\0')) {
        text.chop(1);
        ++padding;
    }
    if (padding >= kBlock) {
        throw Failure{QString("the message has %1 bytes of padding").arg(padding)};
    }
    return text;
}
