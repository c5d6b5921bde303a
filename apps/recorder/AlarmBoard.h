// Which alarms of the simulated device are on, and what switches them: test calls, plans and floods.
//
// Thread: main loop only. Lives until the process ends.
#pragma once

#include "AlarmKind.h"

#include <cstdint>
#include <functional>
#include <set>
#include <utility>
#include <vector>

namespace lumo::recorder
{

class AlarmBoard
{
public:
    using Alarm = std::pair<AlarmKind, int>; // the channel or input; 0 for those of the device

    explicit AlarmBoard(int channels) : m_channels(channels) {}
    AlarmBoard(const AlarmBoard&) = delete;
    AlarmBoard& operator=(const AlarmBoard&) = delete;

    bool knows(AlarmKind kind, int channel) const { return channel >= 0 && channel < placesOf(kind, m_channels); }
    bool on(AlarmKind kind, int channel) const { return m_on.count({kind, channel}) > 0; }
    /// Told to onChange when it is a change.
    void set(AlarmKind kind, int channel, bool on);
    void clear();
    const std::set<Alarm>& all() const { return m_on; }
    int64_t changes() const { return m_changes; }
    int channels() const { return m_channels; }

    /// Comes and goes from now on.
    void follow(const AlarmPlan& plan);
    /// On and off again, so many changes a second; off at its end. One at a time: a new one ends the last.
    void flood(AlarmKind kind, int channel, int perSecond, int seconds);
    bool flooding() const { return m_flood.left > 0; }

    std::function<void(AlarmKind kind, int channel)> onChange;

private:
    struct Flood {
        Alarm alarm{};
        int64_t perSecond = 0, left = 0, begunUs = 0, total = 0;
        unsigned source = 0;
    };
    struct Plan {
        AlarmBoard* board;
        AlarmPlan plan;
        int second = 0;
    };
    bool stepFlood();
    static bool stepPlan(Plan& plan);

    const int m_channels;
    std::set<Alarm> m_on;
    int64_t m_changes = 0;
    Flood m_flood;
};

} // namespace lumo::recorder
