// What follows a started playback: its data, its position, its end, and the playback events towards the page.
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "platform/Machine.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

#include <QTimerEvent>

#include <algorithm>

namespace
{

constexpr int kTimerMs = 1000;
constexpr int kBetweenFilesMs = 200; // the page relies on this pause before the next entry

} // namespace

/// What a window shows: the page asks by selecting it.
void CPluginManage::sendPlaybackWnd(int nWnd)
{
    bool bZoom = false, bRecord = false, bSound = false;
    int nState = -1;
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        bZoom = pWidget->IsDigitalZoom(kPlaybackPage, nWnd);
        bRecord = pWidget->IsPlaybackRecord(nWnd);
        bSound = pWidget->IsSoundOn(kPlaybackPage, nWnd);
        nState = pWidget->GetWndStatus(nWnd);
    });
    Json::Value event = eventOf(1, 0);
    Json::Value& data = event["Data"];
    data["Wnd"] = nWnd;
    data["Zoom"] = bZoom;
    data["Record"] = bRecord;
    data["Audio"] = bSound;
    data["Status"] = PlayStateToStatus(nState);
    data["Mode"] = PlayStateToSpeedStep(nState);
    sendEvent(event);
}

void CPluginManage::startPositionTimer()
{
    if (positionTimerId == 0)
        positionTimerId = startTimer(kTimerMs, Qt::CoarseTimer);
}

void CPluginManage::stopTimer(int& nTimerId)
{
    if (nTimerId > 0)
        killTimer(nTimerId);
    nTimerId = 0;
}

void CPluginManage::KillPosTimerIfIdle()
{
    const auto& handles = m_login.playbackHandles;
    if (std::none_of(std::begin(handles), std::end(handles), [](int nHandle) { return nHandle > 0; }))
        stopTimer(positionTimerId);
}

void CPluginManage::timerEvent(QTimerEvent* pEvent)
{
    if (pEvent->timerId() == positionTimerId)
        onPositionTimer();
    else if (pEvent->timerId() == playbackEndTimerId)
        onPlaybackEndTimer();
}

void CPluginManage::sendPosition(int nWnd, std::optional<float> pos)
{
    Json::Value event = eventOf(1, 3);
    Json::Value& data = event["Data"];
    data["wnd"] = nWnd; // both in lower case: the page's words
    if (pos)
        data["pos"] = *pos;
    sendWebSocketMsg(toText(event), false);
}

/// By time each window tells the second of the day, an empty one none; otherwise the selected one tells its
/// thousandths.
void CPluginManage::onPositionTimer()
{
    if (onGuiThread([] { return PlayWidget::Instance()->GetPageIndex(); }) != kPlaybackPage)
        return;
    if (playbackMode == kPlayByTime) {
        for (int i = 0; i < kPlaybackWnds; ++i)
            sendPosition(i, onGuiThread([i]() -> std::optional<float> {
                             if (PlayWidget::Instance()->GetWndChannel(kPlaybackPage, i) < 0)
                                 return std::nullopt;
                             return PlayWidget::Instance()->GetTimePos(i);
                         }));
    } else if (playbackMode == kPlayLocal || playbackMode == kPlayByName) {
        int nWnd = -1;
        float fPos = 0;
        returnToMainThreadSync([&] {
            nWnd = PlayWidget::Instance()->GetCurWnd();
            if (PlayWidget::Instance()->GetCurChannel(kPlaybackPage) >= 0)
                fPos = float(PlayWidget::Instance()->GetTimePos(nWnd) * 1000.0);
        });
        sendPosition(nWnd, fPos);
    }
}

/// The device is done; the window ends when what it has buffered is shown.
void CPluginManage::onPlaybackEndTimer()
{
    int nPictures = 0, nBytes = 0;
    returnToMainThreadSync([&] { PlayWidget::Instance()->GetBufferInfo(0, nPictures, nBytes); });
    writeLog("CPluginManage::timerEvent", QString("lYuvVal=%1 lBufVal=%2").arg(nPictures).arg(nBytes));
    if (nPictures > 0 || nBytes > 0)
        return;
    stopTimer(playbackEndTimerId);
    EndPlaybackBuf(0);
}

/// Any call for a window is the end of what the device plays there.
void CPluginManage::onPlayProgress(long, long nTotal, long nCurrent, int nKind, int nWnd)
{
    if (nKind != kKindWindow) {
        onDownloadProgress(nTotal, nCurrent, nKind);
        return;
    }
    if (nWnd < 0)
        return;
    if (playbackMode != kPlayByName)
        EndPlaybackBuf(nWnd);
    else if (playbackEndTimerId == 0)
        playbackEndTimerId = startTimer(kTimerMs, Qt::CoarseTimer);
}

void CPluginManage::sendPlaybackEnd(int nWnd)
{
    Json::Value event = eventOf(1, 2);
    Json::Value& data = event["Data"];
    data["Chn"] = playbackContexts[size_t(nWnd)].Chn;
    data["Wnd"] = nWnd;
    sendEvent(event);
}

/// By name, the next entry of the list follows.
void CPluginManage::EndPlaybackBuf(int nWnd)
{
    if (playbackHandle(nWnd) <= 0)
        return;
    writeLog("CPluginManage::EndPlaybackBuf", QString("end lPlay[%1]").arg(nWnd));
    endPlayback(nWnd);
    KillPosTimerIfIdle();
    sendPlaybackEnd(nWnd);
    if (playbackMode != kPlayByName)
        return;
    platform::sleepMs(kBetweenFilesMs);
    ++m_nPlayIndex;
    if (m_nPlayIndex >= int(m_pPlayFiles.size()))
        m_pPlayFiles.clear();
    else
        PlayFileByIndex(m_nPlayIndex);
}

void CPluginManage::onLocalFileEnd(int nWnd)
{
    if (playbackHandle(nWnd) <= 0)
        return;
    stopPlaybackWnd(nWnd);
    m_login.playbackHandles[nWnd] = 0;
    KillPosTimerIfIdle();
    sendPlaybackEnd(nWnd);
}

/// Library thread, once a block: no copy, no lock.
int CPluginManage::PlayDataCallBack(long, long, uint8_t* pData, long nSize, intptr_t nUser)
{
    const auto* pInfo = reinterpret_cast<const PlayWndInfo*>(nUser);
    const int nWnd = pInfo ? pInfo->Wnd.load() : -1;
    if (nWnd < 0)
        return -1;
    PlayWidget::InputPlaybackData(nWnd, pData, int(nSize));
    return 1;
}

/// Library thread; the hub does the work.
int CPluginManage::PlayPosCallBack(long lHandle, long nTotal, long nCurrent, intptr_t nUser)
{
    const auto* pInfo = reinterpret_cast<const PlayWndInfo*>(nUser);
    if (!pInfo)
        return 1;
    CPluginManage* pHub = pInfo->Owner;
    const int nKind = pInfo->Kind;
    const int nWnd = pInfo->Wnd;
    emit pHub->returnToThisThreadSig([=] { pHub->onPlayProgress(lHandle, nTotal, nCurrent, nKind, nWnd); });
    return 1;
}

/// The port's thread; the hub does the work.
void CPluginManage::LocalFileEndCallBack(int, intptr_t nUser)
{
    const auto* pInfo = reinterpret_cast<const PlayWndInfo*>(nUser);
    if (!pInfo)
        return;
    CPluginManage* pHub = pInfo->Owner;
    const int nWnd = pInfo->Wnd;
    emit pHub->returnToThisThreadSig([=] { pHub->onLocalFileEnd(nWnd); });
}
