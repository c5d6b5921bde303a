#include "hub/TransportCipher.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace
{

constexpr int kBlock = 16;           // bytes
constexpr int kMessageRoom = 65536;  // bytes, the ending zero included
constexpr int kLongestPlain = 49136; // bytes after padding: the last whole block whose Base64 fits that room

QByteArray upToZero(const QByteArray& text)
{
    return QByteArray(text.constData(), int(qstrnlen(text.constData(), uint(text.size()))));
}

bool isBase64Char(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Without its line breaks and the blanks before them; none when a blank stands anywhere else.
std::optional<QByteArray> withoutLineBreaks(const QByteArray& text)
{
    QByteArray joined;
    joined.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const int nStart = i;
        while (i < text.size() && text[i] == ' ')
            ++i;
        const bool bCrLf = i + 1 < text.size() && text[i] == '\r' && text[i + 1] == '\n';
        if (bCrLf)
            ++i;
        if (i < text.size() && text[i] == '\n')
            continue;
        if (i != nStart)
            return std::nullopt;
        joined += text[i];
    }
    return joined;
}

} // namespace

AesKey aesKeyOf(const char* szKey)
{
    AesKey key = {};
    std::memcpy(key.data(), szKey, qstrnlen(szKey, uint(key.size() - 1)));
    return key;
}

std::array<char, 17> makeKeyText(uint32_t nRandom)
{
    constexpr uint32_t kFirst = '!';
    constexpr uint32_t kPrintable = 94; // up to '~'
    std::array<char, 17> text = {};
    uint32_t x = nRandom;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        x = x * 110351 + 12345;
        x %= 1000101;
        text[i] = char(kFirst + x % kPrintable);
    }
    return text;
}

QByteArray aesCbc(const QByteArray& blocks, const AesIv& iv, const AesKey& key, bool bEncipher)
{
    if (blocks.size() % kBlock != 0)
        return QByteArray();
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> pContext(EVP_CIPHER_CTX_new(),
                                                                                   EVP_CIPHER_CTX_free);
    QByteArray out(blocks.size() + kBlock, '\0');
    auto* pOut = reinterpret_cast<uint8_t*>(out.data());
    const auto* pIn = reinterpret_cast<const uint8_t*>(blocks.constData());
    int nOut = 0;
    const bool bDone =
        pContext &&
        EVP_CipherInit_ex(pContext.get(), EVP_aes_128_cbc(), nullptr, key.data(), iv.data(), bEncipher ? 1 : 0) &&
        EVP_CIPHER_CTX_set_padding(pContext.get(), 0) &&
        EVP_CipherUpdate(pContext.get(), pOut, &nOut, pIn, blocks.size());
    out.truncate(bDone ? nOut : 0);
    return out;
}

QByteArray encrypt(const QByteArray& text, const AesIv& iv, const AesKey& key)
{
    QByteArray padded = upToZero(text);
    if (padded.size() > kLongestPlain)
        return QByteArray();
    padded.append(QByteArray((kBlock - padded.size() % kBlock) % kBlock, '\0'));
    return aesCbc(padded, iv, key, true).toBase64();
}

QByteArray decrypt(const QByteArray& text, const AesIv& iv, const AesKey& key)
{
    const QByteArray plain = upToZero(text);
    const std::optional<QByteArray> bytes = decodeBase64(plain);
    return bytes ? upToZero(aesCbc(*bytes, iv, key, false)) : plain;
}

std::optional<QByteArray> decodeBase64(const QByteArray& text)
{
    const std::optional<QByteArray> joined = withoutLineBreaks(text);
    if (!joined || joined->size() % 4 != 0)
        return std::nullopt;
    const auto itPad = std::find_if_not(joined->begin(), joined->end(), isBase64Char);
    if (joined->end() - itPad > 2 || !std::all_of(itPad, joined->end(), [](char c) { return c == '='; }))
        return std::nullopt;
    const QByteArray bytes = QByteArray::fromBase64(*joined);
    if (bytes.size() > kMessageRoom)
        return std::nullopt;
    return bytes;
}

void CSharedKey::set(const AesKey& key)
{
    std::array<uint64_t, 4> words;
    static_assert(sizeof words == sizeof key);
    std::memcpy(words.data(), key.data(), sizeof words);
    m_nVersion.fetch_add(1);
    for (size_t i = 0; i < words.size(); ++i)
        m_words[i].store(words[i]);
    m_nVersion.fetch_add(1);
}

AesKey CSharedKey::get() const
{
    for (;;) {
        const uint32_t nBefore = m_nVersion.load();
        std::array<uint64_t, 4> words;
        for (size_t i = 0; i < words.size(); ++i)
            words[i] = m_words[i].load();
        if (nBefore % 2 == 0 && m_nVersion.load() == nBefore) {
            AesKey key;
            std::memcpy(key.data(), words.data(), sizeof key);
            return key;
        }
    }
}
