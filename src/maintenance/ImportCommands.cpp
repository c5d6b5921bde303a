// MainType 30: a file of this machine into the device. Its configuration or another file is picked by the user; the
// alarm voice lies beside the program.
#include "device/LumoConnect.h"
#include "hub/PickerMode.h"
#include "hub/PluginManage.h"
#include "platform/Paths.h"

namespace
{

constexpr int kSent = 1; // status of a transfer that the device has whole

enum ESubType { kConfig = 0, kPickedFile = 1, kVoice = 2, kVoiceOther = 3, kVoiceShort = 4 };

} // namespace

/// The number of the last such command and its SubType go into every answer: a later command takes over the answer of
/// an earlier one that is still under way. The page relies on it.
void CPluginManage::onMainMsgImportFile(const Json::Value& request)
{
    const int nSubType = request["SubType"].asInt();
    importSubType = nSubType;
    importMsgId = request["MsgID"].asInt();
    const int nChannel = request["Channel"].asInt();
    switch (nSubType) {
    case kConfig:
    case kPickedFile:
        return importPicked(nChannel);
    case kVoice:
    case kVoiceOther:
    case kVoiceShort:
        return importVoice(request, nChannel);
    default:
        return; // the page gets no answer
    }
}

int CPluginManage::importFile(int nSubType, int nChannel, const QString& strFile)
{
    return CLumoConnect::instance()->ImportFile(nSubType, m_login.loginId, nChannel, strFile,
                                                &CPluginManage::ImportFileCallback, reinterpret_cast<intptr_t>(this));
}

void CPluginManage::importVoice(const Json::Value& request, int nChannel)
{
    const QString strFile = platform::nativePath(platform::applicationDir() + "/customAlarmVoice.pcm");
    const int nRet = importFile(request["SubType"].asInt(), nChannel, strFile);
    if (nRet == kRetSuccess)
        return; // the transfer's end answers
    Json::Value reply = replyTo(request);
    sendReply(reply, nRet);
}

/// Answers when the dialog has closed, or when the transfer has ended. A picker that fails gets no answer at all.
void CPluginManage::importPicked(int nChannel)
{
    runPicker({QString::number(kPickAnyFile), "1"}, [this, nChannel](bool bOk, const QByteArray& output) {
        if (!bOk)
            return;
        const int nSubType = importSubType;
        const int nRet = output.isEmpty() ? kRetNoPath : importFile(nSubType, nChannel, QString::fromUtf8(output));
        if (nSubType != kPickedFile || nRet != kRetSuccess)
            sendImportResult(nRet);
    });
}

/// Any thread.
void CPluginManage::sendImportResult(int nRet)
{
    constexpr int kImport = 30;
    Json::Value reply;
    reply["Msg"] = kImport;
    reply["SubMsg"] = importSubType.load();
    reply["MsgID"] = importMsgId.load();
    reply["nRet"] = nRet; // spelled so in these replies
    sendWebSocketMsg(toText(reply), true);
}

/// Library thread.
void CPluginManage::ImportFileCallback(long, long nStatus, long nError, long, intptr_t nUser)
{
    reinterpret_cast<CPluginManage*>(nUser)->sendImportResult(nStatus == kSent ? kRetSuccess : int(nError));
}
