// MainType 16: talk to the device or to one of its channels.
#include "audio/Talk.h"
#include "device/Channels.h"
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"

#include <new>
#include <vector>

namespace
{

const char* const kTag = "CPluginManage::onMainMsgTalk";
constexpr int kAbilityRoom = 102400; // bytes

enum ETalk { kTalkChannel = 0, kTalkDevice = 1, kTalkStop = 2, kTalkAbility = 3 };

} // namespace

void CPluginManage::onMainMsgTalk(const Json::Value& request)
{
    const int nSubMsg = request["SubType"].asInt();
    Json::Value reply = replyTo(request);
    int nRet = kRetFailure;
    if (nSubMsg == kTalkStop) {
        writeLog(kTag, "StopTalk");
        nRet = stopTalk() ? kRetSuccess : kRetFailure;
    } else if (nSubMsg == kTalkAbility) {
        nRet = readTalkAbility(reply);
    } else {
        nRet = startTalk(request, nSubMsg) ? kRetSuccess : kRetFailure;
        writeLog(kTag, QString("StartTalk nSubMsg=%1 Ret=%2").arg(nSubMsg).arg(nRet));
    }
    sendReply(reply, nRet);
}

/// True also when there was none.
bool CPluginManage::stopTalk()
{
    if (!talk)
        return true;
    const bool bStopped = talk->StopTalk();
    talk.reset();
    return bStopped;
}

/// A talk that runs ends first, also when the new one then fails.
bool CPluginManage::startTalk(const Json::Value& request, int nSubMsg)
{
    const int nAsked = nSubMsg == kTalkChannel ? request["Channel"].asInt() : 0;
    stopTalk();
    talk.reset(new (std::nothrow) CTalk);
    if (!talk)
        return false;
    talk->SetSampleRate16(sampleRate16);
    talk->SetLoginInfo(m_login);
    bool bStarted = false;
    if (nSubMsg == kTalkChannel)
        bStarted = talk->TalkChannel(deviceChannelOf(nAsked));
    else if (nSubMsg == kTalkDevice)
        bStarted = talk->TalkDevice();
    if (!bStarted)
        talk.reset();
    return bStarted;
}

/// Data is the device's whole answer; left out when that is no JSON.
int CPluginManage::readTalkAbility(Json::Value& reply)
{
    std::vector<char> buffer(kAbilityRoom, 0);
    const int nRet = CLumoConnect::instance()->GetChannelAbility(
        m_login.loginId, "ChannelSystemFunction@SupportIPCTalk", buffer.data(), kAbilityRoom);
    const QByteArray text(buffer.data(), int(qstrnlen(buffer.data(), kAbilityRoom)));
    try {
        Json::Value answer;
        if (nRet == kRetSuccess && fromText(text, answer))
            reply["Data"] = answer;
    } catch (const Json::Exception&) {
        // A text that is nested too deep is no JSON either: the page is told so, not left waiting.
    }
    return nRet;
}
