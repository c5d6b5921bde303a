// MainType 5, SubType 40: pause, speed, single pictures and seek, on one channel or on all windows in turn.
#include "decode/DecodeChannel.h"
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

namespace
{

using State = CDecodeChannel::EPlayState;

constexpr int kAllWindows = -1;

enum ECmd { kPause = 2, kResume = 3, kSeek = 4, kFaster = 10, kSlower = 11, kStepOn = 100, kStepBack = 101 };

} // namespace

void CPluginManage::onPlaybackControl(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    const int nCmd = request["Cmd"].asInt();
    const int nParam = request["Param"].asInt();
    Json::Value reply = replyTo(request);
    reply["Cmd"] = nCmd;
    reply["ChnStatus"] = Json::arrayValue;
    const int nPasses = nChannel == kAllWindows ? kPlaybackWnds : 1;
    for (int i = 0; i < nPasses; ++i) {
        int nWnd = i;
        int nChn = nChannel;
        returnToMainThreadSync([&] {
            if (nChannel == kAllWindows)
                nChn = PlayWidget::Instance()->GetWndChannel(kPlaybackPage, i);
            else
                nWnd = wndOfChannel(nChannel);
        });
        const bool bOk = nChn >= 0 && playbackHandle(nWnd) > 0 && controlPlayback(nWnd, nCmd, nParam);
        const int nState = nWnd >= 0 ? playbackContexts[size_t(nWnd)].State : State::kNormal;
        Json::Value& status = reply["ChnStatus"][i];
        status["Ret"] = bOk ? kRetSuccess : kRetFailure;
        status["Chn"] = nChn;
        status["Wnd"] = nWnd;
        status["Status"] = PlayStateToStatus(nState);
        if (PlayStateToSpeedStep(nState) > 0)
            status["Mode"] = PlayStateToSpeedStep(nState);
    }
    sendReply(reply, kRetSuccess);
}

bool CPluginManage::controlPlayback(int nWnd, int nCmd, int nParam)
{
    const int nState = playbackContexts[size_t(nWnd)].State;
    switch (nCmd) {
    case kPause:
        return changePlayState(nWnd, State::kPaused, true);
    case kResume:
        return changePlayState(nWnd, State::kNormal, true);
    case kSeek:
        return seekPlayback(nWnd, nParam);
    case kFaster:
        return changePlayState(nWnd, fasterState(nState), true);
    case kSlower:
        return changePlayState(nWnd, slowerState(nState), true);
    case kStepOn:
        return changePlayState(nWnd, State::kStepForward, false);
    case kStepBack:
        return changePlayState(nWnd, State::kStepBack, false);
    default:
        return false;
    }
}

/// Device first, decoder second; the decoder's word is the window's new state, whatever the device answered.
bool CPluginManage::changePlayState(int nWnd, int nState, bool bTellDevice)
{
    PlayWndInfo& info = playbackContexts[size_t(nWnd)];
    if (bTellDevice && playbackMode != kPlayLocal)
        CLumoConnect::instance()->SetPlaybackMode(m_login.playbackHandles[nWnd], nState, info.State);
    info.State = onGuiThread([=] { return PlayWidget::Instance()->SetSpeed(nWnd, nState); });
    return info.State == nState;
}

bool CPluginManage::seekPlayback(int nWnd, int nPermille)
{
    if (playbackMode == kPlayLocal)
        return onGuiThread([=] { return PlayWidget::Instance()->SetPos(nWnd, float(nPermille / 1000.0)); }) != 0;
    const int nSeconds = onGuiThread([=] { return PlayWidget::Instance()->GetSeekSeconds(nWnd, nPermille); });
    if (nSeconds == 0 || !CLumoConnect::instance()->SeekPlayback(m_login.playbackHandles[nWnd], nSeconds))
        return false;
    return onGuiThread([=] { return PlayWidget::Instance()->Refresh(nWnd); });
}
