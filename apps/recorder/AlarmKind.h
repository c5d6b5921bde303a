// The alarms that the simulated device knows, by their names in options and test calls.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace lumo::recorder
{

enum class AlarmKind { Motion, Tamper, Loss, Input, Storage, Network, Human, Face };

constexpr std::array<const char*, 8> kAlarmNames = {"motion",  "tamper",  "loss",  "input",
                                                    "storage", "network", "human", "face"};
constexpr int kInputs = 4; // digital inputs

inline const char* alarmName(AlarmKind kind)
{
    return kAlarmNames[static_cast<size_t>(kind)];
}

inline std::optional<AlarmKind> alarmOfName(std::string_view name)
{
    for (size_t i = 0; i < kAlarmNames.size(); ++i) {
        if (name == kAlarmNames[i]) {
            return static_cast<AlarmKind>(i);
        }
    }
    return std::nullopt;
}

/// How many of it there are: one for each channel or input, or one for the device.
inline int placesOf(AlarmKind kind, int channels)
{
    return kind == AlarmKind::Storage || kind == AlarmKind::Network ? 1 : kind == AlarmKind::Input ? kInputs : channels;
}

/// One that comes and goes by itself.
struct AlarmPlan {
    AlarmKind kind = AlarmKind::Motion;
    int channel = 0;
    int onSeconds = 5;
    int everySeconds = 20;
};

} // namespace lumo::recorder
