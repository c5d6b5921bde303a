#include "AlarmBook.h"

namespace lumo::net
{
namespace
{

void say(std::pair<int, int> alarm, int status, std::vector<LumoAlarmMessage>& messages)
{
    LumoAlarmMessage message{};
    message.nEvent = alarm.first;
    message.nChannel = alarm.second;
    message.nStatus = status;
    messages.push_back(message);
}

} // namespace

/// Null when there are too many that are on: then it can be told of, but not be remembered.
AlarmBook::Key* AlarmBook::keyOf(const AlarmNotice& notice, bool& isNew)
{
    const auto found = m_keys.find(notice.key);
    isNew = found == m_keys.end();
    if (!isNew)
        return &found->second;
    if (m_keys.size() >= kMaxKeys)
        forgetQuiet();
    if (m_keys.size() >= kMaxKeys)
        return nullptr;
    Key& key = m_keys[notice.key];
    key.alarm = {notice.event, notice.channel};
    return &key;
}

void AlarmBook::forgetQuiet()
{
    std::erase_if(m_keys, [](const auto& entry) { return !entry.second.on; });
}

void AlarmBook::turn(Key& key, bool on, std::vector<LumoAlarmMessage>& messages)
{
    key.on = on;
    int& count = m_on[key.alarm];
    count += on ? 1 : -1;
    if (count == (on ? 1 : 0))
        say(key.alarm, on ? LUMO_ALARM_STATUS_START : LUMO_ALARM_STATUS_STOP, messages);
}

void AlarmBook::take(const AlarmNotice& notice, int64_t nowMs, std::vector<LumoAlarmMessage>& messages)
{
    const Alarm alarm{notice.event, notice.channel};
    if (notice.state == AlarmNotice::State::Pulse) {
        const auto [last, first] = m_pulsed.try_emplace(alarm, nowMs);
        if (!first && nowMs - last->second < kPulseEveryMs)
            return;
        last->second = nowMs;
        say(alarm, LUMO_ALARM_STATUS_PULSE, messages);
        return;
    }
    const bool on = notice.state == AlarmNotice::State::On;
    bool isNew = false;
    Key* key = keyOf(notice, isNew);
    if (!key) {
        say(alarm, on ? LUMO_ALARM_STATUS_PULSE : LUMO_ALARM_STATUS_STOP, messages);
        return;
    }
    key->confirmed = true;
    if (key->on != on)
        turn(*key, on, messages);
    else if (isNew && !notice.told && m_on[key->alarm] == 0)
        say(alarm, LUMO_ALARM_STATUS_STOP, messages); // of a start from before the subscription
}

void AlarmBook::beginAnew()
{
    for (auto& [name, key] : m_keys)
        key.confirmed = false;
}

void AlarmBook::settle(std::vector<LumoAlarmMessage>& messages)
{
    for (auto& [name, key] : m_keys) {
        if (key.on && !key.confirmed)
            turn(key, false, messages);
        key.confirmed = true;
    }
}

} // namespace lumo::net
