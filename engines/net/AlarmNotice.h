// What a device's event messages say: topics of ONVIF turned into the numbers of alarms.
//
// Thread: pure functions. Errors: what cannot be understood, or has no number, gives no notice.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pugi
{
class xml_node;
}

namespace lumo::net
{

/// One thing that a device told.
struct AlarmNotice {
    enum class State { Off, On, Pulse };
    int event = 0;   // LUMO_ALARM_...
    int channel = 0; // as in LumoAlarmMessage
    std::string key; // topic and source: two of a channel's alarms that mean the same may be on at once
    State state = State::Pulse;
    bool told = false; // how it stands, not a change: what a new subscription begins with
};

/// Which channels and inputs the names in messages mean.
struct AlarmSources {
    std::map<std::string, int> channels; // by token of the video source, its configurations or profiles
    std::map<std::string, int> inputs;   // by token
};

/// All that one NotificationMessage tells.
void readNotice(const pugi::xml_node& message, const AlarmSources& sources, std::vector<AlarmNotice>& notices);

// A part, for tests.

/// "tns1:VideoSource/MotionAlarm": the number of the alarm, 0 for a topic without one.
int eventOfTopic(std::string_view topic);

} // namespace lumo::net
