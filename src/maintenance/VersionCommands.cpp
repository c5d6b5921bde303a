// MainType 22: is there a newer build of this program? Answered at once; the event follows when the server has spoken.
#include "hub/PluginManage.h"
#include "maintenance/VersionAddress.h"
#include "maintenance/VersionFetch.h"
#include "maintenance/VersionOrder.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"

#include <QFile>
#include <QSettings>

namespace
{

const char* const kTag = "CPluginManage::onMainMsgCheckToolVersion";

enum ESubType { kAtLogin = 0, kAsked = 1 };

struct SVersion {
    QString strNumber;
    QString strDate;
};

QString localFile(const QString& strWebType)
{
    return platform::applicationDir() + "/" + strWebType + "LumoPlayToolVersion.ini";
}

QString fetchedFile()
{
    return platform::applicationDir() + "/NewVersion.ini";
}

QString valueIn(const QString& strFile, const char* szKey)
{
    QSettings settings(strFile, QSettings::IniFormat);
    settings.setIniCodec(platform::systemCodec());
    return settings.value(szKey, QString()).toString();
}

SVersion versionIn(const QString& strFile)
{
    return {valueIn(strFile, "Tool/version"), valueIn(strFile, "Tool/date")};
}

bool storeFetched(const QByteArray& body)
{
    QFile file(fetchedFile());
    if (file.exists())
        file.remove();
    if (!file.open(QIODevice::ReadWrite))
        return false;
    file.write(body);
    return true;
}

Json::Value versionEvent(int nSubType)
{
    switch (nSubType) {
    case kAtLogin:
        return eventOf(0, 4);
    case kAsked:
        return eventOf(4, 54);
    default:
        return eventOf(-1, -1);
    }
}

} // namespace

/// The reply says nothing of the server: it goes out before anyone has been asked.
void CPluginManage::onMainMsgCheckToolVersion(const Json::Value& request)
{
    const int nSubType = request["SubType"].asInt();
    const QString strLocal = localFile(webType);
    QString strAddress = valueIn(strLocal, "Tool/versionFileAddr");
    if (strAddress.isEmpty())
        strAddress = defaultVersionAddress(LUMO_VERSION_SERVER, webType);
    writeLog(kTag, QString("check version nSeesionID:%1").arg(sessionId));
    SVersionEnds ends;
    ends.fnTimeout = [] { writeLog(kTag, "access timeout"); };
    ends.fnAnswer = [this, strLocal, nSubType](const QByteArray& body) {
        writeLog(kTag, "access successful"); // whatever came
        if (storeFetched(body))
            sendVersions(strLocal, nSubType);
    };
    fetchVersionFile(this, strAddress, ends);
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::sendVersions(const QString& strLocalFile, int nSubType)
{
    const SVersion current = versionIn(strLocalFile);
    const SVersion fetched = versionIn(fetchedFile());
    const bool bNew = IsNewVersion(fetched.strNumber, current.strNumber);
    if (!fetched.strNumber.isEmpty() && !current.strNumber.isEmpty())
        writeLog(
            kTag,
            QString("bNewVersion %1 strNew %2 strCur %3").arg(int(bNew)).arg(fetched.strNumber, current.strNumber));
    Json::Value event = versionEvent(nSubType);
    event["curDate"] = current.strDate.toStdString();
    event["curVersion"] = current.strNumber.toStdString();
    event["newDate"] = fetched.strDate.toStdString();
    event["newVersion"] = fetched.strNumber.toStdString();
    event["bNew"] = bNew;
    sendEvent(event);
}
