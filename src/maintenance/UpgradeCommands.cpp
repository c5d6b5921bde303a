// MainType 25 (firmware from a file of this machine), 21 (firmware from the vendor's cloud), and the event that tells
// how far an upgrade is.
#include "device/LumoConnect.h"
#include "hub/PickerMode.h"
#include "hub/PluginManage.h"
#include "shell/LightWeightLog.h"

namespace
{

constexpr int kFileMsg = 25; // Msg and SubMsg of every reply to MainType 25: the page relies on both
constexpr int kFileReplies = 1;

enum EFileSubType { kPick = 0, kStart = 1 };
enum ECloudSubType { kAsk = 0, kStartOnline = 1 };

/// From the V of the last "_V" on; the whole name without one.
QString versionOf(const QString& strFirmware)
{
    return strFirmware.mid(strFirmware.lastIndexOf("_V") + 1);
}

} // namespace

void CPluginManage::onMainMsgLocalUpgrade(const Json::Value& request)
{
    Json::Value reply = replyTo(request);
    reply["Msg"] = kFileMsg;
    reply["SubMsg"] = kFileReplies;
    switch (request["SubType"].asInt()) {
    case kPick:
        return pickFirmware(reply);
    case kStart:
        return startLocalUpgrade(request, reply);
    default:
        return; // the page gets no answer
    }
}

/// Replies when the dialog closes; the hub is free meanwhile.
void CPluginManage::pickFirmware(Json::Value reply)
{
    runPicker({QString::number(kPickFirmware), "1"}, [this, reply](bool bOk, const QByteArray& output) mutable {
        reply["nRet"] = kRetFailure;
        if (bOk && !output.isEmpty()) {
            reply["Path"] = QString::fromUtf8(output).toStdString();
            reply["nRet"] = kRetSuccess;
        }
        sendWebSocketMsg(toText(reply), true);
    });
}

void CPluginManage::startLocalUpgrade(const Json::Value& request, Json::Value& reply)
{
    // asCString, because a missing file name must end the command: asString would send the device an empty one.
    const QString strFile = QString::fromUtf8(request["FileName"].asCString());
    const int nRet = CLumoConnect::instance()->StartLocalUpgrade(
        m_login.loginId, strFile, &CPluginManage::UpgradeProgressCallback, reinterpret_cast<intptr_t>(this));
    writeLog("CPluginManage::onMainMsgLocalUpgrade", QString("StartLocalUpgrade-----------ret:%1").arg(nRet));
    upgradeRunning = nRet == kRetSuccess;
    sendReply(reply, nRet);
}

void CPluginManage::onMainMsgOnlineUpgrade(const Json::Value& request)
{
    Json::Value reply = replyTo(request);
    int nRet = 0; // of a SubType that asks for nothing
    switch (request["SubType"].asInt()) {
    case kAsk:
        nRet = askNewVersion(reply);
        break;
    case kStartOnline:
        nRet = CLumoConnect::instance()->StartOnlineUpgrade(m_login.loginId, upgradeVersionName,
                                                            &CPluginManage::UpgradeProgressCallback,
                                                            reinterpret_cast<intptr_t>(this));
        upgradeRunning = nRet == kRetSuccess;
        break;
    default:
        break;
    }
    sendReply(reply, nRet);
}

/// The library's own result, above 0 when the device answered. A device that knows nothing newer leaves the version of
/// the question before.
int CPluginManage::askNewVersion(Json::Value& reply)
{
    const QString strBuildDate =
        QString("%1-%2-%3").arg(m_login.buildYear).arg(m_login.buildMonth).arg(m_login.buildDay);
    const int nResult = CLumoConnect::instance()->GetNewVersion(m_login.loginId, strBuildDate, &upgradeVersionName);
    reply["NewVersion"] = versionOf(upgradeVersionName).toStdString();
    return nResult;
}

/// Library thread. Captures values only: this frame is gone when the hub runs the closure.
void CPluginManage::UpgradeProgressCallback(long, long lUpgrade, long nTotal, long nSent, intptr_t nUser)
{
    auto* pHub = reinterpret_cast<CPluginManage*>(nUser);
    emit pHub->returnToThisThreadSig([=] { pHub->onUpgradeProgress(int(lUpgrade), nTotal, nSent); });
}

void CPluginManage::onUpgradeProgress(int nUpgrade, long nTotal, long nSent)
{
    CLumoConnect* pConnect = CLumoConnect::instance();
    const int nState = pConnect->GetUpgradeState(nUpgrade);
    if (nState == LUMO_UPGRADE_DONE || nState == LUMO_UPGRADE_FAILED) {
        pConnect->CloseUpgrade(nUpgrade);
        upgradeRunning = false;
    }
    Json::Value event = eventOf(3, 0);
    Json::Value& data = event["Data"];
    data["Status"] = nState;
    data["TotalSize"] = Json::Int64(nTotal);
    data["SendSize"] = Json::Int64(nSent);
    sendEvent(event);
}
