// MainType 4, SubType 0 and 1: streams of the device onto cells, and off again.
#include "device/Channels.h"
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace
{

constexpr int kStoppedStream = 9; // what a stop of all channels reports as stream
constexpr int kNoError = 100;     // the error value before anything has failed

struct SAllChannels {
    int nCount;
    std::optional<int> splitMode; // none: unchanged
};

/// What a Channel that names no single one asks for.
SAllChannels allChannelsOf(int nChannel, int nListed)
{
    if (nChannel == -1 || nChannel == kPageAllChannels)
        return {nListed, std::nullopt};
    const int nQuads = nChannel / 100;
    return {std::clamp(nQuads, 0, kMaxListed / 4) * 4, nQuads};
}

bool isOneChannel(int nChannel)
{
    return nChannel != -1 && std::abs(nChannel / 100) < 1;
}

bool isRecording(int nChannel)
{
    return nChannel < kMaxChannels && PlayWidget::Instance()->IsRecording(nChannel);
}

} // namespace

void CPluginManage::onPreviewStart(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    const int nStream = request["Stream"].asInt();
    if (isOneChannel(nChannel))
        startOnePreview(request, nChannel, nStream);
    else
        startAllPreviews(request, nChannel, nStream);
}

/// Network first, cell second.
void CPluginManage::replaceStream(int nChannel)
{
    CLumoConnect::instance()->DisconnectChannel_V2(m_login.previewHandles[nChannel],
                                                   &CPluginManage::RealDataCallBack_V2, nChannel);
    m_login.previewHandles[nChannel] = 0;
    returnToMainThreadSync([=] { PlayWidget::Instance()->PreviewStop(nChannel); });
    clearChannelFrame(nChannel);
}

void CPluginManage::startOnePreview(const Json::Value& request, int nChannel, int nStream)
{
    // Read before the stop below empties the cell: starting what the cell already shows replaces it.
    int nWnd = -1;
    int nOldChannel = -1;
    returnToMainThreadSync([&] {
        nWnd = PlayWidget::Instance()->GetCurWnd();
        nOldChannel = PlayWidget::Instance()->GetWndChannel(kLivePage, nWnd);
    });
    if (isChannel(nChannel) && m_login.previewHandles[nChannel] > 0)
        replaceStream(nChannel);
    if (isChannel(nOldChannel))
        replaceStream(nOldChannel); // whatever its handle: the command always replaces what the cell shows
    else
        nOldChannel = -1;

    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    reply["oldChn"] = nOldChannel;
    reply["Stream"] = nStream;
    if (isChannel(nChannel))
        windowVideo[nChannel] = SWindowVideo();
    int nError = kNoError;
    const int nRet = startOnCell(nStream, nChannel, nWnd, nError);
    if (nRet == kRetSuccess)
        sendChannelState(nChannel, currentLiveChannel());
    if (nRet == kRetDeviceRefused)
        clearChannelFrame(nChannel);
    if (nRet != kRetSuccess && nError != kNoError)
        reply["Error"] = nError;
    sendReply(reply, nRet);
}

/// Cell and decoder first; the device is contacted only when they are ready. nError changes only when the device
/// refused.
int CPluginManage::startOnCell(int nStream, int nChannel, int nWnd, int& nError)
{
    const int nStarted = onGuiThread([&] { return PlayWidget::Instance()->StartPreview(nStream, nChannel, nWnd); });
    if (!isChannel(nChannel))
        return kRetStartFailed;
    int& nHandle = m_login.previewHandles[nChannel];
    if (nStarted < 0) {
        nHandle = -1;
        return kRetStartFailed;
    }
    windowVideo[nChannel] = SWindowVideo();
    nHandle = CLumoConnect::instance()->ConnectChanel_V2(m_login.loginId, nChannel, nStream,
                                                         &CPluginManage::RealDataCallBack_V2, nChannel);
    if (nHandle == 0)
        nHandle = -1;
    if (nHandle > 0)
        return kRetSuccess;
    nError = nHandle;
    returnToMainThreadSync([=] { PlayWidget::Instance()->PreviewStop(nChannel); });
    return kRetDeviceRefused;
}

void CPluginManage::startAllPreviews(const Json::Value& request, int nChannel, int nStream)
{
    Json::Value reply = replyTo(request);
    for (const char* szKey : {"Chn", "oldChn", "Stream"})
        reply[szKey] = 0; // whatever was asked for

    // The cell goes first and the network second, the opposite of one channel's order.
    const SAllChannels all = allChannelsOf(nChannel, listedChannels());
    const int nStops = std::min(all.nCount, kMaxChannels);
    returnToMainThreadSync([&] {
        if (all.splitMode)
            PlayWidget::Instance()->ChangeSplit(*all.splitMode);
        for (int i = 0; i < nStops; ++i)
            if (m_login.previewHandles[i] > 0)
                PlayWidget::Instance()->PreviewStop(i);
    });
    for (int i = 0; i < nStops; ++i) {
        if (m_login.previewHandles[i] <= 0)
            continue;
        CLumoConnect::instance()->DisconnectChannel_V2(m_login.previewHandles[i], &CPluginManage::RealDataCallBack_V2,
                                                       i);
        m_login.previewHandles[i] = 0;
    }

    Json::Value event = eventOf(0, 3);
    event["ChnStatus"] = Json::arrayValue;
    int nRet = kRetFailure;
    startListed(event, all.nCount, nStream, nRet);
    const int nCurrent = currentLiveChannel();
    sendChannelState(nCurrent, nCurrent);
    clearChannelFrame(nCurrent);
    sendEvent(event);
    sendReply(reply, nRet);
}

/// Channel i goes on cell i. The error value is not reset between channels: the page relies on a later channel that
/// fails at its cell repeating the last device error.
void CPluginManage::startListed(Json::Value& event, int nCount, int nStream, int& nRet)
{
    int nError = kNoError;
    for (int i = 0; i < nCount; ++i) {
        nRet = startOnCell(nStream, i, i, nError);
        Json::Value& status = event["ChnStatus"][i];
        if (nRet != kRetSuccess && nError != kNoError)
            status["Error"] = nError;
        status["Ret"] = nRet;
        status["Chn"] = i;
        status["Stream"] = nStream;
        status["Record"] = onGuiThread([i] { return isRecording(i); });
    }
}

void CPluginManage::onPreviewStop(const Json::Value& request)
{
    const int nChannel = int32_t(request["Channel"].asInt64());
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    if (nChannel == -1)
        std::fill(std::begin(windowVideo), std::end(windowVideo), SWindowVideo());
    writeLog("CPluginManage::onMainMsgPreview", QString("stop play channel:%1").arg(nChannel));
    if (!isChannel(nChannel)) {
        stopAllPreviews();
        sendReply(reply, kRetSuccess);
        return;
    }
    int& nHandle = m_login.previewHandles[nChannel];
    if (nHandle > 0) {
        CLumoConnect::instance()->DisconnectChannel_V2(nHandle, &CPluginManage::RealDataCallBack_V2, nChannel);
        nHandle = 0;
    }
    int nCurrent = -1; // as it was before the stop
    returnToMainThreadSync([&] {
        nCurrent = PlayWidget::Instance()->GetCurChannel(kLivePage);
        PlayWidget::Instance()->PreviewStop(nChannel);
    });
    clearChannelFrame(nChannel);
    sendChannelState(nChannel, nCurrent);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::stopAllPreviews()
{
    Json::Value event = eventOf(0, 3);
    event["Ret"] = kRetFailure; // constant in this event
    event["ChnStatus"] = Json::arrayValue;
    const int nListed = listedChannels();
    for (int i = 0; i < nListed; ++i) {
        if (isChannel(i) && m_login.previewHandles[i] > 0) {
            CLumoConnect::instance()->DisconnectChannel_V2(m_login.previewHandles[i],
                                                           &CPluginManage::RealDataCallBack_V2, i);
            m_login.previewHandles[i] = 0;
            returnToMainThreadSync([=] { PlayWidget::Instance()->PreviewStop(i); });
        }
        Json::Value& status = event["ChnStatus"][i];
        status["Ret"] = kRetSuccess;
        status["Chn"] = i;
        status["Stream"] = kStoppedStream;
        status["Record"] = onGuiThread([i] { return isRecording(i); });
    }
    const int nCurrent = currentLiveChannel();
    sendChannelState(nCurrent, nCurrent);
    clearChannelFrame(nCurrent);
    sendEvent(event);
}
