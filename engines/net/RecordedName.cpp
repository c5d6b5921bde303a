#include "RecordedName.h"

#include "DeviceClock.h"

#include <cstdio>

namespace lumo::net
{
namespace
{

bool readTime(std::string_view text, int64_t& ms)
{
    std::tm t{};
    int used = 0;
    const std::string s(text);
    if (s.size() != 16 ||
        std::sscanf(s.c_str(), "%4d%2d%2dT%2d%2d%2dZ%n", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour, &t.tm_min,
                    &t.tm_sec, &used) != 6 ||
        used != 16)
        return false;
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    ms = secondsOfUtc(t) * 1000;
    return ms > 0;
}

} // namespace

std::optional<RecordedName> parseRecordedName(std::string_view name)
{
    RecordedName parts;
    const size_t slash = name.rfind('/'), point = name.rfind('.');
    if (slash == std::string_view::npos || slash == 0 || point == std::string_view::npos || point < slash)
        return std::nullopt;
    const std::string_view times = name.substr(slash + 1, point - slash - 1), kind = name.substr(point);
    name = name.substr(0, slash);
    if (kind == ".jpg") {
        parts.picture = true;
        parts.recording = std::string(name);
        if (!readTime(times, parts.beginMs))
            return std::nullopt;
        parts.endMs = parts.beginMs;
        return parts;
    }
    const size_t track = name.rfind('/'), dash = times.find('-');
    if (kind != ".h265x" || track == std::string_view::npos || track == 0 || dash == std::string_view::npos ||
        !readTime(times.substr(0, dash), parts.beginMs) || !readTime(times.substr(dash + 1), parts.endMs) ||
        parts.endMs <= parts.beginMs)
        return std::nullopt;
    parts.recording = std::string(name.substr(0, track));
    parts.track = std::string(name.substr(track + 1));
    return parts;
}

} // namespace lumo::net
