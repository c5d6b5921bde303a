// The page's end of enciphered messages: AES-128 in CBC mode from an IV of zeros, zero padding, Base64 around it.
#pragma once

#include <QByteArray>

namespace cipher
{
/// The key's first 16 bytes count; a shorter one is filled up with zeros.
QByteArray seal(const QByteArray& text, const QByteArray& key);
/// Throws Failure when it is not formed as an enciphered message must be.
QByteArray opened(const QByteArray& sealed, const QByteArray& key);
} // namespace cipher
