// What a login offers beside pictures: loudspeakers, abilities, and places for files.
#include "Device.h"

#include "RtspProbe.h"

#include <algorithm>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxAbilities = 4u << 20; // bytes

} // namespace

int Device::talkList(int timeoutMs, std::vector<bool>& talks)
{
    std::lock_guard lock(m_talkMutex);
    if (canceled())
        return LUMONET_ERR_TIMEOUT;
    if (m_talks) {
        talks = *m_talks;
        return 0;
    }
    talks.assign(m_channels.size(), false);
    Timings timings = m_timings;
    if (timeoutMs > 0)
        timings.requestMs = timings.openMs = timeoutMs;
    int error = 0;
    if (m_plain) {
        error = probeRtsp(m_loop, m_plainSource, RtspOptions::Goal::Describe, timings.openMs, true);
        talks[0] = error == 0;
    } else if (std::any_of(m_channels.begin(), m_channels.end(), [](const OnvifChannel& c) { return c.talks; })) {
        for (size_t i = 0; i < talks.size(); ++i)
            talks[i] = m_channels[i].talks;
    } else {
        int outputs = 0;
        error = newClient(timings)->readAudioOutputs(outputs);
        std::fill_n(talks.begin(), std::min(size_t(std::max(outputs, 0)), talks.size()), true);
    }
    if (error != 0 && error != LUMONET_ERR_UNSUPPORTED && error != LUMONET_ERR_REFUSED)
        return error;
    m_talks = talks;
    return 0;
}

int Device::talkSources(int channel, std::vector<StreamSource>& sources)
{
    std::vector<bool> talks;
    if (channel < kDeviceItself || channel >= channels())
        return LUMONET_ERR_ARGUMENT;
    if (const int error = talkList(0, talks))
        return error;
    int first = 0;
    for (int i = 0; i < channels(); ++i) {
        const bool wanted = channel < 0 || channel == i;
        if (!wanted || !talks[size_t(i)] || (channel == kDeviceItself && !sources.empty()))
            continue;
        StreamSource source;
        if (const int error = findSource(i, 0, source))
            first = first != 0 ? first : error;
        else
            sources.push_back(std::move(source));
    }
    if (!sources.empty())
        return 0;
    return first != 0 ? first : int(LUMONET_ERR_UNSUPPORTED);
}

AlarmSources Device::alarmSources() const
{
    AlarmSources sources;
    for (int i = 0; i < channels(); ++i) {
        const OnvifChannel& channel = m_channels[size_t(i)];
        for (const std::string& name : channel.names)
            sources.channels.emplace(name, i);
    }
    // Their own tokens last, and over all others: devices may use one word twice.
    for (int i = 0; i < channels(); ++i)
        sources.channels[m_channels[size_t(i)].source] = i;
    sources.channels.erase("");
    return sources;
}

int Device::hasAbility(const std::string& path, bool& has)
{
    has = false;
    if (!m_commands)
        return LUMONET_ERR_UNSUPPORTED;
    std::lock_guard lock(m_abilityMutex);
    if (!m_abilities) {
        JsonQuestion question;
        question.name = "bypass@SystemFunction";
        question.number = LUMO_ABILITY_SYSTEM;
        question.maxAnswer = kMaxAbilities;
        m_abilities.emplace();
        m_abilityError = m_commands->ability(question, m_cancel, *m_abilities);
    }
    has = m_abilityError == 0 && boolAtPath(*m_abilities, path);
    return m_abilityError;
}

int Device::startUpload(const char* operation, int timeoutMs, OnvifUpload& upload)
{
    if (m_plain)
        return LUMONET_ERR_UNSUPPORTED;
    Timings timings = m_timings;
    if (timeoutMs > 0)
        timings.requestMs = timeoutMs;
    return newClient(timings)->startUpload(operation, upload);
}

int Device::sendUpload(const std::string& url, const HttpUpload& upload,
                       std::shared_ptr<const std::atomic<bool>> cancel) const
{
    HttpClient http(m_timings.connectMs, 0, std::move(cancel));
    std::vector<std::string> headers;
    if (m_peer.token.empty())
        http.setCredentials(m_peer.user, m_peer.password);
    else
        headers.push_back("X-Lumo-Token: " + m_peer.token);
    const HttpReply reply = http.upload(url, upload, headers);
    if (reply.error != 0)
        return reply.error;
    if (reply.status == 401)
        return LUMONET_ERR_PASSWORD;
    return reply.status >= 200 && reply.status < 300 ? 0 : int(LUMONET_ERR_REFUSED);
}

} // namespace lumo::net
