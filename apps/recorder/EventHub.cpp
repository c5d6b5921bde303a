#include "EventHub.h"

#include "DeviceZone.h"

#include <glib.h>

#include <algorithm>
#include <utility>

namespace lumo::recorder
{
namespace
{

std::string isoText(int64_t unixSeconds)
{
    std::string text = civilText(unixSeconds);
    text[10] = 'T';
    return text + "Z";
}

struct Property {
    const char* topic;
    const char* source; // the name of the source's item
    const char* token;  // its value, before the number
    const char* state;  // the name of the state's item
};

Property propertyOf(AlarmKind kind)
{
    switch (kind) {
    case AlarmKind::Motion:
        return {"tns1:VideoSource/MotionAlarm", "Source", "source_", "State"};
    case AlarmKind::Tamper:
        return {"tns1:VideoSource/GlobalSceneChange/ImagingService", "Source", "source_", "State"};
    case AlarmKind::Loss:
        return {"tns1:VideoSource/SignalLoss", "Source", "source_", "State"};
    case AlarmKind::Input:
        return {"tns1:Device/Trigger/DigitalInput", "InputToken", "input_", "LogicalState"};
    case AlarmKind::Storage:
        return {"tns1:Device/HardwareFailure/StorageFailure", "Token", "storage_", "Failed"};
    case AlarmKind::Network:
        return {"tns1:Device/lumo:Network/Lost", "Interface", "eth", "Lost"};
    case AlarmKind::Human:
    case AlarmKind::Face:
        break;
    }
    return {"tns1:RuleEngine/ObjectDetection/Object", "VideoSource", "source_", "ClassTypes"};
}

std::string item(const char* name, const std::string& value)
{
    return std::string("<tt:SimpleItem Name=\"") + name + "\" Value=\"" + value + "\"/>";
}

} // namespace

EventHub::EventHub(AlarmBoard& board, const Faults& faults, int clockSkewSeconds)
    : m_board(board), m_faults(faults), m_clockSkewSeconds(clockSkewSeconds)
{
    m_board.onChange = [this](AlarmKind kind, int channel) { publish(kind, channel); };
}

int64_t EventHub::deviceTime() const
{
    return g_get_real_time() / G_USEC_PER_SEC + m_clockSkewSeconds;
}

std::string EventHub::notification(AlarmKind kind, int channel, const char* operation) const
{
    const Property property = propertyOf(kind);
    std::string state = m_board.on(kind, channel) ? "true" : "false";
    if (kind == AlarmKind::Human || kind == AlarmKind::Face) { // both are classes of what one rule sees
        const bool human = m_board.on(AlarmKind::Human, channel), face = m_board.on(AlarmKind::Face, channel);
        state = std::string(human ? "Human" : "") + (human && face ? " " : "") + (face ? "Face" : "");
    }
    return std::string("<wsnt:NotificationMessage><wsnt:Topic Dialect=\"http://www.onvif.org/ver10/tev/topicExpression/"
                       "ConcreteSet\">") +
           property.topic + "</wsnt:Topic><wsnt:Message><tt:Message UtcTime=\"" + isoText(deviceTime()) +
           "\" PropertyOperation=\"" + operation + "\"><tt:Source>" +
           item(property.source, property.token + std::to_string(channel)) + "</tt:Source><tt:Data>" +
           item(property.state, state) + "</tt:Data></tt:Message></wsnt:Message></wsnt:NotificationMessage>";
}

void EventHub::purge()
{
    const int64_t now = g_get_monotonic_time();
    for (auto i = m_subscriptions.begin(); i != m_subscriptions.end();) {
        const int number = i->first;
        const bool over = i->second.endUs <= now;
        ++i;
        if (over) {
            end(number);
        }
    }
}

int EventHub::create(int lifeMs)
{
    purge();
    if (m_subscriptions.size() >= kMaxSubscriptions) {
        return 0;
    }
    const int number = ++m_number;
    m_subscriptions[number];
    renew(number, lifeMs);
    tellAll(number);
    return number;
}

bool EventHub::renew(int number, int lifeMs)
{
    const auto found = m_subscriptions.find(number);
    if (found == m_subscriptions.end()) {
        return false;
    }
    found->second.endUs = g_get_monotonic_time() + int64_t{std::clamp(lifeMs, 1000, kMaxLifeMs)} * 1000;
    return true;
}

bool EventHub::knows(int number)
{
    purge();
    return m_subscriptions.count(number) > 0;
}

bool EventHub::end(int number)
{
    const auto found = m_subscriptions.find(number);
    if (found == m_subscriptions.end()) {
        return false;
    }
    found->second.kept.clear();
    wake(number, found->second);
    m_subscriptions.erase(number);
    return true;
}

void EventHub::forget()
{
    while (!m_subscriptions.empty()) {
        end(m_subscriptions.begin()->first);
    }
}

bool EventHub::tellAll(int number)
{
    const auto found = m_subscriptions.find(number);
    if (found == m_subscriptions.end()) {
        return false;
    }
    for (size_t k = 0; k < kAlarmNames.size(); ++k) {
        const auto kind = static_cast<AlarmKind>(k);
        for (int i = 0; kind != AlarmKind::Face && i < placesOf(kind, m_board.channels()); ++i) {
            keep(number, found->second, notification(kind, i, "Initialized"));
        }
    }
    return true;
}

void EventHub::keep(int number, Subscription& s, std::string event)
{
    if (s.kept.size() >= kMaxKept) {
        s.kept.pop_front();
        ++m_dropped;
    }
    s.kept.push_back(std::move(event));
    wake(number, s);
}

void EventHub::publish(AlarmKind kind, int channel)
{
    purge();
    for (auto& [number, s] : m_subscriptions) {
        keep(number, s, notification(kind, channel, "Changed"));
    }
}

/// Answers the question that waits.
void EventHub::wake(int number, Subscription& s)
{
    if (s.timer != 0) {
        g_source_remove(std::exchange(s.timer, 0));
    }
    if (const Done done = std::exchange(s.waiting, nullptr)) {
        done(take(number, s, s.limit));
    }
}

SoapAnswer EventHub::take(int number, Subscription& s, int limit)
{
    std::string events;
    for (int i = 0; i < limit && !s.kept.empty(); ++i) {
        events += s.kept.front();
        s.kept.pop_front();
        ++m_sent;
    }
    return soapAnswer("<tev:PullMessagesResponse>" + times(number, "tev") + events + "</tev:PullMessagesResponse>");
}

SoapAnswer EventHub::pull(int number, int waitMs, int limit)
{
    Subscription& s = m_subscriptions.at(number);
    wake(number, s);
    const int atOnce = std::clamp(limit, 1, kMaxAtOnce), wait = std::clamp(waitMs, 0, kMaxPullMs);
    if (!s.kept.empty() || wait == 0) {
        return take(number, s, atOnce);
    }
    SoapAnswer answer;
    answer.later = [this, number, wait, atOnce](Done done) {
        struct Wait {
            EventHub* hub;
            int number;
        };
        Subscription& s = m_subscriptions.at(number);
        s.waiting = std::move(done);
        s.limit = atOnce;
        const auto over = [](gpointer p) -> gboolean {
            const auto* wait = static_cast<Wait*>(p);
            Subscription& s = wait->hub->m_subscriptions.at(wait->number);
            s.timer = 0;
            wait->hub->wake(wait->number, s);
            return G_SOURCE_REMOVE;
        };
        s.timer = g_timeout_add_full(G_PRIORITY_DEFAULT, static_cast<guint>(wait), over, new Wait{this, number},
                                     [](gpointer p) { delete static_cast<Wait*>(p); });
    };
    return answer;
}

std::string EventHub::times(int number, const char* space) const
{
    const auto found = m_subscriptions.find(number);
    const int64_t left = found == m_subscriptions.end() ? 0 : found->second.endUs - g_get_monotonic_time();
    const int64_t now = deviceTime();
    const std::string s = space;
    return "<" + s + ":CurrentTime>" + isoText(now) + "</" + s + ":CurrentTime><" + s + ":TerminationTime>" +
           isoText(now + (left + G_USEC_PER_SEC / 2) / G_USEC_PER_SEC) + "</" + s + ":TerminationTime>";
}

SoapAnswer EventHub::hang()
{
    SoapAnswer answer;
    answer.later = [this](Done done) { m_hanging.push_back(std::move(done)); };
    return answer;
}

void EventHub::releaseHanging()
{
    if (m_faults.eventFault() == Faults::EventFault::Hang) {
        return;
    }
    for (const Done& done : std::exchange(m_hanging, {})) {
        done({503, ""});
    }
}

EventHub::Counts EventHub::counts()
{
    purge();
    Counts counts{m_subscriptions.size(), 0, 0, m_sent, m_dropped, m_spoiled};
    for (const auto& [number, s] : m_subscriptions) {
        counts.waiting += s.waiting ? 1 : 0;
        counts.kept += s.kept.size();
    }
    return counts;
}

} // namespace lumo::recorder
