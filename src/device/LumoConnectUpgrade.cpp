// What a device can do, and its firmware: asking for a newer one, starting an upgrade, following it.
#include "device/LumoConnect.h"
#include "device/Ret.h"
#include "shell/LightWeightLog.h"

#include <cstring>

namespace
{

constexpr int kAskTimeoutMs = 20000;
constexpr int kFromFile = 1;
constexpr int kFromCloud = 0;

int upgradeError(int nError)
{
    return nError == LUMONET_ERR_BUSY ? kRetUpgradeRefused : CLumoConnect::TranslateError(nError);
}

template <size_t N> QByteArray fieldText(const char (&field)[N])
{
    return QByteArray(field, int(qstrnlen(field, N)));
}

} // namespace

int CLumoConnect::GetChannelAbility(int loginId, const char* name, char* buffer, int size)
{
    int nReturned = 0;
    const int nResult = LUMONET_GetChannelAbility_Json(loginId, name, -1, buffer, size, &nReturned, kAskTimeoutMs);
    if (nResult > 0)
        return kRetSuccess;
    const int nError = LUMONET_GetLastError();
    writeLog("CLumoConnect::GetChannelAbility",
             QString("LUMONET_GetChannelAbility_Json Name:%1 Ret:%2").arg(QString::fromUtf8(name)).arg(nResult));
    return TranslateError(nError);
}

int CLumoConnect::StartLocalUpgrade(int loginId, QString path, LumoUpgradeCallback callback, intptr_t user)
{
    static const char* const szTag = "CLumoConnect::StartLocalUpgrade";
    const QByteArray localPath = path.toLocal8Bit();
    const int nResult = LUMONET_StartLocalUpgrade(loginId, localPath.constData(), kFromFile, callback, user);
    const int nError = nResult > 0 ? 0 : LUMONET_GetLastError();
    writeLog(szTag, QString("StartLocalUpgrade:Ret = %1").arg(nResult));
    if (nResult > 0)
        return kRetSuccess;
    writeLog(szTag, QString("StartLocalUpgrade:Error = %1").arg(nError));
    return upgradeError(nError);
}

int CLumoConnect::StartOnlineUpgrade(int loginId, QString version, LumoUpgradeCallback callback, intptr_t user)
{
    static const char* const szTag = "CLumoConnect::StartOnlineUpgrade";
    const QByteArray utf8Version = version.toUtf8();
    const int nResult = LUMONET_StartOnlineUpgrade(loginId, utf8Version.constData(), kFromCloud, callback, user);
    const int nError = nResult > 0 ? 0 : LUMONET_GetLastError();
    writeLog(szTag, QString("StartOnlineUpgrade:Ret = %1").arg(nResult));
    if (nResult > 0)
        return kRetSuccess;
    // An error here, unlike above: with no file of the user's in play it is the device that failed. Required.
    writeLog(szTag, QString("StartOnlineUpgrade:Error = %1").arg(nError), kLogError);
    return upgradeError(nError);
}

int CLumoConnect::GetUpgradeState(int handle)
{
    return LUMONET_GetUpgradeState(handle);
}

void CLumoConnect::CloseUpgrade(int handle)
{
    if (handle >= 1)
        LUMONET_CloseUpgradeHandle(handle);
}

int CLumoConnect::GetNewVersion(int loginId, QString buildDate, QString* newVersion)
{
    LumoVersionInfo info;
    std::memset(&info, 0, sizeof info);
    int nReturned = 0;
    const int nResult =
        LUMONET_GetDevConfig(loginId, LUMO_CONFIG_VERSION, -1, &info, sizeof info, &nReturned, kAskTimeoutMs);
    if (nResult > 0 && info.nCount >= 1 && QString::fromUtf8(fieldText(info.szBuildDate)) != buildDate)
        *newVersion = QString::fromUtf8(fieldText(info.szVersion));
    return nResult;
}
