// The device's wall clock as this machine must show it: a frame's UTC is such that localtime() here gives the hours
// that the device itself shows.
#pragma once

#include <cstdint>
#include <ctime>

namespace lumo::net
{

struct DeviceClock {
    int64_t skewMs = 0;       // the device's UTC minus ours
    int32_t offsetSec = 0;    // the device's local time minus its UTC
    bool knowsOffset = false; // else its hours are taken to be ours
};

/// Milliseconds since 1970, now, here.
int64_t wallClockMs();

/// Seconds since 1970 of a broken-down UTC time; any year from 1970.
int64_t secondsOfUtc(const std::tm& utc);

/// Our instant as a frame carries it. Asks this machine's zone anew each time: it may change to summer time meanwhile.
int64_t shownTimeMs(const DeviceClock& clock, int64_t nowMs);

} // namespace lumo::net
