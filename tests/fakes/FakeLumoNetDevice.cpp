// The recording LumoNet, what is no stream: settings, abilities, JSON commands, sent files, upgrades. Tolerant of what
// this program is known to do: asking for the state of an upgrade that is closed, and closing it once more.
#include "FakeLumoNet.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

using namespace fakes::net;

namespace
{

constexpr size_t kBytesTold = 32; // of a setting that is written

/// A transfer or an upgrade that is open.
struct Work {
    int login = 0;
    LumoSendFileCallback sent = nullptr;
    LumoUpgradeCallback progress = nullptr;
    intptr_t user = 0;
};

using Key = std::pair<bool, int>; // an upgrade?, handle: each kind counts for itself

struct DeviceWork {
    std::mutex mutex;
    std::condition_variable idle;
    std::map<Key, Work> open;
    bool running = false; // a callback
};

DeviceWork& work()
{
    static DeviceWork* instance = new DeviceWork; // never destroyed: threads outlive main
    return *instance;
}

/// Begins work of which the script says the handle; known from the moment of the answer.
int begin(const char* name, const Args& args, bool upgrade, const Work& started)
{
    return call(name, args, false,
                [&](const Answer& a) {
                    if (a.result() > 0) {
                        const std::lock_guard lock(work().mutex);
                        require(work().open.emplace(Key(upgrade, a.result()), started).second, name,
                                "the script gives a handle that is in use");
                    }
                })
        .result();
}

long numberOf(const Fields& f, const char* key)
{
    const auto it = f.find(key);
    return it == f.end() ? 0 : std::atol(it->second.c_str());
}

void copyOutput(const char* name, char* buffer, size_t size, const Answer& a)
{
    const std::string text = a.text("output");
    require(text.size() < size, name, "the script's answer is longer than the buffer, and the real library refuses it");
    std::memcpy(buffer, text.c_str(), text.size() + 1);
}

template <size_t N> void copyField(char (&field)[N], const std::string& text)
{
    std::memcpy(field, text.data(), std::min(N, text.size()));
}

/// The fields of one setting, as its number names it.
void fillConfig(int number, void* buffer, const Answer& a)
{
    if (number == LUMO_CONFIG_VERSION) {
        auto* info = static_cast<LumoVersionInfo*>(buffer);
        info->nCount = a.number("count");
        copyField(info->szVersion, a.text("version"));
        copyField(info->szBuildDate, a.text("date"));
    } else {
        auto* info = static_cast<LumoTalkInfo*>(buffer);
        for (int i = 0; i < 4; ++i) {
            info->nTalkRefused[i] = static_cast<uint8_t>(a.number("refused") >> (8 * i));
        }
        info->byAudioParam = static_cast<uint8_t>(a.number("audio"));
    }
}

void requireAnswer(const char* name, const char* buffer, int size, const int* returned)
{
    require(buffer && size > 0 && returned, name, "no room for the answer");
    require(allZero(buffer, static_cast<size_t>(size)), name, "the buffer was not zeroed");
}

} // namespace

std::string fakes::net::raiseDeviceWork(const std::string& kind, const Fields& fields)
{
    const bool upgrade = kind == "upgrade";
    if (!upgrade && kind != "sendfile") {
        return "none";
    }
    const int handle = static_cast<int>(numberOf(fields, "handle"));
    Work w;
    {
        const std::lock_guard lock(work().mutex);
        const auto it = work().open.find(Key(upgrade, handle));
        if (it == work().open.end()) {
            return "none";
        }
        w = it->second;
        work().running = true;
    }
    if (upgrade) {
        w.progress(w.login, handle, numberOf(fields, "total"), numberOf(fields, "sent"), w.user);
    } else {
        w.sent(handle, numberOf(fields, "status"), numberOf(fields, "code"), numberOf(fields, "extra"), w.user);
    }
    const std::lock_guard lock(work().mutex);
    work().running = false;
    work().idle.notify_all();
    return "0";
}

void fakes::net::endDeviceWork(int login)
{
    std::unique_lock lock(work().mutex);
    work().idle.wait(lock, [] { return !work().running; });
    std::erase_if(work().open, [login](const auto& w) { return login == kAllLogins || w.second.login == login; });
}

int LUMONET_GetDevConfig(int nLoginID, int nNumber, int nChannel, void* pBuffer, int nSize, int* pReturned,
                         int nTimeoutMs)
{
    const char* name = "LUMONET_GetDevConfig";
    require(nNumber == LUMO_CONFIG_VERSION || nNumber == LUMO_CONFIG_TALK, name, "no such setting");
    const int size = nNumber == LUMO_CONFIG_VERSION ? sizeof(LumoVersionInfo) : sizeof(LumoTalkInfo);
    require(nSize == size, name, "a record of another size");
    requireAnswer(name, static_cast<const char*>(pBuffer), nSize, pReturned);
    const Answer a =
        call(name, Args().number(nLoginID).number(nNumber).number(nChannel).number(nSize).number(nTimeoutMs));
    if (a.result() > 0) {
        fillConfig(nNumber, pBuffer, a);
        *pReturned = nSize;
    }
    return a.result();
}

int LUMONET_SetDevConfig(int nLoginID, int nNumber, int nChannel, const void* pBuffer, int nSize, int nTimeoutMs)
{
    const char* name = "LUMONET_SetDevConfig";
    require(pBuffer && nSize >= 0, name, "no data");
    Args args;
    args.number(nLoginID).number(nNumber).number(nChannel);
    args.text({static_cast<const char*>(pBuffer), std::min(kBytesTold, static_cast<size_t>(nSize))});
    return call(name, args.number(nSize).number(nTimeoutMs)).result();
}

int LUMONET_GetChannelAbility_Json(int nLoginID, const char* szName, int nChannel, char* pBuffer, int nSize,
                                   int* pReturned, int nTimeoutMs)
{
    const char* name = "LUMONET_GetChannelAbility_Json";
    requireAnswer(name, pBuffer, nSize, pReturned);
    const Answer a = call(name, Args().number(nLoginID).text(szName).number(nChannel).number(nSize).number(nTimeoutMs));
    copyOutput(name, pBuffer, static_cast<size_t>(nSize), a);
    *pReturned = static_cast<int>(std::strlen(pBuffer));
    return a.result();
}

int LUMONET_GetSystemAbility_Json(int nLoginID, const char* szName, int nNumber, int nChannel, char* pBuffer, int nSize,
                                  int* pReturned, int nTimeoutMs)
{
    const char* name = "LUMONET_GetSystemAbility_Json";
    requireAnswer(name, pBuffer, nSize, pReturned);
    Args args;
    args.number(nLoginID).text(szName).number(nNumber).number(nChannel).number(nSize).number(nTimeoutMs);
    const Answer a = call(name, args);
    copyOutput(name, pBuffer, static_cast<size_t>(nSize), a);
    *pReturned = static_cast<int>(std::strlen(pBuffer));
    return a.result();
}

bool LUMONET_HasAbility(int nLoginID, const char* szPath, int nReserved)
{
    return call("LUMONET_HasAbility", Args().number(nLoginID).text(szPath).number(nReserved)).result() != 0;
}

/// The room that the text of a command is said to take must hold it.
static void requireInput(const char* name, const char* input, int size)
{
    require(input && size >= 0 && strlen(input) <= static_cast<size_t>(size), name, "the text is longer than told");
}

int LUMONET_CmdWithResult_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                               int nInputSize, char* pOutput, int nOutputSize, int* pReturned, int nTimeoutMs)
{
    const char* name = "LUMONET_CmdWithResult_Json";
    requireInput(name, szInput, nInputSize);
    requireAnswer(name, pOutput, nOutputSize, pReturned);
    Args args;
    args.number(nLoginID).text(szName).number(nNumber).number(nChannel).text(szInput).number(nInputSize);
    const Answer a = call(name, args.number(nOutputSize).number(nTimeoutMs));
    copyOutput(name, pOutput, static_cast<size_t>(nOutputSize), a);
    *pReturned = static_cast<int>(std::strlen(pOutput));
    return a.result();
}

int LUMONET_CmdWithOutput_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                               int nInputSize, char* pOutput, int nTimeoutMs)
{
    const char* name = "LUMONET_CmdWithOutput_Json";
    requireInput(name, szInput, nInputSize);
    require(pOutput != nullptr, name, "no room for the answer");
    Args args;
    args.number(nLoginID).text(szName).number(nNumber).number(nChannel).text(szInput).number(nInputSize);
    const Answer a = call(name, args.number(nTimeoutMs));
    copyOutput(name, pOutput, 65536, a); // as much as the contract lets a device answer
    return a.result();
}

int LUMONET_Cmd_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput, int nInputSize,
                     int nTimeoutMs)
{
    const char* name = "LUMONET_Cmd_Json";
    requireInput(name, szInput, nInputSize);
    Args args;
    args.number(nLoginID).text(szName).number(nNumber).number(nChannel).text(szInput).number(nInputSize);
    return call(name, args.number(nTimeoutMs)).result();
}

int LUMONET_SendFileDataToDevice(int nLoginID, const char* szPath, LumoSendFileCallback fnEnd, intptr_t nUser)
{
    const char* name = "LUMONET_SendFileDataToDevice";
    require(szPath && *szPath && fnEnd, name, "no path or no callback");
    return begin(name, Args().number(nLoginID).path(szPath), false, {nLoginID, fnEnd, nullptr, nUser});
}

int LUMONET_CloseSendFile(int nSendHandle, int nReserved, long nError, long nExtra)
{
    const char* name = "LUMONET_CloseSendFile";
    {
        const std::lock_guard lock(work().mutex);
        require(work().open.count(Key(false, nSendHandle)) != 0, name, "no such transfer");
    }
    const Answer a = call(name, Args().number(nSendHandle).number(nReserved).number(nError).number(nExtra));
    const std::lock_guard lock(work().mutex);
    work().open.erase(Key(false, nSendHandle));
    return a.result();
}

int LUMONET_StartLocalUpgrade(int nLoginID, const char* szPath, int nKind, LumoUpgradeCallback fnProgress,
                              intptr_t nUser)
{
    const char* name = "LUMONET_StartLocalUpgrade";
    require(szPath && fnProgress, name, "no path or no callback");
    return begin(name, Args().number(nLoginID).path(szPath).number(nKind), true,
                 {nLoginID, nullptr, fnProgress, nUser});
}

int LUMONET_StartOnlineUpgrade(int nLoginID, const char* szVersion, int nKind, LumoUpgradeCallback fnProgress,
                               intptr_t nUser)
{
    const char* name = "LUMONET_StartOnlineUpgrade";
    require(szVersion && fnProgress, name, "no version or no callback");
    return begin(name, Args().number(nLoginID).text(szVersion).number(nKind), true,
                 {nLoginID, nullptr, fnProgress, nUser});
}

int LUMONET_GetUpgradeState(int nUpgradeHandle)
{
    return call("LUMONET_GetUpgradeState", Args().number(nUpgradeHandle)).result();
}

void LUMONET_CloseUpgradeHandle(int nUpgradeHandle)
{
    require(nUpgradeHandle > 0, "LUMONET_CloseUpgradeHandle", "no handle");
    call("LUMONET_CloseUpgradeHandle", Args().number(nUpgradeHandle));
    std::unique_lock lock(work().mutex);
    work().idle.wait(lock, [] { return !work().running; });
    work().open.erase(Key(true, nUpgradeHandle));
}
