// MainType 20: the custom alarm voice; recorded and played by VoiceCustom, sent to the device from here.
#include "audio/VoiceCustom.h"
#include "device/Channels.h"
#include "device/DeviceText.h"
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"

#include <QFile>

namespace
{

constexpr int kSingleCamera = 2; // device type: no channels, one purpose

enum EVoice { kVoiceRecord = 0, kVoiceStop = 1, kVoiceTest = 2, kVoiceSend = 3, kVoiceStopTest = 4 };

} // namespace

void CPluginManage::onMainMsgVoiceCustom(const Json::Value& request)
{
    const int nSubMsg = request["SubType"].asInt();
    VoiceCustom* pVoice = VoiceCustom::instance();
    int nResult = -1;
    switch (nSubMsg) {
    case kVoiceRecord:
        pVoice->SetSampleRate16(sampleRate16);
        nResult = pVoice->StartRecordVoice();
        break;
    case kVoiceStop:
        nResult = pVoice->StopRecordVoice();
        break;
    case kVoiceTest:
        pVoice->SetSampleRate16(sampleRate16);
        nResult = pVoice->StartTest();
        break;
    case kVoiceSend:
        nResult = SendCustomVoice(request["Channel"].asInt(), request["FilePurpose"].asInt());
        break;
    case kVoiceStopTest:
        nResult = pVoice->StopTest();
        break;
    default:
        break;
    }
    writeLog("CPluginManage::onMainMsgVoiceCustom", QString("SubMsg:%2 nRet=%3").arg(nSubMsg).arg(nResult));
    Json::Value reply = replyTo(request);
    sendReply(reply, nResult == 0 ? kRetSuccess : kRetFailure);
}

/// -2 when the file cannot be opened, -3 when it is empty, -4 when the device refuses; the end is told by an event.
int CPluginManage::SendCustomVoice(int nChannel, int nPurpose)
{
    const QString strFile = platform::nativePath(VoiceCustom::instance()->file());
    QFile file(strFile);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append)) // makes a missing one, which is empty then: required
        return -2;
    const qint64 nSize = file.size();
    file.close();
    if (nSize <= 0)
        return -3;
    char szPath[1024];
    platform::copyLocal8Bit(szPath, sizeof szPath, strFile);
    char szText[2048];
    platform::copyLocal8Bit(szText, sizeof szText,
                            m_login.deviceType == kSingleCamera
                                ? alarmVoiceShortText(nSize)
                                : alarmVoiceText(deviceChannelOf(nChannel), nSize, nPurpose));
    const int nSent = CLumoConnect::instance()->SendAudioFile(
        m_login.loginId, szPath, szText, &CPluginManage::SendVoiceCallBack, reinterpret_cast<intptr_t>(this));
    return nSent < 0 ? -4 : 0;
}

/// Network library's thread. Ends the transfer, which may be done from here, then tells the page.
void CPluginManage::SendVoiceCallBack(long lSendHandle, long nStatus, long nError, long nExtra, intptr_t nUser)
{
    LUMONET_CloseSendFile(int(lSendHandle), 1, nError, nExtra);
    Json::Value event = eventOf(6, 2);
    event["Ret"] = nStatus == 1 ? kRetSuccess : int(nError);
    reinterpret_cast<CPluginManage*>(nUser)->sendWebSocketMsg(toText(event), true);
}
