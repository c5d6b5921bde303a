// MainType 4: the commands of the live page. Starts and stops stand in PreviewStartCommands.cpp.
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

namespace
{

const char* const kTag = "CPluginManage::onMainMsgPreview";

int retOf(int nResult)
{
    return nResult == 0 ? kRetSuccess : kRetFailure;
}

} // namespace

void CPluginManage::onMainMsgPreview(const Json::Value& request)
{
    static constexpr Handler kSubTypes[] = {
        /*  0 */ &CPluginManage::onPreviewStart,
        /*  1 */ &CPluginManage::onPreviewStop,
        /*  2 */ &CPluginManage::onPreviewGetColor,
        /*  3 */ &CPluginManage::onPreviewSetColor,
        /*  4 */ &CPluginManage::onPreviewStatus,
        /*  5 */ &CPluginManage::onPreviewFullScreen,
        /*  6 */ nullptr,
        /*  7 */ &CPluginManage::onPreviewCurrent,
        /*  8 */ &CPluginManage::onPreviewSound,
        /*  9 */ &CPluginManage::onPreviewCapture,
        /* 10 */ &CPluginManage::onPreviewRecord,
        /* 11 */ nullptr,
        /* 12 */ &CPluginManage::onPreviewOriginal,
        /* 13 */ &CPluginManage::onPreviewNormal,
    };
    const int nSubType = request["SubType"].asInt();
    // What has no handler gets no answer at all.
    if (nSubType >= 0 && nSubType < int(std::size(kSubTypes)) && kSubTypes[nSubType])
        (this->*kSubTypes[nSubType])(request);
}

void CPluginManage::onPreviewGetColor(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nBrightness = 0, nContrast = 0, nSaturation = 0, nHue = 0;
    returnToMainThreadSync(
        [&] { PlayWidget::Instance()->GetColor(nChannel, nBrightness, nContrast, nSaturation, nHue); });
    writeLog(kTag, QString("nChannel=%1 nBrightness=%2 nContrast=%3 nSaturation=%4 nHue=%5")
                       .arg(nChannel)
                       .arg(nBrightness)
                       .arg(nContrast)
                       .arg(nSaturation)
                       .arg(nHue));
    Json::Value reply = replyTo(request);
    reply["nBrightness"] = nBrightness;
    reply["nContrast"] = nContrast;
    reply["nSaturation"] = nSaturation;
    reply["nHue"] = nHue;
    sendReply(reply, kRetFailure); // always: the page reads the values and not this code
}

void CPluginManage::onPreviewSetColor(const Json::Value& request)
{
    const int nType = request["Type"].asInt();
    const int nValue = request["Value"].asInt();
    const int nResult = onGuiThread([=] { return PlayWidget::Instance()->SetColor(nType, nValue); });
    Json::Value reply = replyTo(request);
    reply["Chn"] = -1;
    sendReply(reply, retOf(nResult));
}

void CPluginManage::onPreviewStatus(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nStatus = -1;
    if (isChannel(nChannel))
        nStatus = onGuiThread([=] { return PlayWidget::Instance()->GetPlayState(kLivePage, nChannel); });
    Json::Value reply = replyTo(request);
    reply["Status"] = nStatus;
    sendReply(reply, isChannel(nChannel) ? kRetSuccess : kRetFailure);
}

void CPluginManage::onPreviewFullScreen(const Json::Value& request)
{
    returnToMainThreadSync([] { PlayWidget::Instance()->onFullScreen(); });
    Json::Value reply = replyTo(request);
    reply["Chn"] = -1;
    sendReply(reply, kRetSuccess);
}

void CPluginManage::onPreviewCurrent(const Json::Value& request)
{
    Json::Value reply = replyTo(request);
    reply["Chn"] = onGuiThread([] { return PlayWidget::Instance()->GetCurChannel(kCurrentPage); });
    sendReply(reply, kRetSuccess);
}

void CPluginManage::onPreviewSound(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    int nResult = -1;
    bool bSound = false;
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        nResult = pWidget->SetSound(kLivePage, nChannel, !pWidget->IsSoundOn(kLivePage, nChannel));
        bSound = pWidget->IsSoundOn(kLivePage, nChannel);
    });
    Json::Value reply = replyTo(request);
    reply["Audio"] = bSound;
    reply["Chn"] = nChannel;
    sendReply(reply, retOf(nResult));
}

void CPluginManage::onPreviewCapture(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    if (onGuiThread([=] { return PlayWidget::Instance()->Capture(nChannel, false); }) < 0) {
        sendReply(reply, kRetFailure);
        return;
    }
    reply["CapPath"] = utf8OfLocal(onGuiThread([] { return PlayWidget::Instance()->ReloadLocalInfo(); }).szCapPath);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::onPreviewRecord(const Json::Value& request)
{
    const int nChannel = request["Channel"].asInt();
    const bool bRecord = request["Record"].asInt() != 0;
    Json::Value reply = replyTo(request);
    if (nChannel == -1) {
        recordAll(reply, bRecord);
        return;
    }
    int nResult = -1;
    bool bResult = false;
    LocalInfo info{};
    returnToMainThreadSync([&] {
        nResult = PlayWidget::Instance()->Record(nChannel, bRecord, bResult);
        info = PlayWidget::Instance()->ReloadLocalInfo();
    });
    reply["RecPath"] = utf8OfLocal(info.szRecPath);
    reply["Chn"] = nChannel;
    reply["Record"] = bResult;
    sendReply(reply, retOf(nResult));
}

/// Its reply has no Ret: the results stand in the event, channel by channel.
void CPluginManage::recordAll(Json::Value& reply, bool bRecord)
{
    Json::Value event = eventOf(0, 3);
    event["ChnStatus"] = Json::arrayValue;
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        for (int i = 0; i < listedChannels(); ++i) {
            bool bResult = false;
            Json::Value& status = event["ChnStatus"][i];
            status["Ret"] = retOf(pWidget->Record(i, bRecord, bResult));
            status["Chn"] = i;
            status["Record"] = pWidget->IsRecording(i);
        }
    });
    sendEvent(event);
    reply["Record"] = 0;
    reply["Chn"] = -1;
    sendWebSocketMsg(toText(reply), true);
}

void CPluginManage::onPreviewOriginal(const Json::Value& request)
{
    const int nResult = onGuiThread([] {
        const int nChannel = PlayWidget::Instance()->GetCurChannel(kLivePage);
        writeLog(kTag, QString("PlayControlCmdPlayOriginal--->%1").arg(nChannel));
        return PlayWidget::Instance()->PlayOriginal(nChannel);
    });
    Json::Value reply = replyTo(request);
    sendReply(reply, retOf(nResult));
}

void CPluginManage::onPreviewNormal(const Json::Value& request)
{
    const int nResult = onGuiThread(
        [] { return PlayWidget::Instance()->PlayNormal(PlayWidget::Instance()->GetCurChannel(kLivePage)); });
    Json::Value reply = replyTo(request);
    sendReply(reply, retOf(nResult));
}
