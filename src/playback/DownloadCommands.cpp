// MainType 5, SubType 39 and 46: a list of recorded files, downloaded one after the other: into the download folder, or
// each over one picture file that is shown at once.
#include "device/LumoConnect.h"
#include "hub/FileListRequest.h"
#include "hub/PluginManage.h"
#include "platform/ClientConfig.h"
#include "platform/Machine.h"
#include "platform/Paths.h"
#include "playback/DownloadNames.h"
#include "surface/PlayWidget.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace
{

constexpr int kStarted = 1, kRefused = -1, kListDone = -2; // of StartNextDownload
constexpr int kWhole = 1000;                               // thousandths
constexpr int kBetweenFilesMs = 200;                       // the page relies on this pause before the next file

/// The library's word for the end is a current of -1.
int thousandths(long nTotal, long nCurrent)
{
    if (nCurrent == -1)
        return kWhole;
    constexpr double kLimit = 1e9;
    return int(std::clamp(double(nCurrent) / double(nTotal) * 1000.0, -kLimit, kLimit));
}

/// Whether files of this list are only halfway to the AVI that the user wants.
bool isForAvi(int nRecordType, int nFileType)
{
    return nRecordType == LUMODEC_RECORD_AVI && nFileType == 0;
}

} // namespace

void CPluginManage::onDownloadStart(const Json::Value& request)
{
    m_pDownloadFiles.clear();
    m_pDownloadFiles = readDownloadFiles(request);
    m_nDownloadFileType = request["FileType"].asInt();
    m_nDownloadKind = request["Event"].asString() == "PicturePlay" ? kKindPicture : kKindDownload;
    m_nDownloadIndex = 0;
    int nRet = kRetNothingDone;
    QString strFolder;
    if (!m_pDownloadFiles.empty()) {
        strFolder = platform::ClientConfig().folder(platform::kDownloadFolder, platform::ESlashes::Native);
        QDir().mkpath(strFolder);
        m_bCancelDownload = false;
        const int nStarted = StartNextDownload();
        nRet = nStarted > 0 ? kRetSuccess : nStarted == kRefused ? kRetNoDownload : kRetFailure;
    }
    Json::Value reply = replyTo(request);
    reply["DownPath"] = strFolder.toStdString();
    sendReply(reply, nRet);
}

/// 1 when a download was started, or when the entry has no channel and the list stands still; -1 when there is no
/// folder or the device refused; -2 when the list is done.
int CPluginManage::StartNextDownload()
{
    const LocalInfo info = onGuiThread([] { return PlayWidget::Instance()->ReloadLocalInfo(); });
    const QString strFolder = platform::fromLocal8Bit(info.szDownPath);
    if (!QDir(strFolder).exists())
        return kRefused;
    if (m_nDownloadIndex >= int(m_pDownloadFiles.size()))
        return downloadListDone(info.szDownPath, info.nRecordType);
    const DownloadRequest& file = m_pDownloadFiles[size_t(m_nDownloadIndex)];
    if (file.channel < 0)
        return kStarted;
    if (m_login.downloadHandle != 0)
        stopDownload();
    downloadContext.State = 1;
    const QByteArray path = placeOfDownload(file, strFolder, info.nRecordType);
    downloadContext.Tag = m_login.deviceId;
    downloadContext.Kind = m_nDownloadKind;
    downloadContext.Chn = file.channel;
    if (m_nDownloadKind == kKindDownload)
        m_mapConvertFiles[m_nDownloadIndex] = platform::fromLocal8Bit(path.constData());
    m_login.downloadHandle = CLumoConnect::instance()->StartDownLoad(m_login.loginId, &file, path.constData(),
                                                                     &CPluginManage::PlayPosCallBack,
                                                                     reinterpret_cast<intptr_t>(&downloadContext));
    if (m_login.downloadHandle >= 1)
        return kStarted;
    m_login.downloadHandle = 0;
    return kRefused;
}

int CPluginManage::downloadListDone(const QByteArray& downPath, int nRecordType)
{
    m_nTotalConvertFileNum = int(m_pDownloadFiles.size());
    m_nDownloadIndex = 0;
    m_pDownloadFiles.clear();
    if (m_nDownloadKind == kKindDownload) {
        if (isForAvi(nRecordType, m_nDownloadFileType))
            onConvertNextFile();
        else
            sendDownloadDone(downPath.constData());
    }
    return kListDone;
}

/// A picture goes over the one before, which is deleted first.
QByteArray CPluginManage::placeOfDownload(const DownloadRequest& file, const QString& strFolder, int nRecordType)
{
    if (m_nDownloadKind == kKindDownload)
        return downloadPath(strFolder, file, isForAvi(nRecordType, m_nDownloadFileType));
    const QByteArray path = pictureDownloadPath(strFolder);
    if (!downloadTempFile.isEmpty() && QFile::exists(downloadTempFile))
        QFile::remove(downloadTempFile);
    downloadTempFile = platform::fromLocal8Bit(path.constData());
    downloadContext.State = 0;
    return path;
}

void CPluginManage::onDownloadProgress(long nTotal, long nCurrent, int nKind)
{
    if (m_login.downloadHandle <= 0 || nTotal <= 0)
        return;
    const int nPos = thousandths(nTotal, nCurrent);
    if (nKind == kKindDownload)
        sendDownloadPos(nPos);
    if (nPos != kWhole)
        return;
    stopDownload();
    if (nKind == kKindPicture && !downloadTempFile.isEmpty() && QFile::exists(downloadTempFile))
        returnToMainThreadSync([this] { PlayWidget::Instance()->SetBackground(downloadTempFile); });
    platform::sleepMs(kBetweenFilesMs);
    ++m_nDownloadIndex;
    StartNextDownload(); // a refusal ends the list quietly
}

void CPluginManage::sendDownloadPos(int nPos)
{
    Json::Value event = eventOf(1, 4);
    Json::Value& data = event["Data"];
    data["Pos"] = nPos;
    sendWebSocketMsg(toText(event), false);
}

void CPluginManage::sendDownloadDone(const char* szDownPath)
{
    Json::Value event = eventOf(1, 5);
    Json::Value& data = event["Data"];
    data["DownPath"] = utf8OfLocal(szDownPath);
    sendEvent(event);
}

void CPluginManage::stopDownload()
{
    CLumoConnect::instance()->StopDownLoad(m_login.downloadHandle);
    m_login.downloadHandle = 0;
}

/// Takes the downloaded picture off the screen, if the last download was one.
void CPluginManage::clearPicture()
{
    if (downloadContext.State == 0)
        returnToMainThreadSync([] { PlayWidget::Instance()->SetBackground(QString()); });
}

/// A conversion that runs is not stopped: its end finds the flag.
void CPluginManage::onDownloadStop(const Json::Value& request)
{
    m_bCancelDownload = true;
    if (m_login.downloadHandle != 0) {
        m_mapConvertFiles.clear();
        stopDownload();
    }
    m_pDownloadFiles.clear();
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}
