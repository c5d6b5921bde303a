#include "Device.h"

#include "RtspProbe.h"
#include "common/LocalText.h"

#include <algorithm>
#include <cstring>

namespace lumo::net
{
namespace
{

template <size_t N> void copyText(char (&to)[N], const std::string& utf8)
{
    const std::string from = localOfUtf8(utf8);
    const size_t size = std::min(from.size(), N - 1);
    std::memcpy(to, from.data(), size);
    to[size] = 0;
}

} // namespace

Device::Device(IoLoop& loop, const Timings& timings) : m_loop(loop), m_timings(timings) {}

std::unique_ptr<OnvifClient> Device::newClient(const Timings& timings) const
{
    return newConversation(timings, m_cancel);
}

std::unique_ptr<OnvifClient> Device::newConversation(const Timings& timings,
                                                     std::shared_ptr<const std::atomic<bool>> cancel) const
{
    auto client = std::make_unique<OnvifClient>(m_peer, timings, std::move(cancel));
    client->setSkew(m_clock->get().skewMs);
    client->setPaths(m_paths);
    return client;
}

int Device::loginOnvif(OnvifPeer peer, bool udp, NetDeviceInfo& info)
{
    m_peer = std::move(peer);
    m_host = m_peer.host;
    m_port = m_peer.port;
    m_udp = udp;
    m_address = resolveAddress(m_host, m_peer.port);
    if (!m_address.valid())
        return LUMONET_ERR_TIMEOUT;
    auto client = newClient(m_timings);
    // The time first and without credentials: digests carry it, and fail when it differs from the device's. A device
    // that tells it to nobody unknown is spoken to with ours.
    DeviceClock clock;
    const int clockError = client->readClock(clock);
    if (clockError == LUMONET_ERR_TIMEOUT)
        return clockError;
    m_clock->set(clock);
    if (const int error = client->readServices())
        return error;
    if (!m_peer.token.empty() && !client->knowsTokens())
        return LUMONET_ERR_UNSUPPORTED;
    OnvifInfo told;
    if (const int error = client->readInfo(told))
        return error;
    if (const int error = client->readChannels(m_channels))
        return error;
    m_paths = client->paths();
    m_serial = told.serial;
    m_asking = std::move(client);
    if (!m_paths.command.empty())
        m_commands.emplace("http://" + bracketed(m_host) + ":" + std::to_string(m_port) + m_paths.command, m_peer,
                           m_timings);
    copyText(info.szSoftwareVersion, told.firmware);
    copyText(info.szSerialNo, told.serial);
    copyText(info.szDeviceName, told.name);
    int year = 0, month = 0, day = 0;
    if (findDate(told.firmware, year, month, day)) {
        info.nBuildYear = year;
        info.nBuildMonth = month;
        info.nBuildDay = day;
    }
    info.nChannels = channels();
    return 0;
}

int Device::loginRtsp(const RtspUrl& url, const std::string& user, const std::string& password, NetDeviceInfo& info)
{
    m_plain = true;
    m_host = url.host;
    m_port = url.port;
    m_address = resolveAddress(url.host, url.port);
    if (!m_address.valid())
        return LUMONET_ERR_TIMEOUT;
    m_plainSource = {url, m_address, user.empty() ? url.user : user, user.empty() ? url.password : password, url.udp};
    if (const int error = probeRtsp(m_loop, m_plainSource, RtspOptions::Goal::Describe, m_timings.openMs))
        return error;
    m_channels.resize(1);
    copyText(info.szDeviceName, url.host);
    info.nChannels = 1;
    return 0;
}

void Device::adoptUri(const std::string& uri, StreamSource& source) const
{
    source.url = parseRtspUrl(withHost(uri, m_host));
    source.udp = m_udp || source.url.udp;
    source.address = m_address.withPort(source.url.port);
    const bool token = !m_peer.token.empty();
    source.user = token ? "token" : m_peer.user;
    source.password = token ? m_peer.token : m_peer.password;
}

int Device::findSource(int channel, int stream, StreamSource& source)
{
    if (channel < 0 || channel >= channels() || stream < 0 || stream > 1)
        return LUMONET_ERR_ARGUMENT;
    if (m_plain) {
        source = m_plainSource;
        return 0;
    }
    const std::string& profile = m_channels[size_t(channel)].profiles[size_t(stream)];
    if (profile.empty())
        return LUMONET_ERR_UNSUPPORTED;
    std::lock_guard lock(m_sourceMutex);
    if (canceled())
        return LUMONET_ERR_TIMEOUT;
    if (const auto known = m_sources.find({channel, stream}); known != m_sources.end()) {
        source = known->second;
        return 0;
    }
    std::string uri;
    if (const int error = m_asking->readStreamUri(profile, m_udp, uri))
        return error;
    adoptUri(uri, source);
    if (!source.url.valid)
        return LUMONET_ERR_REFUSED;
    m_sources[{channel, stream}] = source;
    return 0;
}

void Device::forgetSource(int channel, int stream)
{
    std::lock_guard lock(m_sourceMutex);
    m_sources.erase({channel, stream});
}

/// A device says which channel a recording is of by the token of its video source, or of a profile; one that says
/// nothing of use has its recordings in the order of its channels.
const OnvifRecording* Device::recordingOf(int channel, int64_t utcMs) const
{
    const OnvifChannel& wanted = m_channels[size_t(channel)];
    const OnvifRecording* best = nullptr;
    bool anyNamed = false;
    for (const auto& r : m_recordings) {
        const bool named =
            r.source == wanted.source || r.source == wanted.profiles[0] || r.source == wanted.profiles[1];
        anyNamed = anyNamed || std::any_of(m_channels.begin(), m_channels.end(), [&](const OnvifChannel& c) {
                       return r.source == c.source || r.source == c.profiles[0] || r.source == c.profiles[1];
                   });
        const bool holds = utcMs >= r.earliestMs && utcMs <= r.latestMs;
        if (named && (!best || holds))
            best = &r;
    }
    if (!best && !anyNamed && size_t(channel) < m_recordings.size() && m_recordings.size() == m_channels.size())
        best = &m_recordings[size_t(channel)];
    return best;
}

int Device::findReplay(int channel, const std::string& token, int64_t utcMs, StreamSource& source)
{
    if (channel < 0 || channel >= channels())
        return LUMONET_ERR_ARGUMENT;
    if (m_plain || m_paths.replay.empty())
        return LUMONET_ERR_UNSUPPORTED;
    std::lock_guard lock(m_sourceMutex);
    if (canceled())
        return LUMONET_ERR_TIMEOUT;
    std::string recording = token;
    if (recording.empty()) {
        const OnvifRecording* found = recordingOf(channel, utcMs);
        if (!found || utcMs > found->latestMs) { // asked before, and more was recorded since
            if (const int error = m_asking->findRecordings(m_recordings))
                return error;
            found = recordingOf(channel, utcMs);
        }
        if (!found)
            return LUMONET_ERR_REFUSED;
        recording = found->token;
    }
    if (const auto known = m_replays.find(recording); known != m_replays.end()) {
        source = known->second;
        return 0;
    }
    std::string uri;
    if (const int error = m_asking->readReplayUri(recording, uri))
        return error;
    adoptUri(uri, source);
    source.udp = false; // what is replayed must arrive whole
    if (!source.url.valid)
        return LUMONET_ERR_REFUSED;
    m_replays[recording] = source;
    return 0;
}

int Device::findPicture(int channel, int stream, const std::string& query, std::string& url)
{
    if (channel < 0 || channel >= channels())
        return LUMONET_ERR_ARGUMENT;
    if (m_plain)
        return LUMONET_ERR_UNSUPPORTED;
    const std::string& profile = m_channels[size_t(channel)].profiles[stream == 1 ? 1 : 0];
    std::string uri;
    {
        std::lock_guard lock(m_sourceMutex);
        if (const int error = canceled() ? LUMONET_ERR_TIMEOUT : m_asking->readSnapshotUri(profile, uri))
            return error;
    }
    url = "http://" + bracketed(m_host) + ":" + std::to_string(m_port) + pathOf(uri);
    if (!query.empty())
        url += (url.find('?') == std::string::npos ? "?" : "&") + query;
    return 0;
}

int Device::fetchPicture(const std::string& url, std::shared_ptr<const std::atomic<bool>> cancel,
                         std::string& jpeg) const
{
    HttpClient http(m_timings.connectMs, m_timings.requestMs, std::move(cancel));
    std::vector<std::string> headers;
    if (m_peer.token.empty())
        http.setCredentials(m_peer.user, m_peer.password);
    else
        headers.push_back("X-Lumo-Token: " + m_peer.token);
    const HttpReply reply = http.get(url, headers);
    if (reply.error != 0)
        return reply.error;
    if (reply.status == 401)
        return LUMONET_ERR_PASSWORD;
    if (reply.status != 200 || !reply.body.starts_with("\xFF\xD8"))
        return LUMONET_ERR_REFUSED;
    jpeg = reply.body;
    return 0;
}

void Device::requestKeyFrame(int channel, int stream)
{
    std::lock_guard lock(m_keyFrameMutex);
    if (canceled() || m_noKeyFrameCall)
        return;
    if (!m_keyFrameAsking)
        m_keyFrameAsking = newClient(m_timings);
    m_keyFrameAsking->setSkew(m_clock->get().skewMs);
    const std::string& profile = m_channels[size_t(channel)].profiles[size_t(stream)];
    if (m_keyFrameAsking->requestKeyFrame(profile) == LUMONET_ERR_UNSUPPORTED)
        m_noKeyFrameCall = true;
}

bool Device::answers()
{
    if (m_plain)
        return probeRtsp(m_loop, m_plainSource, RtspOptions::Goal::Options, m_timings.watchRequestMs) == 0;
    if (!m_watching) {
        Timings quick = m_timings;
        quick.connectMs = quick.requestMs = m_timings.watchRequestMs;
        m_watching = newClient(quick);
    }
    // The answer brings the device's time along, summer time included.
    DeviceClock clock;
    const int error = m_watching->readClock(clock);
    if (error == 0 && clock.knowsOffset)
        m_clock->set(clock);
    return error != LUMONET_ERR_TIMEOUT;
}

} // namespace lumo::net
