// MainType 5, SubType 33 to 35: recorded pictures onto windows, from the device or from a local file, and off again.
#include "device/LumoConnect.h"
#include "hub/FileListRequest.h"
#include "hub/PickerMode.h"
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

namespace
{
constexpr unsigned kLastSelectable = 4; // one more than the windows: required; 4 is a cell that is never shown
constexpr int kLocalStream = 0;
} // namespace

void CPluginManage::onPlaybackStart(const Json::Value& request)
{
    m_pPlayFiles.clear();
    m_nPlayIndex = 0;
    const int nMode = request["Mode"].asInt();
    const int nSelectWnd = request["SelectWnd"].asInt();
    m_pPlayFiles = readPlayFiles(request, nMode, nSelectWnd);
    Json::Value reply = replyTo(request);
    int nRet = kRetNothingDone;
    if (nMode == kPlayByName)
        nRet = PlayFileByIndex(0);
    else if (nMode == kPlayByTime)
        nRet = playListByTime(reply);
    if (nMode != kPlayByName)
        m_pPlayFiles.clear(); // by name it stays, to be played one after the other
    if (nMode == kPlayByTime) {
        if (unsigned(nSelectWnd) <= kLastSelectable)
            returnToMainThreadSync([=] { PlayWidget::Instance()->SelectPlaybackWnd(nSelectWnd); });
        else
            onCurWndChange(kPlaybackPage, onGuiThread([] { return PlayWidget::Instance()->GetCurWnd(); }));
    }
    sendReply(reply, nRet);
}

/// Each file in its own window, all started in one loop: that is all that couples them.
int CPluginManage::playListByTime(Json::Value& reply)
{
    if (m_pPlayFiles.empty())
        return kRetFailure;
    reply["ChnStatus"] = Json::arrayValue;
    int nRet = kRetNothingDone;
    for (int i = 0; i < int(m_pPlayFiles.size()); ++i) {
        const PlaybackRequest& file = m_pPlayFiles[size_t(i)];
        int nHandle = -1;
        // A device that refuses after a good window counts as success: the page relies on it.
        if (file.wnd >= 0)
            nRet = startRecorded(file, kPlayByTime, nHandle) ? kRetSuccess : kRetFailure;
        Json::Value& status = reply["ChnStatus"][i];
        status["Ret"] = nRet;
        status["Chn"] = i; // the place in the list, not the channel: the page relies on it
        status["Stream"] = file.streamType;
        status["Wnd"] = file.wnd;
    }
    return nRet;
}

/// An entry of the list that is played one after the other. The event comes for every start, good or not.
int CPluginManage::PlayFileByIndex(int nIndex)
{
    int nRet = kRetNothingDone;
    if (nIndex < 0 || nIndex >= int(m_pPlayFiles.size()))
        return nRet;
    const PlaybackRequest& file = m_pPlayFiles[size_t(nIndex)];
    if (file.wnd >= 0) {
        int nHandle = -1;
        startRecorded(file, kPlayByName, nHandle);
        nRet = nHandle > 0 ? kRetSuccess : kRetFailure;
    }
    Json::Value event = eventOf(1, 1);
    event["Ret"] = nRet;
    Json::Value& data = event["Data"];
    data["Chn"] = file.channel;
    data["Stream"] = file.streamType;
    data["PlayIndex"] = nIndex;
    data["Wnd"] = file.wnd;
    sendEvent(event);
    return nRet;
}

/// Ends what the window plays, readies the window, then asks the device. True when the window was ready; nHandle is
/// above 0 when the device plays too, else negative, and the window is stopped again.
bool CPluginManage::startRecorded(const PlaybackRequest& file, int nType, int& nHandle)
{
    if (playbackHandle(file.wnd) > 0)
        endPlayback(file.wnd);
    const bool bReady = onGuiThread([&] { return PlayWidget::Instance()->StartPlay(file.streamType, file.wnd); }) >= 0;
    nHandle = bReady ? beginOnDevice(file, nType) : -1;
    if (file.wnd < kPlaybackWnds)
        m_login.playbackHandles[file.wnd] = nHandle;
    if (nHandle < 0)
        stopPlaybackWnd(file.wnd);
    else
        startPositionTimer();
    return bReady;
}

/// The playback's handle, -1 or another negative number when the device refuses.
int CPluginManage::beginOnDevice(const PlaybackRequest& file, int nType)
{
    PlayWndInfo& info = playbackContexts[size_t(file.wnd)];
    info.Wnd = file.wnd;
    info.Chn = file.channel;
    info.State = 0;
    info.Tag = m_login.deviceId;
    returnToMainThreadSync([&] {
        PlayWidget::Instance()->SetPlaybackChannel(file.channel, file.wnd);
        PlayWidget::Instance()->SetPlayTime(file.wnd, file.beginTime, file.endTime);
    });
    const int nHandle = CLumoConnect::instance()->BeginPlayback(
        m_login.loginId, file.channel, nType, &file, &CPluginManage::PlayDataCallBack, &CPluginManage::PlayPosCallBack,
        reinterpret_cast<intptr_t>(&info));
    return nHandle == 0 ? -1 : nHandle;
}

void CPluginManage::stopPlaybackWnd(int nWnd)
{
    returnToMainThreadSync([=] { PlayWidget::Instance()->StopPlay(nWnd); });
}

/// Device first, window second. nWnd is one that plays.
void CPluginManage::endPlayback(int nWnd)
{
    CLumoConnect::instance()->EndPlayback(m_login.playbackHandles[nWnd]);
    stopPlaybackWnd(nWnd);
    m_login.playbackHandles[nWnd] = 0;
}

void CPluginManage::stopByCommand(int nWnd)
{
    if (playbackMode != kPlayLocal)
        CLumoConnect::instance()->EndPlayback(m_login.playbackHandles[nWnd]);
    stopPlaybackWnd(nWnd);
    m_login.playbackHandles[nWnd] = 0;
    playbackContexts[size_t(nWnd)].Chn = -1;
    playbackContexts[size_t(nWnd)].State = 1;
}

/// Never fails.
void CPluginManage::onPlaybackStop(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    clearPicture();
    int nWnd = -1;
    if (nChannel == -1) {
        const int nCount = playbackMode == kPlayLocal || playbackMode == kPlayByTime ? kPlaybackWnds : 1;
        for (int i = 0; i < nCount; ++i)
            if (playbackContexts[size_t(i)].Chn >= 0 && playbackHandle(i) > 0)
                stopByCommand(i);
        stopTimer(positionTimerId);
    } else if (nChannel >= 0) {
        nWnd = onGuiThread([=, this] { return wndOfChannel(nChannel); });
        if (playbackHandle(nWnd) > 0)
            stopByCommand(nWnd);
        KillPosTimerIfIdle();
    }
    if (playbackMode == kPlayByName) {
        m_pPlayFiles.clear();
        stopTimer(playbackEndTimerId);
    }
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    reply["Wnd"] = nWnd;
    sendReply(reply, kRetSuccess);
}

/// Replies when the user has chosen; the hub is free meanwhile.
void CPluginManage::onPlaybackLocalFile(const Json::Value& request)
{
    Json::Value reply = replyTo(request);
    runPicker({QString::number(kPickRecording), "1"}, [this, reply](bool bOk, const QByteArray& output) mutable {
        reply["Ret"] = kRetFailure;
        if (bOk)
            playPickedFile(output, reply);
        sendWebSocketMsg(toText(reply), true);
    });
}

/// Into the selected window. An empty output is a user who cancelled.
void CPluginManage::playPickedFile(const QByteArray& output, Json::Value& reply)
{
    const QString strFile = QString::fromUtf8(output);
    reply["Path"] = strFile.toStdString();
    if (strFile.isEmpty())
        return;
    int nWnd = -1;
    bool bPlays = false;
    returnToMainThreadSync([&] {
        nWnd = PlayWidget::Instance()->GetCurWnd();
        bPlays = nWnd >= 0 && nWnd < kPlaybackWnds && openLocalFile(nWnd, strFile);
    });
    reply["Wnd"] = nWnd;
    if (!bPlays)
        return;
    reply["Ret"] = kRetSuccess;
    startPositionTimer();
}

/// GUI thread, while the hub waits.
bool CPluginManage::openLocalFile(int nWnd, const QString& strFile)
{
    PlayWidget* pWidget = PlayWidget::Instance();
    int& nHandle = m_login.playbackHandles[nWnd];
    if (nHandle > 0) {
        pWidget->StopPlay(nWnd);
        nHandle = 0;
    }
    PlayWndInfo& info = playbackContexts[size_t(nWnd)];
    nHandle =
        pWidget->BeginLocalPlay(nWnd, strFile, &CPluginManage::LocalFileEndCallBack, reinterpret_cast<intptr_t>(&info));
    if (nHandle > 0) {
        if (pWidget->StartPlay(kLocalStream, nWnd) >= 0) {
            info.Chn = nWnd;
            info.Wnd = nWnd;
            info.State = 0;
            info.Tag = m_login.deviceId;
            pWidget->SetPlaybackChannel(nWnd, nWnd);
        } else {
            nHandle = -1;
        }
    }
    if (nHandle > 0)
        return true;
    pWidget->StopPlay(nWnd);
    nHandle = -1;
    return false;
}
