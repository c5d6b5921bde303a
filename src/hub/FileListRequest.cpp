#include "hub/FileListRequest.h"

#include "hub/PlaybackState.h"

#include <cstdio>
#include <string>

namespace
{

template <std::size_t N> void takeText(char (&field)[N], const Json::Value& value)
{
    copyField(field, N, value.asString().c_str());
}

/// "0x" and eight hexadecimal digits; anything else is 0.
int fileLength(const Json::Value& value)
{
    unsigned uLength = 0;
    std::sscanf(value.asString().c_str(), "0x%08X", &uLength);
    return static_cast<int>(uLength);
}

PlaybackRequest playFile(const Json::Value& request, const Json::Value& entry, int nMode, int nSelectWnd)
{
    PlaybackRequest file{};
    file.streamType = request["Stream"].asInt();
    if (nMode != kPlayByName && nMode != kPlayByTime)
        return file;
    takeText(file.beginTime, entry["BeginTime"]);
    takeText(file.endTime, entry["EndTime"]);
    if (nMode == kPlayByName) {
        file.channel = request["Channel"].asInt();
        file.fileSize = fileLength(entry["FileLength"]);
        takeText(file.fileName, entry["FileName"]);
        file.wnd = nSelectWnd;
    } else {
        file.channel = entry["Channel"].asInt();
        file.wnd = entry["Wnd"].asInt();
        file.fileType = entry["FileType"].asInt();
    }
    return file;
}

DownloadRequest downloadFile(const Json::Value& request, const Json::Value& entry)
{
    DownloadRequest file{};
    file.channel = request["Channel"].asInt();
    file.streamType = request["Stream"].asInt();
    file.fileSize = fileLength(entry["FileLength"]);
    takeText(file.fileName, entry["FileName"]);
    takeText(file.beginTime, entry["BeginTime"]);
    takeText(file.endTime, entry["EndTime"]);
    return file;
}

template <typename File, typename Read> std::vector<File> readList(const Json::Value& request, Read read)
{
    std::vector<File> files;
    const Json::Value& list = request["FileInfo"];
    for (Json::ArrayIndex i = 0; i < list.size(); ++i)
        files.push_back(read(list[i]));
    return files;
}

} // namespace

std::vector<PlaybackRequest> readPlayFiles(const Json::Value& request, int nMode, int nSelectWnd)
{
    return readList<PlaybackRequest>(
        request, [&](const Json::Value& entry) { return playFile(request, entry, nMode, nSelectWnd); });
}

std::vector<DownloadRequest> readDownloadFiles(const Json::Value& request)
{
    return readList<DownloadRequest>(request, [&](const Json::Value& entry) { return downloadFile(request, entry); });
}
