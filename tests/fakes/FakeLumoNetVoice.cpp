// The recording LumoNet's talks. Strict: a talk is stopped once, nothing is sent after its stop, and no more than a
// frame is in what was sent.
#include "FakeLumoNet.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>

using namespace fakes::net;

namespace
{

struct Talk {
    int login = 0;
    LumoVoiceCallback voice = nullptr;
    intptr_t user = 0;
};

struct Talks {
    std::mutex mutex;
    std::condition_variable idle;
    std::map<int, Talk> running;
    int inCallback = 0; // the talk whose callback is running; 0 none
};

Talks& talks()
{
    static Talks* instance = new Talks; // never destroyed: threads outlive main
    return *instance;
}

/// Known from the moment that the script answers its handle.
int startTalk(const char* name, int login, const Args& args, LumoVoiceCallback voice, intptr_t user)
{
    require(voice != nullptr, name, "no callback");
    const auto remember = [&](const Answer& a) {
        if (a.result() > 0) {
            const std::lock_guard lock(talks().mutex);
            require(talks().running.emplace(a.result(), Talk{login, voice, user}).second, name,
                    "the script gives a talk handle that is in use");
        }
    };
    return call(name, args, false, remember).result();
}

std::string hexOf(const uint8_t* bytes, int count)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

} // namespace

std::string fakes::net::raiseVoice(const Fields& f)
{
    const int handle = std::atoi(f.at("handle").c_str());
    Talk talk;
    {
        const std::lock_guard lock(talks().mutex);
        const auto it = talks().running.find(handle);
        if (it == talks().running.end()) {
            return "none";
        }
        talk = it->second;
        talks().inCallback = handle;
    }
    std::string data = f.at("data");
    talk.voice(handle, reinterpret_cast<uint8_t*>(data.data()), static_cast<long>(data.size()),
               std::atol(f.at("type").c_str()), talk.user);
    const std::lock_guard lock(talks().mutex);
    talks().inCallback = 0;
    talks().idle.notify_all();
    return "0";
}

void fakes::net::endTalks(int login)
{
    std::unique_lock lock(talks().mutex);
    talks().idle.wait(lock, [] { return talks().inCallback == 0; });
    std::erase_if(talks().running, [login](const auto& t) { return login == kAllLogins || t.second.login == login; });
}

int LUMONET_StartVoiceCom_MR(int nLoginID, LumoVoiceCallback fnVoice, intptr_t nUser)
{
    return startTalk("LUMONET_StartVoiceCom_MR", nLoginID, Args().number(nLoginID), fnVoice, nUser);
}

int LUMONET_StartVoiceCom_NVR_IPC(int nLoginID, int nChannel, LumoVoiceCallback fnVoice, intptr_t nUser)
{
    const char* name = "LUMONET_StartVoiceCom_NVR_IPC";
    require(nChannel >= -1 && nChannel <= 119, name, "no such channel");
    return startTalk(name, nLoginID, Args().number(nLoginID).number(nChannel), fnVoice, nUser);
}

/// The frame in hexadecimal: the header, a blank, and the payload, which is shortened to "d5*320" when it is one byte
/// again and again.
uint8_t LUMONET_VoiceComSendData(int nTalkHandle, const uint8_t* pFrame, int nSize)
{
    constexpr int kHeader = 8;
    const char* name = "LUMONET_VoiceComSendData";
    require(pFrame && nSize >= kHeader, name, "no frame");
    {
        const std::lock_guard lock(talks().mutex);
        require(talks().running.count(nTalkHandle) != 0, name, "no such talk");
    }
    const int count = nSize - kHeader;
    const uint8_t* payload = pFrame + kHeader;
    const bool same = count > 1 && std::all_of(payload, payload + count, [&](uint8_t b) { return b == payload[0]; });
    const std::string text = same ? hexOf(payload, 1) + "*" + std::to_string(count) : hexOf(payload, count);
    return static_cast<uint8_t>(
        call(name, Args().number(nTalkHandle).text(hexOf(pFrame, kHeader) + " " + text)).result());
}

int LUMONET_StopVoiceCom(int nTalkHandle)
{
    const char* name = "LUMONET_StopVoiceCom";
    const Answer a = call(name, Args().number(nTalkHandle));
    std::unique_lock lock(talks().mutex);
    require(talks().running.count(nTalkHandle) != 0, name, "no such talk");
    talks().idle.wait(lock, [&] { return talks().inCallback != nTalkHandle; });
    talks().running.erase(nTalkHandle);
    return a.result();
}
