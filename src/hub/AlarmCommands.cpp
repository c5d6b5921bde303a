// MainType 14 and 15: the page's choice of alarm kinds, kept for it in ClientCfg.ini. Nothing here acts on it. And the
// event that tells the page of an alarm.
#include "hub/AlarmNames.h"
#include "hub/PluginManage.h"
#include "platform/ClientConfig.h"
#include "shell/LightWeightLog.h"

#include <algorithm>
#include <cstring>

namespace
{

/// In the order in which they are stored: a bad one keeps those before it.
constexpr const char* kAlarmTypes[] = {"Prompt",  "all",   "Motion",     "Blind",     "Loss",     "IO",
                                       "Analyze", "Human", "FaceDetect", "DiskError", "DiskFull", "Carshape"};

constexpr int kAllKinds = 0; // SubMsg of the replies, whatever the SubType

QString settingOf(const char* szType)
{
    return QString("alarmtype/%1").arg(szType);
}

} // namespace

void CPluginManage::onMainMsgAlarmType(const Json::Value& request)
{
    int nRet = kRetFailure;
    try {
        platform::ClientConfig settings;
        for (const char* szType : kAlarmTypes)
            settings.setValue(settingOf(szType), request["alarmtype"][szType].asBool());
        nRet = kRetSuccess;
    } catch (...) {
        writeLog("CPluginManage::onMainMsgAlarmType", "store alarm type error", kLogError);
    }
    Json::Value reply = replyTo(request);
    reply["SubMsg"] = kAllKinds;
    sendReply(reply, nRet);
}

void CPluginManage::onMainMsgReadAlarmType(const Json::Value& request)
{
    const platform::ClientConfig settings;
    Json::Value reply = replyTo(request);
    reply["SubMsg"] = kAllKinds;
    for (const char* szType : kAlarmTypes)
        reply["alarmtype"][szType] = settings.value(settingOf(szType)).toBool();
    sendReply(reply, kRetSuccess);
}

/// Library thread. Touches no session state. A message that is too short has zeros where it ends.
bool CPluginManage::AlarmCallback(long, char* pMessage, unsigned long nSize, void* pUser, int nKind)
{
    if (nKind != LUMO_MESSAGE_ALARM)
        return true;
    LumoAlarmMessage message = {};
    if (pMessage)
        std::memcpy(&message, pMessage, std::min<size_t>(nSize, sizeof message));
    Json::Value event = eventOf(2, 0);
    event["Name"] = "AlarmInfo";
    Json::Value& info = event["AlarmInfo"];
    info["Channel"] = message.nChannel;
    info["Event"] = alarmName(message.nEvent);
    info["Status"] = alarmStatus(message.nStatus);
    static_cast<CPluginManage*>(pUser)->sendWebSocketMsg(toText(event), true);
    return true;
}
