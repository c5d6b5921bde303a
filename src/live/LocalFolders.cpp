#include "live/LocalFolders.h"

#include "platform/Paths.h"

LocalInfo loadLocalFolders(platform::ESlashes slashes)
{
    LocalInfo info{};
    platform::ClientConfig config;
    const auto copyFolder = [&](auto& szTarget, const platform::SUserFolder& folder) {
        platform::copyLocal8Bit(szTarget, sizeof szTarget, config.folder(folder, slashes));
    };
    copyFolder(info.szCapPath, platform::kCaptureFolder);
    copyFolder(info.szRecPath, platform::kRecordFolder);
    copyFolder(info.szDownPath, platform::kDownloadFolder);
    info.nCaptureType = config.value("Info/CaptureType").toInt();
    info.nRecordType = config.value("Info/RecordType").toInt();
    return info;
}
