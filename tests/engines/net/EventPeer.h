// A device with events, played by the test; and the program's side of the messages.
#pragma once

#include "Viewer.h"

#include <deque>

namespace lumo::net::test
{

/// One event as a device would tell it.
struct DeviceEvent {
    std::string topic, source, item = "State", value = "true", operation = "Changed";
};
/// The NotificationMessage of it.
std::string eventXml(const DeviceEvent& event);
/// A whole answer to PullMessages.
std::string pullAnswer(const std::string& messages);

/// Keeps events for who subscribes, one subscriber at a time, and holds its answers back while there are none.
class EventPeer
{
public:
    EventPeer();
    ~EventPeer();

    void say(const DeviceEvent& event);
    /// The same, of a channel's motion.
    void motion(int channel, bool on)
    {
        say({"tns1:VideoSource/MotionAlarm", "s" + std::to_string(channel), "State", on ? "true" : "false"});
    }
    /// As if it had begun anew: the subscription is not known any more, what was kept is gone.
    void forget();
    size_t kept() const;

    // Before the login, or guarded by device.set()
    std::vector<DeviceEvent> atFirst;              // told to who subscribes
    std::string lifetime = "2026-01-01T00:01:00Z"; // told as the end, beside a now of 00:00:00
    std::map<std::string, std::string> insteadOf;  // whole replies, by action
    std::vector<std::string> inputs = {"in_a", "in_b"};
    std::atomic<int> holdMs{20};   // at most
    std::atomic<size_t> most{200}; // events in one answer
    std::atomic<bool> busy{false}; // no answer without an event: one that means nothing when there is no other

private:
    std::string answer(const std::string& action, const PeerRequest& request);
    std::string create();
    std::string pull(const PeerRequest& request);

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<DeviceEvent> m_events; // m_mutex, as all of these
    int m_number = 0;
    bool m_over = false;

public:
    OnvifDevicePeer device; // last: its threads use all of the above
};

/// What the message callback got; its address is the user value.
class Messages
{
public:
    struct Message {
        long login = 0;
        LumoAlarmMessage alarm{};
    };
    static bool onMessage(long login, char* data, unsigned long size, void* user, int kind);

    std::vector<Message> all() const;
    /// "4:0 start, 4:0 stop": number, channel and status.
    std::string text() const;
    size_t count() const;
    bool waitForCount(size_t n) const;
    bool waitForText(const std::string& text) const;
    void hold();
    void release();
    std::atomic<int> odd{0}; // of another kind or size, or with something behind its three numbers
    std::atomic<bool> inside{false};
    /// Called in the callback.
    std::function<void()> onCall;

private:
    std::string textOfAll() const; // m_mutex held

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Message> m_all;
    bool m_hold = false;
};

std::string messageText(const LumoAlarmMessage& message);

} // namespace lumo::net::test
