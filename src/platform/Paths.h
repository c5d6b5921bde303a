// How this system writes paths, names programs and encodes text for its 8-bit calls.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>

class QTextCodec;

namespace platform
{
/// '\\' on Windows, '/' elsewhere.
QChar pathSeparator();
/// Both kinds of slash turned into the system's own.
QString nativePath(QString strPath);
/// Folder, separator, name.
QString joinPath(const QString& strFolder, const QString& strName);

/// ".exe" on Windows, empty elsewhere.
QString executableSuffix();
/// The folder of the running program, as Qt writes it: with slashes, none at the end. Empty before there is an
/// application object.
QString applicationDir();

/// The encoding of the libraries' char* arguments and of the records' char fields.
QByteArray toLocal8Bit(const QString& strText);
QString fromLocal8Bit(const char* szText);
/// The same encoding for INI files. The codec named "System", or the locale's where Qt was built without that name.
QTextCodec* systemCodec();
/// Copies at most nSize - 1 bytes and always ends them with a zero byte.
void copyLocal8Bit(char* szTarget, std::size_t nSize, const QString& strText);
} // namespace platform
