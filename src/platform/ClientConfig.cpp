#include "platform/ClientConfig.h"

#include "platform/Paths.h"

namespace platform
{
ClientConfig::ClientConfig() : QSettings(applicationDir() + kClientConfigFile, QSettings::IniFormat)
{
    setIniCodec(systemCodec());
}

QString ClientConfig::folder(const SUserFolder& folder, ESlashes slashes)
{
    const QString strFolder = value(folder.szKey).toString();
    if (!strFolder.isEmpty())
        return strFolder;
    QString strDefault = applicationDir() + folder.szDefault;
    strDefault = slashes == ESlashes::Native ? nativePath(strDefault) : strDefault.replace('\\', '/');
    setValue(folder.szKey, strDefault);
    return strDefault;
}
} // namespace platform
