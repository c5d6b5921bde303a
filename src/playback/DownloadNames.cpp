#include "playback/DownloadNames.h"

#include "platform/Paths.h"

namespace
{

constexpr std::size_t kPathBytes = 260;

QByteArray cutPath(const QString& strFolder, const QString& strName)
{
    char szPath[kPathBytes];
    platform::copyLocal8Bit(szPath, sizeof szPath, platform::joinPath(strFolder, strName));
    return szPath;
}

/// Without what a file's name may not hold everywhere.
QString timePart(QString strTime)
{
    return strTime.remove(':').replace(' ', '_');
}

} // namespace

QByteArray downloadPath(const QString& strFolder, const DownloadRequest& file, bool bForAvi)
{
    const QString strBegin = timePart(QString::fromUtf8(file.beginTime));
    const QString strEnd = QString::fromUtf8(file.endTime).right(8).remove(':');
    const bool bPicture = QByteArray(file.fileName).contains(".jpg");
    const QString strName = QString::asprintf("%02d_", file.channel + 1) + strBegin + '_' + strEnd +
                            (bForAvi ? "_for_avi" : "") + (bPicture ? ".jpg" : ".h265x");
    return cutPath(strFolder, strName);
}

QByteArray pictureDownloadPath(const QString& strFolder)
{
    return cutPath(strFolder, "temp.jpg");
}

QString aviNameOf(const QString& strSource)
{
    return QString(strSource).replace("_for_avi.h265x", ".avi");
}
