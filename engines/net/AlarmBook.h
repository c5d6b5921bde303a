// Which alarms of a device are on: turns what it tells into messages for the program.
//
// A message says that an alarm of a channel starts, stops or strikes. Several sources of one alarm count together: it
// starts with the first and stops with the last. What is told twice is said once; a start and a stop never get lost.
// Thread: one.
#pragma once

#include "AlarmNotice.h"

#include "device/LumoNet.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace lumo::net
{

class AlarmBook
{
public:
    static constexpr size_t kMaxKeys = 4096;       // sources that are remembered
    static constexpr int64_t kPulseEveryMs = 1000; // of one alarm of a channel; more within it are the same one

    /// Appends what the program shall be told of it.
    void take(const AlarmNotice& notice, int64_t nowMs, std::vector<LumoAlarmMessage>& messages);
    /// A new subscription begins: the device will tell anew how everything stands.
    void beginAnew();
    /// It has told all. What it did not confirm is over.
    void settle(std::vector<LumoAlarmMessage>& messages);

    size_t keys() const { return m_keys.size(); }

private:
    using Alarm = std::pair<int, int>; // number, channel
    struct Key {
        Alarm alarm;
        bool on = false, confirmed = true;
    };
    Key* keyOf(const AlarmNotice& notice, bool& isNew);
    void turn(Key& key, bool on, std::vector<LumoAlarmMessage>& messages);
    void forgetQuiet();

    std::map<std::string, Key> m_keys;
    std::map<Alarm, int> m_on;         // how many of its sources
    std::map<Alarm, int64_t> m_pulsed; // when it last struck
};

} // namespace lumo::net
