// MainType 5: the commands of the playback page. Starts and stops stand in PlaybackStartCommands.cpp, speed and seek in
// PlaybackControlCommands.cpp, downloads in DownloadCommands.cpp.
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

namespace
{

constexpr int kFirstSubType = 33;
constexpr int kFourWindows = 1; // split modes
constexpr int kOneWindow = 0;

int retOf(bool bOk)
{
    return bOk ? kRetSuccess : kRetFailure;
}

} // namespace

void CPluginManage::onMainMsgPlayback(const Json::Value& request)
{
    static constexpr Handler kSubTypes[] = {
        /* 33 */ &CPluginManage::onPlaybackLocalFile,
        /* 34 */ &CPluginManage::onPlaybackStart,
        /* 35 */ &CPluginManage::onPlaybackStop,
        /* 36 */ &CPluginManage::onPlaybackMode,
        /* 37 */ nullptr,
        /* 38 */ nullptr,
        /* 39 */ &CPluginManage::onDownloadStart,
        /* 40 */ &CPluginManage::onPlaybackControl,
        /* 41 */ &CPluginManage::onPlaybackCapture,
        /* 42 */ &CPluginManage::onPlaybackSound,
        /* 43 */ &CPluginManage::onPlaybackZoom,
        /* 44 */ &CPluginManage::onPlaybackClip,
        /* 45 */ &CPluginManage::onPlaybackStatus,
        /* 46 */ &CPluginManage::onDownloadStop,
    };
    const int nSubType = request["SubType"].asInt();
    // What has no handler gets no answer at all.
    if (nSubType < kFirstSubType || nSubType >= kFirstSubType + int(std::size(kSubTypes)))
        return;
    if (const Handler fnHandler = kSubTypes[nSubType - kFirstSubType])
        (this->*fnHandler)(request);
}

/// The window's playback: above 0 while it plays; for a local file the decoder's result.
int CPluginManage::playbackHandle(int nWnd) const
{
    return nWnd >= 0 && nWnd < kPlaybackWnds ? m_login.playbackHandles[nWnd] : 0;
}

/// GUI thread. -1 when no window shows it, or the channel is negative.
int CPluginManage::wndOfChannel(int nChannel)
{
    return nChannel < 0 ? -1 : PlayWidget::Instance()->FindWndByChannel(kPlaybackPage, nChannel);
}

void CPluginManage::onPlaybackMode(const Json::Value& request)
{
    playbackMode = request["Mode"].asInt();
    const bool bSeveral = (playbackMode == kPlayLocal || playbackMode == kPlayByTime) && m_login.channelCount >= 2;
    returnToMainThreadSync([=, this] {
        PlayWidget::Instance()->ChangePlaybackSplit(bSeveral ? kFourWindows : kOneWindow);
        PlayWidget::Instance()->SetPlaybackMode(playbackMode);
    });
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::onPlaybackCapture(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nWnd = -1;
    bool bOk = false;
    LocalInfo info{};
    returnToMainThreadSync([&] {
        nWnd = wndOfChannel(nChannel);
        bOk = playbackHandle(nWnd) > 0 && PlayWidget::Instance()->Capture(nWnd, false) >= 0;
        info = PlayWidget::Instance()->ReloadLocalInfo();
    });
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    reply["Wnd"] = nWnd;
    reply["CapPath"] = utf8OfLocal(info.szCapPath);
    sendReply(reply, retOf(bOk));
}

void CPluginManage::onPlaybackSound(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nWnd = -1;
    int nResult = -1;
    bool bSound = false;
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        nWnd = wndOfChannel(nChannel);
        if (playbackHandle(nWnd) > 0)
            nResult = pWidget->SetSound(kPlaybackPage, nWnd, !pWidget->IsSoundOn(kPlaybackPage, nWnd));
        bSound = pWidget->IsSoundOn(kPlaybackPage, nWnd);
    });
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    reply["Wnd"] = nWnd;
    reply["Audio"] = bSound;
    sendReply(reply, retOf(nResult == 0));
}

/// The page relies on this: the selected window toggles, whichever shows the channel; that one only supplies the reply.
void CPluginManage::onPlaybackZoom(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nWnd = -1;
    bool bOk = false;
    bool bZoom = false;
    if (nChannel >= 0) {
        returnToMainThreadSync([&] {
            nWnd = wndOfChannel(nChannel);
            bOk = PlayWidget::Instance()->ToggleDigitalZoom() >= 0;
            bZoom = bOk && PlayWidget::Instance()->IsDigitalZoom(kPlaybackPage, nWnd);
        });
    }
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    reply["Wnd"] = nWnd;
    reply["Zoom"] = bZoom;
    sendReply(reply, retOf(bOk));
}

void CPluginManage::onPlaybackClip(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nWnd = -1;
    bool bOk = false;
    bool bRecord = false;
    LocalInfo info{};
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        nWnd = wndOfChannel(nChannel);
        if (playbackHandle(nWnd) > 0) {
            bRecord = pWidget->IsPlaybackRecord(nWnd);
            bOk = pWidget->PlaybackRecord(nWnd, !bRecord) != 0;
            bRecord = bRecord != bOk;
        }
        info = PlayWidget::Instance()->ReloadLocalInfo();
    });
    Json::Value reply = replyTo(request);
    reply["Record"] = bRecord;
    reply["Chn"] = nChannel;
    reply["Wnd"] = nWnd;
    reply["RecPath"] = utf8OfLocal(info.szRecPath);
    sendReply(reply, retOf(bOk));
}

void CPluginManage::onPlaybackStatus(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nWnd = -1;
    bool bZoom = false, bRecord = false, bSound = false;
    int nStatus = 0;
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        nWnd = wndOfChannel(nChannel);
        if (nWnd < 0)
            return;
        bZoom = pWidget->IsDigitalZoom(kPlaybackPage, nWnd);
        bRecord = pWidget->IsPlaybackRecord(nWnd);
        bSound = pWidget->IsSoundOn(kPlaybackPage, nWnd);
        nStatus = pWidget->GetPlayState(kPlaybackPage, nWnd);
    });
    Json::Value reply = replyTo(request);
    Json::Value& data = reply["Data"];
    data["Chn"] = nChannel;
    data["Wnd"] = nWnd;
    data["Zoom"] = bZoom;
    data["Record"] = bRecord;
    data["Audio"] = bSound;
    data["Status"] = nStatus;
    sendReply(reply, kRetSuccess);
}
