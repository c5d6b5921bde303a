// The recording LumoNet's messages. Strict: a channel is opened once for a login that stands, with a callback to go to.
#include "FakeLumoNet.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <vector>

using namespace fakes::net;

namespace
{

struct Messages {
    std::mutex mutex;
    std::condition_variable idle;
    LumoMessageCallback callback = nullptr;
    void* user = nullptr;
    std::set<int> channels; // logins whose messages are heard
    bool running = false;   // the callback
};

Messages& messages()
{
    static Messages* instance = new Messages; // never destroyed: threads outlive main
    return *instance;
}

int numberOf(const Fields& f, const char* key)
{
    return std::atoi(f.at(key).c_str());
}

} // namespace

/// The same message so many times in a row. Its bytes lie in memory of just their size, so that a sanitizer sees who
/// reads beyond them.
std::string fakes::net::raiseAlarm(const Fields& f)
{
    const int login = numberOf(f, "login");
    {
        const std::lock_guard lock(messages().mutex);
        if (messages().channels.count(login) == 0) {
            return "none";
        }
        messages().running = true;
    }
    LumoAlarmMessage message{};
    message.nChannel = numberOf(f, "channel");
    message.nEvent = numberOf(f, "event");
    message.nStatus = numberOf(f, "status");
    std::vector<char> bytes(static_cast<size_t>(numberOf(f, "size")));
    if (!bytes.empty()) {
        std::copy_n(reinterpret_cast<const char*>(&message), std::min(bytes.size(), sizeof message), bytes.begin());
    }
    bool result = true;
    for (int i = numberOf(f, "times"); i > 0; --i) {
        result = messages().callback(login, bytes.data(), bytes.size(), messages().user, numberOf(f, "kind")) && result;
    }
    const std::lock_guard lock(messages().mutex);
    messages().running = false;
    messages().idle.notify_all();
    return result ? "1" : "0";
}

void fakes::net::endMessages(int login)
{
    std::unique_lock lock(messages().mutex);
    messages().idle.wait(lock, [] { return !messages().running; });
    std::erase_if(messages().channels, [login](int l) { return login == kAllLogins || l == login; });
}

void LUMONET_SetMessageCallback(LumoMessageCallback fnMessage, void* pUser)
{
    call("LUMONET_SetMessageCallback", Args());
    std::unique_lock lock(messages().mutex);
    messages().idle.wait(lock, [] { return !messages().running; });
    messages().callback = fnMessage;
    messages().user = pUser;
}

int LUMONET_OpenMessageChannel(int nLoginID)
{
    const char* name = "LUMONET_OpenMessageChannel";
    requireLogin(name, nLoginID);
    const Answer a = call(name, Args().number(nLoginID));
    const std::lock_guard lock(messages().mutex);
    require(messages().callback != nullptr, name, "no message callback is set");
    if (a.result() > 0) {
        require(messages().channels.insert(nLoginID).second, name, "opened twice for one login");
    }
    return a.result();
}
