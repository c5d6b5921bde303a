#include "Engine.h"

#include "Text.h"
#include "common/LocalText.h"

#include <algorithm>
#include <cstdio>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxTasks = 256;

/// "10.0.0.9", "http://10.0.0.9", "10.0.0.9:8080", "[::1]", each with ?transport=udp behind it if wished.
OnvifPeer peerOf(std::string address, int port, bool& udp)
{
    OnvifPeer peer;
    udp = false;
    if (const size_t mark = address.find('?'); mark != std::string::npos) {
        udp = sameText(trim(std::string_view(address).substr(mark + 1)), "transport=udp");
        address.resize(mark);
    }
    if (address.starts_with("http://"))
        address.erase(0, 7);
    if (const size_t slash = address.find('/'); slash != std::string::npos) {
        if (slash + 1 < address.size())
            peer.path = address.substr(slash);
        address.resize(slash);
    }
    peer.port = uint16_t(port > 0 ? port : 80);
    if (address.starts_with('[')) {
        const size_t end = std::min(address.find(']'), address.size());
        peer.host = address.substr(1, end - 1);
    } else if (std::count(address.begin(), address.end(), ':') == 1) {
        const size_t colon = address.find(':');
        peer.host = address.substr(0, colon);
        if (const int64_t told = toNumber(std::string_view(address).substr(colon + 1), 0); told > 0 && told < 65536)
            peer.port = uint16_t(told);
    } else {
        peer.host = address;
    }
    return peer;
}

/// Stands only for characters that an address can hold; anything else would end up in a request line.
bool soundHost(const std::string& host)
{
    return !host.empty() && host.size() < 256 && std::all_of(host.begin(), host.end(), [](unsigned char c) {
        return std::isalnum(c) || c == '.' || c == '-' || c == ':' || c == '_' || c == '%';
    });
}

} // namespace

Engine::Engine(const Timings& timings, DiscoveryOptions discovery, LumoDisconnectCallback fn, void* user)
    : m_timings(timings), m_discovery(discovery), m_disconnect(fn), m_disconnectUser(user),
      m_watchdog([this] { watch(); }), m_worker([this] { work(); })
{
}

Engine::~Engine()
{
    logoutAll();
    {
        std::lock_guard lock(m_waitMutex);
        m_stop = true;
        m_waitChanged.notify_all();
    }
    m_watchdog.join();
    m_worker.join();
}

void Engine::logoutAll()
{
    std::vector<int> open;
    {
        std::lock_guard lock(m_mutex);
        for (const auto& [handle, login] : m_logins)
            open.push_back(handle);
    }
    for (const int handle : open)
        logout(handle);
}

int Engine::adopt(std::shared_ptr<Device> device)
{
    std::lock_guard lock(m_mutex);
    const int handle = m_loginHandles.next(m_logins);
    Login& login = m_logins[handle];
    login.device = std::move(device);
    login.nextCheck = IoLoop::nowMs() + m_timings.watchPeriodMs;
    m_waitChanged.notify_all();
    return handle;
}

int Engine::login(const std::string& address, int port, const std::string& user, const std::string& password, int kind,
                  NetDeviceInfo& info)
{
    if (kind == LUMO_LOGIN_BY_SERIAL)
        return loginBySerial(address, {{}, 80, {}, user, password, {}}, info);
    if (kind != LUMO_LOGIN_BY_ADDRESS || port < 0 || port > 65535)
        return LUMONET_ERR_ARGUMENT;
    auto device = std::make_shared<Device>(m_loop, m_timings);
    int error;
    if (sameText(std::string_view(address).substr(0, 7), "rtsp://")) {
        const RtspUrl url = parseRtspUrl(address);
        error = url.valid && soundHost(url.host) ? device->loginRtsp(url, user, password, info) : LUMONET_ERR_ARGUMENT;
    } else {
        bool udp = false;
        OnvifPeer peer = peerOf(std::string(trim(address)), port, udp);
        peer.user = user;
        peer.password = password;
        error = soundHost(peer.host) ? device->loginOnvif(std::move(peer), udp, info) : LUMONET_ERR_ARGUMENT;
    }
    return error != 0 ? error : adopt(std::move(device));
}

int Engine::loginByToken(const std::string& serial, const std::string& token, NetDeviceInfo& info)
{
    // It travels in a header line of its own.
    const bool sound = std::all_of(token.begin(), token.end(), [](char c) { return uint8_t(c) > ' ' && c != 127; });
    if (token.empty() || !sound)
        return LUMONET_ERR_ARGUMENT;
    OnvifPeer peer;
    peer.token = token;
    return loginBySerial(serial, std::move(peer), info);
}

int Engine::loginBySerial(const std::string& serial, OnvifPeer peer, NetDeviceInfo& info)
{
    if (trim(serial).empty())
        return LUMONET_ERR_ARGUMENT;
    auto found = discover(m_discovery, serial, m_stop);
    // Only a device that says it is the one gets to see credentials: attempts elsewhere could lock a user out there.
    std::erase_if(found, [&](const DiscoveredDevice& d) { return !d.names(serial); });
    if (found.empty()) {
        const std::string why = "no device with serial number " + serial + " answered on this network";
        std::snprintf(info.szCloudError, sizeof info.szCloudError, "%s", localOfUtf8(why).c_str());
        return LUMONET_ERR_CLOUD;
    }
    int error = LUMONET_ERR_CLOUD;
    for (const auto& candidate : found) {
        peer.host = candidate.host;
        peer.port = candidate.port;
        peer.path = candidate.path;
        auto device = std::make_shared<Device>(m_loop, m_timings);
        NetDeviceInfo told = info;
        error = device->loginOnvif(peer, false, told);
        if (error == 0 && sameText(device->serial(), serial)) {
            info = told;
            return adopt(std::move(device));
        }
        if (error == 0)
            error = LUMONET_ERR_CLOUD;
        if (error != LUMONET_ERR_TIMEOUT)
            break; // it answered and refused; the others are the same device at another address
    }
    return error;
}

std::shared_ptr<Device> Engine::deviceOf(int login, int& error)
{
    std::lock_guard lock(m_mutex);
    const auto found = m_logins.find(login);
    error = found == m_logins.end() ? LUMONET_ERR_NOT_LOGGED_IN : 0;
    if (error != 0)
        return nullptr;
    if (found->second.device->lost())
        error = LUMONET_ERR_TIMEOUT;
    return found->second.device;
}

int Engine::checkLogin(int login)
{
    int error = 0;
    deviceOf(login, error);
    return error == LUMONET_ERR_NOT_LOGGED_IN ? error : 0;
}

int Engine::logout(int handle)
{
    std::shared_ptr<Device> device;
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_logins.find(handle);
        if (found == m_logins.end())
            return LUMONET_ERR_NOT_LOGGED_IN;
        device = found->second.device;
    }
    device->cancel();
    closeStreams(handle);
    closeTransfers(handle);
    {
        std::lock_guard lock(m_mutex);
        m_logins.erase(handle);
    }
    closeStreams(handle); // those that were being opened meanwhile
    closeTransfers(handle);
    std::lock_guard quiet(m_disconnectMutex);
    return 0;
}

void Engine::closeStreams(int login)
{
    std::vector<std::shared_ptr<LiveStream>> closing;
    {
        std::lock_guard lock(m_mutex);
        for (auto i = m_streams.begin(); i != m_streams.end();) {
            if (i->second.login != login) {
                ++i;
                continue;
            }
            closing.push_back(std::move(i->second.live));
            i = m_streams.erase(i);
        }
    }
    for (const auto& live : closing)
        live->close();
}

int Engine::realPlay(int login, const StreamOpenInfo& wanted)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    StreamSource source;
    error = device->findSource(wanted.nChannel, wanted.nStream, source);
    if (error != 0)
        return error;
    std::shared_ptr<LiveStream> live;
    int handle = 0;
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_logins.find(login);
        if (found == m_logins.end() || device->lost())
            return LUMONET_ERR_NOT_LOGGED_IN;
        handle = m_streamHandles.next(m_streams);
        live = std::make_shared<LiveStream>(m_loop, handle, std::move(source), m_timings, device->clock());
        m_streams[handle] = {live, login};
    }
    error = live->open();
    if (error == 0)
        return handle;
    live->close();
    // The device may have it elsewhere by now.
    device->forgetSource(wanted.nChannel, wanted.nStream);
    std::lock_guard lock(m_mutex);
    m_streams.erase(handle);
    return error;
}

std::shared_ptr<LiveStream> Engine::streamOf(int stream)
{
    std::lock_guard lock(m_mutex);
    const auto found = m_streams.find(stream);
    return found == m_streams.end() ? nullptr : found->second.live;
}

int Engine::stopRealPlay(int stream)
{
    std::shared_ptr<LiveStream> live;
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_streams.find(stream);
        if (found == m_streams.end())
            return LUMONET_ERR_NOT_LOGGED_IN;
        live = std::move(found->second.live);
        m_streams.erase(found);
    }
    live->close();
    return 0;
}

int Engine::setCallback(int stream, LumoRealDataCallback fn, intptr_t user)
{
    const auto live = streamOf(stream);
    if (!live)
        return LUMONET_ERR_NOT_LOGGED_IN;
    live->setCallback(fn, user);
    return 0;
}

int Engine::setCallbackV2(int stream, LumoRealDataCallback_V2 fn, intptr_t user)
{
    const auto live = streamOf(stream);
    if (!live)
        return LUMONET_ERR_NOT_LOGGED_IN;
    live->setCallbackV2(fn, user);
    return 0;
}

int Engine::removeCallback(int stream)
{
    const auto live = streamOf(stream);
    if (!live)
        return LUMONET_ERR_NOT_LOGGED_IN;
    return live->removeCallback() ? 0 : LUMONET_ERR_ARGUMENT;
}

int Engine::removeCallbackV2(int stream)
{
    const auto live = streamOf(stream);
    if (!live)
        return LUMONET_ERR_NOT_LOGGED_IN;
    return live->removeCallbackV2() ? 0 : LUMONET_ERR_ARGUMENT;
}

int Engine::requestKeyFrame(int login, int channel, int streamNumber)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (channel < 0 || channel >= device->channels() || streamNumber < 0 || streamNumber > 1)
        return LUMONET_ERR_ARGUMENT;
    if (!device->canRequestKeyFrame())
        return LUMONET_ERR_UNSUPPORTED;
    post([device, channel, streamNumber] { device->requestKeyFrame(channel, streamNumber); });
    return 0;
}

void Engine::post(std::function<void()> task)
{
    std::lock_guard lock(m_waitMutex);
    if (m_tasks.size() < kMaxTasks) // a key frame more or less; and what is not let go now, a logout lets go
        m_tasks.push_back(std::move(task));
    m_waitChanged.notify_all();
}

void Engine::work()
{
    std::unique_lock lock(m_waitMutex);
    while (true) {
        m_waitChanged.wait(lock, [this] { return m_stop || !m_tasks.empty(); });
        if (m_stop)
            return;
        const auto task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

void Engine::watch()
{
    while (!m_stop) {
        std::vector<std::pair<int, std::shared_ptr<Device>>> dueNow;
        const int64_t now = IoLoop::nowMs();
        int64_t next = now + m_timings.watchPeriodMs;
        {
            std::lock_guard lock(m_mutex);
            for (auto& [handle, login] : m_logins) {
                if (login.device->lost())
                    continue;
                if (login.nextCheck <= now) {
                    login.nextCheck = now + m_timings.watchPeriodMs;
                    dueNow.emplace_back(handle, login.device);
                }
                next = std::min(next, login.nextCheck);
            }
        }
        for (const auto& [handle, device] : dueNow)
            check(handle, device);
        std::unique_lock lock(m_waitMutex);
        if (!m_stop)
            m_waitChanged.wait_for(lock, std::chrono::milliseconds(std::max<int64_t>(next - IoLoop::nowMs(), 1)));
    }
}

void Engine::check(int handle, const std::shared_ptr<Device>& device)
{
    const bool answered = device->answers();
    if (device->canceled())
        return;
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_logins.find(handle);
        if (found == m_logins.end() || found->second.device != device)
            return;
        found->second.failures = answered ? 0 : found->second.failures + 1;
        if (found->second.failures < m_timings.watchFailures)
            return;
    }
    declareLost(handle, device);
}

/// The login's handle stays, so that its owner can log out, and every further call fails at once. Streams that flow
/// go on: the part of a device that tells the time may fail alone.
void Engine::declareLost(int handle, const std::shared_ptr<Device>& device)
{
    device->setLost();
    std::vector<std::shared_ptr<LiveStream>> streams;
    std::vector<std::shared_ptr<Transfer>> transfers;
    {
        std::lock_guard lock(m_mutex);
        for (const auto& [key, stream] : m_streams)
            if (stream.login == handle)
                streams.push_back(stream.live);
        for (const auto& [key, running] : m_transfers)
            if (running.login == handle)
                transfers.push_back(running.transfer);
    }
    for (const auto& transfer : transfers)
        transfer->cancelOpen(LUMONET_ERR_TIMEOUT);
    for (const auto& live : streams)
        live->cancelOpen(LUMONET_ERR_TIMEOUT);
    std::lock_guard quiet(m_disconnectMutex);
    {
        std::lock_guard lock(m_mutex);
        if (!m_logins.count(handle))
            return; // logged out meanwhile
    }
    std::string host = localOfUtf8(device->host());
    if (m_disconnect)
        m_disconnect(handle, host.data(), device->port(), m_disconnectUser);
}

} // namespace lumo::net
