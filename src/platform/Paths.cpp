#include "platform/Paths.h"

#include <QCoreApplication>
#include <QTextCodec>
#include <cstring>

namespace platform
{
QString joinPath(const QString& strFolder, const QString& strName)
{
    return strFolder + pathSeparator() + strName;
}

QString applicationDir()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString();
}

QByteArray toLocal8Bit(const QString& strText)
{
    return strText.toLocal8Bit();
}

QString fromLocal8Bit(const char* szText)
{
    return QString::fromLocal8Bit(szText);
}

QTextCodec* systemCodec()
{
    QTextCodec* pCodec = QTextCodec::codecForName("System");
    return pCodec ? pCodec : QTextCodec::codecForLocale();
}

void copyLocal8Bit(char* szTarget, std::size_t nSize, const QString& strText)
{
    const QByteArray bytes = strText.toLocal8Bit();
    const std::size_t nLength = qMin(nSize - 1, static_cast<std::size_t>(bytes.size()));
    std::memcpy(szTarget, bytes.constData(), nLength);
    szTarget[nLength] = 0;
}
} // namespace platform
