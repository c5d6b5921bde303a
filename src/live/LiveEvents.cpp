// What follows a started stream: its data, its picture size, and the live events towards the page.
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

namespace
{

constexpr int kSteerablePixels = 2560 * 1440; // from this size on a picture is worth steering in

/// What the page is told of a channel. The defaults stand for no channel.
struct SChannelState {
    int nPlayStatus = -1;
    int nAudio = 0;
    bool bDigitalZoom = false;
    int nRageState = -1;
    int nBrightness = 0, nContrast = 0, nSaturation = 0, nHue = 0;
};

/// GUI thread.
SChannelState stateOf(int nChannel)
{
    SChannelState state;
    PlayWidget* pWidget = PlayWidget::Instance();
    pWidget->GetColor(nChannel, state.nBrightness, state.nContrast, state.nSaturation, state.nHue);
    state.nAudio = pWidget->IsSoundOn(kLivePage, nChannel) ? 1 : 0;
    state.bDigitalZoom = pWidget->IsDigitalZoom(kLivePage, nChannel);
    state.nRageState = pWidget->IsOriginal(nChannel);
    state.nPlayStatus = pWidget->GetPlayState(kLivePage, nChannel);
    return state;
}

void put(Json::Value& data, const SChannelState& state)
{
    data["PlayStatus"] = state.nPlayStatus;
    data["Audio"] = state.nAudio;
    data["DigitalZoom"] = state.bDigitalZoom;
    data["RageState"] = state.nRageState;
    data["nBrightness"] = state.nBrightness;
    data["nContrast"] = state.nContrast;
    data["nSaturation"] = state.nSaturation;
    data["nHue"] = state.nHue;
}

} // namespace

int CPluginManage::currentLiveChannel()
{
    return onGuiThread([] { return PlayWidget::Instance()->GetCurChannel(kLivePage); });
}

void CPluginManage::sendShowElect(int nShowElect)
{
    Json::Value event = eventOf(0, 6);
    event["nShowElect"] = nShowElect;
    sendEvent(event);
}

void CPluginManage::clearChannelFrame(int nChannel)
{
    if (isChannel(nChannel))
        windowVideo[nChannel] = SWindowVideo();
    sendShowElect(0);
}

void CPluginManage::sendChannelState(int nChannel, int nCurChannel)
{
    SChannelState state;
    const bool bLive = onGuiThread([&] {
        if (PlayWidget::Instance()->GetPageIndex() != kLivePage)
            return false;
        if (nChannel >= 0)
            state = stateOf(nChannel);
        return true;
    });
    if (!bLive)
        return;
    Json::Value event = eventOf(0, 2);
    Json::Value& data = event["Data"];
    data["Chn"] = nChannel;
    data["CurChannel"] = nCurChannel;
    put(data, state);
    sendEvent(event);
}

void CPluginManage::onCurWndChange(int nPage, int nWnd)
{
    if (nPage == kPlaybackPage)
        sendPlaybackWnd(nWnd);
    if (nPage != kLivePage)
        return;
    int nChannel = -1;
    SChannelState state;
    returnToMainThreadSync([&] {
        nChannel = PlayWidget::Instance()->GetWndChannel(kLivePage, nWnd);
        if (nChannel >= 0)
            state = stateOf(nChannel);
    });
    Json::Value event = eventOf(0, 0);
    Json::Value& data = event["Data"];
    data["Channel"] = nChannel;
    data["Wnd"] = nWnd;
    put(data, state);
    sendEvent(event);
    sendShowElect(isChannel(nChannel) ? windowVideo[nChannel].nShowElect : 0);
}

/// Electronic PTZ was just quit on a cell.
void CPluginManage::onChangePTZELectPage()
{
    sendShowElect(2);
}

/// Library thread, once a block: no copy, no lock; anything more only for key frames, after the block has gone in.
int CPluginManage::RealDataCallBack_V2(long, const LumoFrame* pFrame, intptr_t nUser)
{
    const int nChannel = int(nUser);
    PlayWidget::InputRealData(nChannel, pFrame->pData, int(pFrame->nSize));
    if (pFrame->nFrameType != LUMO_FRAME_VIDEO_I)
        return 1;
    const unsigned uWidth = pFrame->nWidth;
    const unsigned uHeight = pFrame->nHeight;
    writeLog("CPluginManage::RealDataCallBack_V2", QString("VIDEO_I_FRAME %1, %2").arg(uWidth).arg(uHeight));
    CPluginManage* pHub = instance();
    emit pHub->returnToThisThreadSig([=] { pHub->onShowPTZElect(uWidth, uHeight, nChannel); });
    return 1;
}

void CPluginManage::onShowPTZElect(unsigned uWidth, unsigned uHeight, int nChannel)
{
    if (!isChannel(nChannel))
        return;
    SWindowVideo& video = windowVideo[nChannel];
    // Both must change: the page relies on a picture that only grows in height not being reported.
    if (video.uWidth == uWidth || video.uHeight == uHeight)
        return;
    writeLog("CPluginManage::onShowPTZElect", QString("uHeight:%1,uWidth:%2").arg(uHeight).arg(uWidth));
    video.uWidth = uWidth;
    video.uHeight = uHeight;
    video.nShowElect = int32_t(uWidth * uHeight) >= kSteerablePixels ? 1 : 0;
    onGuiThread([&] {
        if (PlayWidget::Instance()->GetCurChannel(kLivePage) == nChannel)
            sendShowElect(video.nShowElect);
    });
}
