#include "EventPeer.h"

#include "Text.h"

#include <algorithm>

namespace lumo::net::test
{
namespace
{

std::string between(const std::string& text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    return at == std::string::npos ? ""
                                   : text.substr(at + from.size(), text.find(to, at + from.size()) - at - from.size());
}

} // namespace

std::string eventXml(const DeviceEvent& e)
{
    const auto item = [](const std::string& name, const std::string& value) {
        return value.empty() ? "" : "<tt:SimpleItem Name=\"" + name + "\" Value=\"" + value + "\"/>";
    };
    return "<n:NotificationMessage xmlns:n=\"b\"><n:Topic Dialect=\"d\">" + e.topic +
           "</n:Topic><n:Message><tt:Message xmlns:tt=\"t\" UtcTime=\"2026-01-01T00:00:00Z\" PropertyOperation=\"" +
           e.operation + "\"><tt:Source>" + item("Source", e.source) + "</tt:Source><tt:Data>" + item(e.item, e.value) +
           "</tt:Data></tt:Message></n:Message></n:NotificationMessage>";
}

std::string pullAnswer(const std::string& messages)
{
    return soapReply(200, "<v:PullMessagesResponse xmlns:v=\"e\"><v:CurrentTime>2026-01-01T00:00:00Z</v:CurrentTime>"
                          "<v:TerminationTime>2026-01-01T00:01:00Z</v:TerminationTime>" +
                              messages + "</v:PullMessagesResponse>");
}

EventPeer::EventPeer()
{
    device.set([this] {
        device.onEvents = [this](const std::string& action, const PeerRequest& r) { return answer(action, r); };
    });
}

EventPeer::~EventPeer()
{
    {
        std::lock_guard lock(m_mutex);
        m_over = true;
        m_changed.notify_all();
    }
    device.stop();
}

void EventPeer::say(const DeviceEvent& event)
{
    std::lock_guard lock(m_mutex);
    m_events.push_back(event);
    m_changed.notify_all();
}

void EventPeer::forget()
{
    std::lock_guard lock(m_mutex);
    ++m_number;
    m_events.clear();
    m_changed.notify_all();
}

size_t EventPeer::kept() const
{
    std::lock_guard lock(m_mutex);
    return m_events.size();
}

std::string EventPeer::create()
{
    std::vector<DeviceEvent> first;
    std::string end;
    device.set([&] {
        first = atFirst;
        end = lifetime;
    });
    std::lock_guard lock(m_mutex);
    m_events.insert(m_events.begin(), first.begin(), first.end());
    const std::string number = std::to_string(++m_number);
    return soapReply(200,
                     "<v:CreatePullPointSubscriptionResponse xmlns:v=\"e\" xmlns:z=\"urn:z\"><v:SubscriptionReference>"
                     "<a:Address xmlns:a=\"a\">http://192.0.2.7:9/events/" +
                         number + "</a:Address><a:ReferenceParameters xmlns:a=\"a\"><z:Id>&lt;" + number +
                         "&gt;</z:Id></a:ReferenceParameters></v:SubscriptionReference><n:CurrentTime xmlns:n=\"b\">"
                         "2026-01-01T00:00:00Z</n:CurrentTime><n:TerminationTime xmlns:n=\"b\">" +
                         end + "</n:TerminationTime></v:CreatePullPointSubscriptionResponse>");
}

std::string EventPeer::pull(const PeerRequest& request)
{
    const size_t limit = size_t(toNumber(between(request.body, "<MessageLimit>", "<"), 0));
    std::unique_lock lock(m_mutex);
    const int mine = m_number;
    m_changed.wait_for(lock, std::chrono::milliseconds(holdMs),
                       [&] { return m_over || m_number != mine || !m_events.empty(); });
    if (!request.url.ends_with("/events/" + std::to_string(m_number)))
        return soapReply(500, "<s:Fault><s:Code><s:Value>s:Receiver</s:Value><s:Subcode><s:Value>"
                              "wsrf-rw:ResourceUnknownFault</s:Value></s:Subcode></s:Code></s:Fault>");
    if (busy && m_events.empty())
        m_events.push_back({"tns1:Media/ProfileChanged", "s0"});
    std::string messages;
    for (size_t i = 0; i < std::min<size_t>(limit, most) && !m_events.empty(); ++i) {
        messages += eventXml(m_events.front());
        m_events.pop_front();
    }
    return pullAnswer(messages);
}

std::string EventPeer::answer(const std::string& action, const PeerRequest& request)
{
    std::string instead, list, end;
    device.set([&] {
        end = lifetime;
        if (insteadOf.count(action))
            instead = insteadOf[action];
        for (const std::string& input : inputs)
            list += "<t:DigitalInputs token=\"" + input + "\"/>";
    });
    if (!instead.empty())
        return instead == "hang" ? "" : instead;
    if (action == "CreatePullPointSubscription")
        return create();
    if (action == "PullMessages")
        return pull(request);
    if (action == "GetDigitalInputs")
        return soapReply(200, "<t:GetDigitalInputsResponse>" + list + "</t:GetDigitalInputsResponse>");
    return soapReply(200, "<n:" + action +
                              "Response xmlns:n=\"b\"><n:CurrentTime>2026-01-01T00:00:00Z</n:CurrentTime>"
                              "<n:TerminationTime>" +
                              end + "</n:TerminationTime></n:" + action + "Response>");
}

bool Messages::onMessage(long login, char* data, unsigned long size, void* user, int kind)
{
    auto& self = *static_cast<Messages*>(user);
    Message message;
    message.login = login;
    if (size == sizeof message.alarm)
        std::copy_n(data, size, reinterpret_cast<char*>(&message.alarm));
    const auto& rest = message.alarm.reserved;
    if (kind != LUMO_MESSAGE_ALARM || size != 172 || std::count(std::begin(rest), std::end(rest), 0) != 160)
        ++self.odd;
    self.inside = true;
    if (self.onCall)
        self.onCall();
    std::unique_lock lock(self.m_mutex);
    self.m_all.push_back(message);
    self.m_changed.notify_all();
    self.m_changed.wait(lock, [&] { return !self.m_hold; });
    self.inside = false;
    return true;
}

std::vector<Messages::Message> Messages::all() const
{
    std::lock_guard lock(m_mutex);
    return m_all;
}

size_t Messages::count() const
{
    std::lock_guard lock(m_mutex);
    return m_all.size();
}

std::string messageText(const LumoAlarmMessage& m)
{
    static constexpr const char* kStatus[] = {" start", " stop", " pulse"};
    return std::to_string(m.nEvent) + ":" + std::to_string(m.nChannel) +
           (m.nStatus >= 0 && m.nStatus <= 2 ? kStatus[m.nStatus] : " ?");
}

std::string Messages::textOfAll() const
{
    std::string text;
    for (const Message& m : m_all)
        text += (text.empty() ? "" : ", ") + messageText(m.alarm);
    return text;
}

std::string Messages::text() const
{
    std::lock_guard lock(m_mutex);
    return textOfAll();
}

bool Messages::waitForCount(size_t n) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return m_all.size() >= n; });
}

bool Messages::waitForText(const std::string& wanted) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return textOfAll() == wanted; });
}

void Messages::hold()
{
    std::lock_guard lock(m_mutex);
    m_hold = true;
}

void Messages::release()
{
    std::lock_guard lock(m_mutex);
    m_hold = false;
    m_changed.notify_all();
}

} // namespace lumo::net::test
