#include "DeviceClock.h"

#include <chrono>

namespace lumo::net
{

int64_t wallClockMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

int64_t secondsOfUtc(const std::tm& utc)
{
    using namespace std::chrono;
    const year_month_day date{year(utc.tm_year + 1900), month(unsigned(utc.tm_mon + 1)), day(unsigned(utc.tm_mday))};
    if (!date.ok())
        return 0;
    return sys_days(date).time_since_epoch().count() * int64_t(86400) + utc.tm_hour * 3600 + utc.tm_min * 60 +
           utc.tm_sec;
}

namespace
{

int32_t offsetAt(const DeviceClock& clock, int64_t utcSec)
{
    return clock.zone ? clock.zone->offsetAt(utcSec) : clock.offsetSec;
}

/// This machine's own time of a date and time of day; -1 when there is none.
std::time_t hereOf(int64_t civilSec)
{
    using namespace std::chrono;
    const sys_seconds civil{seconds(civilSec)};
    const auto date = floor<days>(civil);
    const year_month_day ymd{date};
    const auto inDay = (civil - date).count();
    std::tm shown{};
    shown.tm_year = int(ymd.year()) - 1900;
    shown.tm_mon = int(unsigned(ymd.month())) - 1;
    shown.tm_mday = int(unsigned(ymd.day()));
    shown.tm_hour = int(inDay / 3600);
    shown.tm_min = int(inDay / 60 % 60);
    shown.tm_sec = int(inDay % 60);
    shown.tm_isdst = -1; // this machine's own rule for that date
    return std::mktime(&shown);
}

} // namespace

int64_t utcOfShown(const DeviceClock& clock, int64_t civilSec)
{
    if (!clock.knowsOffset)
        return int64_t(hereOf(civilSec));
    // The offset of a day before and of a day after: only where they differ is there a choice.
    const int64_t early = civilSec - offsetAt(clock, civilSec - 86400);
    const int64_t late = civilSec - offsetAt(clock, civilSec + 86400);
    return early + offsetAt(clock, early) == civilSec ? early : late;
}

int64_t shownTimeOfUtcMs(const DeviceClock& clock, int64_t deviceMs)
{
    if (!clock.knowsOffset)
        return deviceMs;
    const std::time_t here = hereOf(deviceMs / 1000 + offsetAt(clock, deviceMs / 1000));
    return here == std::time_t(-1) ? deviceMs : int64_t(here) * 1000 + deviceMs % 1000;
}

int64_t shownTimeMs(const DeviceClock& clock, int64_t nowMs)
{
    return shownTimeOfUtcMs(clock, nowMs + clock.skewMs);
}

} // namespace lumo::net
