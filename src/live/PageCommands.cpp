// MainType 2: which page is shown. The streams move with it: the live ones end when playback is shown and come back
// after it.
#include "device/Channels.h"
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr int kNoCell = 255;  // as channelWnd keeps it
constexpr int kLastCell = 64; // one more than there are: required, and no cell is ever remembered as 64

} // namespace

/// A switch to the page that is shown already is nothing special: to the live page it ends playback, to the playback
/// page it finds nothing to end.
void CPluginManage::onMainMsgPageSwitch(const Json::Value& request)
{
    const int nPage = request["SubType"].asInt();
    if (nPage != kColorPage)
        leaveColorPreview();
    if (nPage == kPlaybackPage) {
        leaveLiveView();
    } else {
        leavePlayback();
        if (nPage == kLivePage)
            restoreLiveView();
    }
    returnToMainThreadSync([=] { PlayWidget::Instance()->SetPageIndex(nPage); });
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::leavePlayback()
{
    stopPlaybacks();
    stopTimer(positionTimerId);
    stopTimer(playbackEndTimerId);
    m_bCancelDownload = true;
    if (m_login.downloadHandle != 0) {
        downloadTempFile.clear();
        stopDownload();
    }
    m_pDownloadFiles.clear();
    clearPicture();
}

/// What runs is remembered, for the way back.
void CPluginManage::leaveLiveView()
{
    for (int i = 0; i < kMaxChannels; ++i) {
        if (m_login.previewHandles[i] <= 0)
            continue;
        CLumoConnect::instance()->DisconnectChannel_V2(m_login.previewHandles[i], &CPluginManage::RealDataCallBack_V2,
                                                       i);
        returnToMainThreadSync([=, this] {
            rememberChannel(i);
            PlayWidget::Instance()->PreviewStop(i);
        });
        m_login.previewHandles[i] = -1;
        m_login.restorePending = 1;
    }
}

/// The event lists every channel of the device; it comes only when the live page was left with something running.
void CPluginManage::restoreLiveView()
{
    Json::Value event = eventOf(0, 3);
    event["ChnStatus"] = Json::arrayValue;
    const int nCount = std::min(m_login.channelCount, kMaxChannels);
    for (int i = 0; i < nCount; ++i) {
        const int nStream = m_login.channelWasPlaying[i] >> 1 & 1;
        Json::Value& status = event["ChnStatus"][i];
        status["Ret"] = restoreChannel(i, nStream);
        status["Chn"] = i;
        status["Stream"] = nStream;
        status["Record"] = onGuiThread([i] { return PlayWidget::Instance()->IsRecording(i); });
    }
    std::memset(m_login.channelWasPlaying, 0, sizeof m_login.channelWasPlaying);
    std::memset(m_login.channelWnd, 0, sizeof m_login.channelWnd);
    if (m_login.restorePending == 1)
        sendEvent(event);
    m_login.restorePending = 0;
}

int CPluginManage::restoreChannel(int nChannel, int nStream)
{
    static_assert(kNoCell > kLastCell); // a channel on no cell does not come back
    const int nWnd = static_cast<unsigned char>(m_login.channelWnd[nChannel]);
    const bool bWasPlaying = (m_login.channelWasPlaying[nChannel] & 1) != 0;
    if (!bWasPlaying || m_login.previewHandles[nChannel] > 0 || nWnd > kLastCell)
        return m_login.previewHandles[nChannel] > 0 ? kRetSuccess : kRetFailure;
    windowVideo[nChannel] = SWindowVideo();
    int nError = 0; // the page reads the code alone here
    return startOnCell(nStream, nChannel, nWnd, nError);
}
