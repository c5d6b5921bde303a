// The name of a recorded file. ONVIF has none, so it is made of recording, track and UTC times:
//   <recording>/<track>/20250329T090000Z-20250329T091500Z.h265x
//   <recording>/20250329T090000Z.jpg
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumo::net
{

struct RecordedName {
    std::string recording, track;   // tokens; a picture has no track
    int64_t beginMs = 0, endMs = 0; // the device's UTC; equal for a picture
    bool picture = false;
};

std::optional<RecordedName> parseRecordedName(std::string_view name);

} // namespace lumo::net
