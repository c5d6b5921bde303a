// The device's local time: a fixed offset where one was given, else this machine's zone as TZ says.
//
// Thread: any; constant once made. Units: seconds since 1970; "civil" ones count the device's own calendar and clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumo::recorder
{

class DeviceZone
{
public:
    explicit DeviceZone(std::optional<int> fixedMinutes);

    /// Local time minus UTC.
    int64_t offsetAt(int64_t utc) const;
    bool summerAt(int64_t utc) const;
    int64_t civilOf(int64_t utc) const { return utc + offsetAt(utc); }
    /// The first instant that shows these hours; of the hour that a change to summer time leaves out, the one before.
    int64_t utcOf(int64_t civil) const;
    /// As POSIX writes it, rules of summer time included where they are known.
    const std::string& posixText() const { return m_posix; }

private:
    std::optional<int> m_fixed; // seconds
    std::string m_posix;
};

/// Seconds of a date and time of day.
int64_t civilSeconds(int year, int month, int day, int hour, int minute, int second);
/// "2025-03-29 10:00:00"
std::string civilText(int64_t civil);
/// "20250329T090000Z", of UTC in milliseconds; whole seconds.
std::string clockText(int64_t utcMs);
/// Reads "20250329T090000Z" or "20250329T090000.25Z"; milliseconds.
std::optional<int64_t> parseClockText(const std::string& text);

} // namespace lumo::recorder
