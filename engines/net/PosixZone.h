// A zone as POSIX writes it, "CET-1CEST,M3.5.0,M10.5.0/3": which offset held at an instant, summer time included.
// A device tells the offset of today only; what it recorded half a year ago shows the other one.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace lumo::net
{

struct PosixZone {
    /// When summer time begins or ends, in local time of before.
    struct Rule {
        enum class Kind { Weekday, JulianNoLeap, Day } kind = Kind::Weekday;
        int month = 0, week = 0, day = 0; // of Weekday; else day counts in the year
        int32_t timeSec = 2 * 3600;
    };

    int32_t standardSec = 0, summerSec = 0; // local time minus UTC
    bool hasSummer = false;
    Rule begin, end;

    /// Nothing for what is no zone, or names a summer time without saying when.
    static std::optional<PosixZone> parse(std::string_view text);
    int32_t offsetAt(int64_t utcSec) const;
};

} // namespace lumo::net
