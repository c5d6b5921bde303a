// The C calls of src/device/LumoNet.h for all that is no stream: talk, settings, commands, files, firmware.
#include "Calls.h"

#include <cstring>

using namespace lumo::net;

namespace
{

// The one answer whose room the caller does not tell: it is a receipt, and this is what one may take.
constexpr size_t kReceiptBytes = 65536;

/// An input's room may be larger than its text.
JsonQuestion question(const char* szName, int nNumber, int nChannel, const char* szInput, int nInputSize,
                      size_t maxAnswer, int nTimeoutMs)
{
    JsonQuestion q;
    q.name = szName ? szName : "";
    q.number = nNumber;
    q.channel = nChannel;
    if (szInput && nInputSize > 0)
        q.input.assign(szInput, strnlen(szInput, size_t(nInputSize)));
    q.timeoutMs = nTimeoutMs;
    q.maxAnswer = maxAnswer;
    return q;
}

/// The text and a zero behind it; the caller has room for both.
void copyText(const std::string& text, char* pTo, int* pReturned)
{
    std::memcpy(pTo, text.c_str(), text.size() + 1);
    if (pReturned)
        *pReturned = int(text.size());
}

template <typename Ask> int askInto(const char* szName, char* pOutput, int nOutputSize, int* pReturned, Ask&& ask)
{
    if (pReturned)
        *pReturned = 0;
    if (!szName || !*szName || !pOutput || nOutputSize < 1)
        return refuse(LUMONET_ERR_ARGUMENT);
    std::string text;
    const int done = withEngine([&](Engine& e) {
        const int error = ask(e, text);
        return error == 0 && text.size() >= size_t(nOutputSize) ? int(LUMONET_ERR_REFUSED) : error;
    });
    if (done == 1)
        copyText(text, pOutput, pReturned);
    return done;
}

int readAbility(int nLoginID, const char* szName, int nNumber, int nChannel, char* pBuffer, int nSize, int* pReturned,
                int nTimeoutMs)
{
    return askInto(szName, pBuffer, nSize, pReturned, [&](Engine& e, std::string& text) {
        return e.readAbility(nLoginID, question(szName, nNumber, nChannel, nullptr, 0, size_t(nSize), nTimeoutMs),
                             text);
    });
}

} // namespace

int LUMONET_StartVoiceCom_MR(int nLoginID, LumoVoiceCallback fnVoice, intptr_t nUser)
{
    return handleFromEngine([&](Engine& e) { return e.startTalk(nLoginID, Device::kDeviceItself, fnVoice, nUser); });
}

int LUMONET_StartVoiceCom_NVR_IPC(int nLoginID, int nChannel, LumoVoiceCallback fnVoice, intptr_t nUser)
{
    return handleFromEngine([&](Engine& e) {
        return nChannel < Device::kAllChannels ? int(LUMONET_ERR_ARGUMENT)
                                               : e.startTalk(nLoginID, nChannel, fnVoice, nUser);
    });
}

uint8_t LUMONET_VoiceComSendData(int nTalkHandle, const uint8_t* pFrame, int nSize)
{
    return uint8_t(withEngine([&](Engine& e) {
        return pFrame && nSize > 0 ? e.sendSpeech(nTalkHandle, pFrame, size_t(nSize)) : int(LUMONET_ERR_ARGUMENT);
    }));
}

int LUMONET_StopVoiceCom(int nTalkHandle)
{
    return withEngine([&](Engine& e) { return e.stopTalk(nTalkHandle); });
}

int LUMONET_GetDevConfig(int nLoginID, int nNumber, int, void* pBuffer, int nSize, int* pReturned, int nTimeoutMs)
{
    if (pReturned)
        *pReturned = 0;
    std::vector<uint8_t> record;
    const int done = withEngine([&](Engine& e) {
        if (!pBuffer || nSize < 1)
            return int(LUMONET_ERR_ARGUMENT);
        const int error = e.readConfig(nLoginID, nNumber, nTimeoutMs, record);
        return error == 0 && record.size() > size_t(nSize) ? int(LUMONET_ERR_ARGUMENT) : error;
    });
    if (done != 1)
        return LUMONET_GetLastError();
    std::memcpy(pBuffer, record.data(), record.size());
    if (pReturned)
        *pReturned = int(record.size());
    return int(record.size());
}

int LUMONET_SetDevConfig(int nLoginID, int nNumber, int, const void* pBuffer, int nSize, int nTimeoutMs)
{
    const int done = withEngine([&](Engine& e) {
        if (!pBuffer || nSize < 1)
            return int(LUMONET_ERR_ARGUMENT);
        return e.writeConfig(nLoginID, nNumber, std::string(static_cast<const char*>(pBuffer), size_t(nSize)),
                             nTimeoutMs);
    });
    return done == 1 ? 1 : LUMONET_GetLastError();
}

int LUMONET_GetChannelAbility_Json(int nLoginID, const char* szName, int nChannel, char* pBuffer, int nSize,
                                   int* pReturned, int nTimeoutMs)
{
    return readAbility(nLoginID, szName, 0, nChannel, pBuffer, nSize, pReturned, nTimeoutMs);
}

int LUMONET_GetSystemAbility_Json(int nLoginID, const char* szName, int nNumber, int nChannel, char* pBuffer, int nSize,
                                  int* pReturned, int nTimeoutMs)
{
    return readAbility(nLoginID, szName, nNumber, nChannel, pBuffer, nSize, pReturned, nTimeoutMs);
}

bool LUMONET_HasAbility(int nLoginID, const char* szPath, int)
{
    bool has = false;
    const int done = withEngine(
        [&](Engine& e) { return szPath && *szPath ? e.hasAbility(nLoginID, szPath, has) : int(LUMONET_ERR_ARGUMENT); });
    return done == 1 && has;
}

int LUMONET_CmdWithResult_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                               int nInputSize, char* pOutput, int nOutputSize, int* pReturned, int nTimeoutMs)
{
    return askInto(szName, pOutput, nOutputSize, pReturned, [&](Engine& e, std::string& text) {
        return e.command(
            nLoginID, question(szName, nNumber, nChannel, szInput, nInputSize, size_t(nOutputSize), nTimeoutMs), text);
    });
}

int LUMONET_CmdWithOutput_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                               int nInputSize, char* pOutput, int nTimeoutMs)
{
    return askInto(szName, pOutput, int(kReceiptBytes), nullptr, [&](Engine& e, std::string& text) {
        JsonQuestion q = question(szName, nNumber, nChannel, szInput, nInputSize, kReceiptBytes, nTimeoutMs);
        q.mustAgree = true;
        return e.command(nLoginID, q, text);
    });
}

int LUMONET_Cmd_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput, int nInputSize,
                     int nTimeoutMs)
{
    return withEngine([&](Engine& e) {
        JsonQuestion q = question(szName, nNumber, nChannel, szInput, nInputSize, kReceiptBytes, nTimeoutMs);
        q.mustAgree = true;
        std::string unused;
        return q.name.empty() ? int(LUMONET_ERR_ARGUMENT) : e.command(nLoginID, q, unused);
    });
}

int LUMONET_SendFileDataToDevice(int nLoginID, const char* szPath, LumoSendFileCallback fnEnd, intptr_t nUser)
{
    return handleFromEngine([&](Engine& e) {
        return szPath && *szPath ? e.sendFile(nLoginID, szPath, fnEnd, nUser) : int(LUMONET_ERR_ARGUMENT);
    });
}

int LUMONET_CloseSendFile(int nSendHandle, int, long, long)
{
    return withEngine([&](Engine& e) { return e.closeSendFile(nSendHandle); });
}

int LUMONET_StartLocalUpgrade(int nLoginID, const char* szPath, int, LumoUpgradeCallback fnProgress, intptr_t nUser)
{
    return handleFromEngine([&](Engine& e) {
        return szPath && *szPath ? e.startLocalUpgrade(nLoginID, szPath, fnProgress, nUser) : int(LUMONET_ERR_ARGUMENT);
    });
}

int LUMONET_StartOnlineUpgrade(int nLoginID, const char* szVersion, int, LumoUpgradeCallback fnProgress, intptr_t nUser)
{
    return handleFromEngine([&](Engine& e) {
        return szVersion && *szVersion ? e.startOnlineUpgrade(nLoginID, szVersion, fnProgress, nUser)
                                       : int(LUMONET_ERR_ARGUMENT);
    });
}

int LUMONET_GetUpgradeState(int nUpgradeHandle)
{
    const auto e = currentEngine();
    return e ? e->upgradeState(nUpgradeHandle) : int(LUMO_UPGRADE_FAILED);
}

void LUMONET_CloseUpgradeHandle(int nUpgradeHandle)
{
    withEngine([&](Engine& e) { return e.closeUpgrade(nUpgradeHandle); });
}
