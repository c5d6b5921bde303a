// Files towards the device: its configuration as one block, any other file announced by a command and sent after it.
#include "device/DeviceText.h"
#include "device/LumoConnect.h"
#include "device/Ret.h"
#include "shell/LightWeightLog.h"

#include <QFile>

#include <memory>

namespace
{

constexpr int kConfigFile = 0;      // of fileKind
constexpr int kConfigLimit = 65536; // bytes
constexpr int kSetConfigTimeoutMs = 8000;
constexpr int kAnnounceNumber = 3500;
constexpr int kAnnounceTimeoutMs = 5000;

int importConfig(int loginId, const QString& path)
{
    static const char* const szTag = "CLumoConnect::ImportFile";
    writeLog(szTag, "Import Config by LUMONET_SetDevConfig");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return kRetNothingDone;
    if (file.size() > kConfigLimit) {
        writeLog(szTag, "LUMONET_SetDevConfig pBuf size > 64k");
        return kRetTooLong;
    }
    const auto pBuffer = std::make_unique<char[]>(kConfigLimit);
    const int nRead = int(qMax(qint64(0), file.read(pBuffer.get(), kConfigLimit)));
    if (LUMONET_SetDevConfig(loginId, LUMO_CONFIG_IMPORT, -1, pBuffer.get(), nRead, kSetConfigTimeoutMs) >= 0)
        return kRetSuccess;
    const int nError = LUMONET_GetLastError();
    writeLog(szTag, QString("fileszie = %1<===============>LUMONET_SetDevConfig error=%2").arg(nRead).arg(nError));
    return CLumoConnect::TranslateError(nError);
}

/// Opened to append, as the voice recorder opens it: a missing file comes into being, and counts as empty.
qint64 sizeOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite | QIODevice::Append) ? file.size() : -1;
}

enum class ESent { Going, NotAnnounced, NotStarted };

/// The two steps of every file but the configuration. nError is set unless the transfer goes on.
ESent announceAndSend(const char* szTag, int loginId, const QByteArray& path, const QByteArray& json, int nLength,
                      LumoSendFileCallback callback, intptr_t user, int& nError)
{
    if (LUMONET_Cmd_Json(loginId, "OPFile", kAnnounceNumber, -1, json.constData(), nLength, kAnnounceTimeoutMs) != 1) {
        nError = LUMONET_GetLastError();
        writeLog(szTag, QString("SendAudioFile OPFile error=%1").arg(nError));
        return ESent::NotAnnounced;
    }
    if (LUMONET_SendFileDataToDevice(loginId, path.constData(), callback, user) == 0) {
        nError = LUMONET_GetLastError();
        writeLog(szTag,
                 "LUMONET_SendFileDataToDevice error=%d"); // without its number: those who read the log know it so
        return ESent::NotStarted;
    }
    return ESent::Going;
}

} // namespace

int CLumoConnect::ImportFile(int fileKind, int loginId, int channel, QString path, LumoSendFileCallback callback,
                             intptr_t user)
{
    static const char* const szTag = "CLumoConnect::ImportFile";
    writeLog(szTag, path);
    if (fileKind == kConfigFile)
        return importConfig(loginId, path);
    const qint64 nSize = sizeOf(path);
    if (nSize <= 0)
        return kRetNoFile;
    const QString strText = announceFileText(fileKind, channel, nSize);
    int nError = 0;
    if (announceAndSend(szTag, loginId, path.toLocal8Bit(), strText.toUtf8(), strText.length(), callback, user,
                        nError) != ESent::Going)
        return TranslateError(nError);
    return kRetSuccess;
}

int CLumoConnect::SendAudioFile(int loginId, const char* path, const char* json, LumoSendFileCallback callback,
                                intptr_t user)
{
    const QByteArray text(json);
    int nError = 0;
    switch (announceAndSend("CLumoConnect::SendAudioFile", loginId, path, text, text.size(), callback, user, nError)) {
    case ESent::NotAnnounced:
        return -1;
    case ESent::NotStarted:
        return -2;
    default:
        return 1;
    }
}
