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

int64_t shownTimeMs(const DeviceClock& clock, int64_t nowMs)
{
    using namespace std::chrono;
    const int64_t deviceMs = nowMs + clock.skewMs;
    if (!clock.knowsOffset)
        return deviceMs;
    const sys_seconds civil{seconds(deviceMs / 1000 + clock.offsetSec)};
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
    const std::time_t here = std::mktime(&shown);
    return here == std::time_t(-1) ? deviceMs : int64_t(here) * 1000 + deviceMs % 1000;
}

} // namespace lumo::net
