#include "live/LocalFolders.h"

#include "platform/Paths.h"

#include <QSettings>

namespace
{

QString folderOf(QSettings& settings, const char* szKey, const char* szDefault)
{
    const QString strFolder = settings.value(szKey).toString();
    if (!strFolder.isEmpty())
        return strFolder;
    const QString strDefault = platform::nativePath(platform::applicationDir() + szDefault);
    settings.setValue(szKey, strDefault);
    return strDefault;
}

template <std::size_t nSize> void copyTo(char (&szTarget)[nSize], const QString& strText)
{
    platform::copyLocal8Bit(szTarget, nSize, strText);
}

} // namespace

LocalInfo loadLocalFolders()
{
    LocalInfo info{};
    QSettings settings(platform::applicationDir() + "/ClientCfg.ini", QSettings::IniFormat);
    settings.setIniCodec(platform::systemCodec());
    copyTo(info.szCapPath, folderOf(settings, "Path/CapPath", "/Device/Capture"));
    copyTo(info.szRecPath, folderOf(settings, "Path/RecPath", "/Device/Record"));
    copyTo(info.szDownPath, folderOf(settings, "Path/DownPath", "/Device/Download"));
    info.nCaptureType = settings.value("Info/CaptureType").toInt();
    info.nRecordType = settings.value("Info/RecordType").toInt();
    return info;
}
