#include "AlarmChannel.h"

#include "IoLoop.h"
#include "Log.h"

#include <algorithm>

namespace lumo::net
{
namespace
{

constexpr int kEventsAtOnce = 200;
constexpr int kShortestPullMs = 500;

/// What was refused once for its password must not be sent again.
bool refusedUs(int error)
{
    return error == LUMONET_ERR_PASSWORD || error == LUMONET_ERR_USER || error == LUMONET_ERR_LOCKED;
}

} // namespace

AlarmChannel::AlarmChannel(int login, const Timings& timings, Wiring wiring)
    : BackgroundTask(timings.handleReturnMs), m_login(login), m_timings(timings), m_wiring(std::move(wiring)),
      m_backoff(timings)
{
}

/// Once for each way to fail in a row: a device may be away for days.
void AlarmChannel::complain(int error)
{
    if (error != m_told && !canceled())
        log("alarms of login " + std::to_string(m_login) + ": " + errorText(error));
    m_told = error;
}

void AlarmChannel::work()
{
    const auto client = m_wiring.connect(m_timings, cancelFlag());
    for (bool again = false; !canceled(); again = true) {
        // A device that was away may have another time now, and digests carry it.
        DeviceClock clock;
        int error = again ? client->readClock(clock) : 0;
        if (error != LUMONET_ERR_TIMEOUT)
            error = listen(*client);
        if (canceled())
            return;
        complain(error);
        if (refusedUs(error) || error == LUMONET_ERR_UNSUPPORTED || !wait(m_backoff.nextMs()))
            return;
    }
}

/// Subscribes and pulls until something fails.
int AlarmChannel::listen(OnvifClient& client)
{
    if (m_wiring.sources.inputs.empty()) {
        std::vector<std::string> inputs;
        client.readInputs(inputs);
        for (size_t i = 0; i < inputs.size(); ++i)
            m_wiring.sources.inputs[inputs[i]] = int(i);
    }
    OnvifPullPoint point;
    if (const int error = client.createPullPoint(m_timings.alarmKeepMs, point))
        return error;
    m_book.beginAnew();
    const int error = pull(client, point);
    // Devices have few such places: one that still answers is told that this one is free.
    if (canceled() || (error != LUMONET_ERR_TIMEOUT && !refusedUs(error)))
        farewell(point);
    return error;
}

int AlarmChannel::pull(OnvifClient& client, OnvifPullPoint& point)
{
    const int64_t begun = IoLoop::nowMs();
    int64_t renewAt = begun + point.lifeMs / 2;
    while (true) {
        int events = 0;
        std::vector<AlarmNotice> notices;
        const int holdMs = int(std::clamp<int64_t>(point.lifeMs / 4, kShortestPullMs, m_timings.alarmPullMs));
        const int64_t asked = IoLoop::nowMs();
        if (const int error = client.pullEvents(point, holdMs, kEventsAtOnce, m_wiring.sources, events, notices))
            return error;
        m_backoff.reset();
        m_told = 0;
        const int64_t now = IoLoop::nowMs();
        std::vector<LumoAlarmMessage> messages;
        for (const AlarmNotice& notice : notices)
            m_book.take(notice, now, messages);
        // A device first tells how everything stands, in as many answers as it likes. One without any event is not
        // waited for: there may be something every moment.
        const bool stillTelling = std::any_of(notices.begin(), notices.end(), [](auto& n) { return n.told; });
        if (!stillTelling && events < kEventsAtOnce && now - begun >= m_timings.alarmIdleMs)
            m_book.settle(messages);
        hand(messages);
        if (now >= renewAt) {
            const int error = client.renewPullPoint(m_timings.alarmKeepMs, point);
            if (error != 0 && error != LUMONET_ERR_UNSUPPORTED) // pulling keeps it with those that know no Renew
                return error;
            renewAt = IoLoop::nowMs() + point.lifeMs / 2;
        }
        const bool atOnce = now - asked < holdMs / 2;
        const int pauseMs = events >= kEventsAtOnce ? 0
                            : events > 0            ? m_timings.alarmGatherMs
                            : atOnce                ? m_timings.alarmIdleMs
                                                    : 0;
        if (!wait(pauseMs))
            return LUMONET_ERR_NOT_LOGGED_IN;
    }
}

void AlarmChannel::hand(const std::vector<LumoAlarmMessage>& messages)
{
    for (const LumoAlarmMessage& message : messages) {
        if (canceled())
            return;
        m_wiring.tell(message);
    }
}

/// Not by the cancelled conversation, and not for long: a logout waits for it.
void AlarmChannel::farewell(const OnvifPullPoint& point)
{
    Timings quick = m_timings;
    quick.connectMs = quick.requestMs = m_timings.alarmFarewellMs;
    m_wiring.connect(quick, std::make_shared<std::atomic<bool>>(false))->endPullPoint(point);
}

} // namespace lumo::net
