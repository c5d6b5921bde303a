// The cipher of the messages between page and process: AES-128 (FIPS 197) in CBC mode (NIST SP 800-38A), zero padding,
// Base64 (RFC 4648) around it. It protects against casual reading of the traffic only: the key travels in the clear.
//
// Thread: any. Errors: as each function says; nothing throws.
#pragma once

#include <QByteArray>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

using AesIv = std::array<uint8_t, 16>;
using AesKey = std::array<uint8_t, 32>; // the first 16 bytes are the cipher's key

/// From a key text: at most 31 bytes of it, then zeros.
AesKey aesKeyOf(const char* szKey);

/// The key text that the process makes of a random number: 16 printable characters.
std::array<char, 17> makeKeyText(uint32_t nRandom);

/// The bare cipher, of whole blocks of 16 bytes; empty when it is given anything else.
QByteArray aesCbc(const QByteArray& blocks, const AesIv& iv, const AesKey& key, bool bEncipher);

/// Base64 of the text up to its first zero byte. Empty when that would not fit a message.
QByteArray encrypt(const QByteArray& text, const AesIv& iv, const AesKey& key);

/// The text up to its first zero byte. What is no Base64 comes back as it is; what is no whole number of blocks, empty.
QByteArray decrypt(const QByteArray& text, const AesIv& iv, const AesKey& key);

/// None when it is no Base64, or more than a message's room. Line breaks (LF, CRLF) are skipped, and blanks before
/// them.
std::optional<QByteArray> decodeBase64(const QByteArray& text);

/// The key of a session: set on the hub thread, read on any thread that sends, without a lock. A reader gets the key
/// before a change or the one after it, never a mixture.
class CSharedKey
{
public:
    /// One thread only.
    void set(const AesKey& key);
    AesKey get() const;

private:
    std::atomic<uint32_t> m_nVersion = 0; // odd while it is being set
    std::array<std::atomic<uint64_t>, 4> m_words = {};
};
