// The device's wall clock as this machine must show it: a frame's UTC is such that localtime() here gives the hours
// that the device itself shows.
#pragma once

#include "PosixZone.h"

#include <cstdint>
#include <ctime>

namespace lumo::net
{

struct DeviceClock {
    int64_t skewMs = 0;            // the device's UTC minus ours
    int32_t offsetSec = 0;         // the device's local time minus its UTC
    bool knowsOffset = false;      // else its hours are taken to be ours
    std::optional<PosixZone> zone; // what its offset is at other times of the year, where that is known
};

/// Milliseconds since 1970, now, here.
int64_t wallClockMs();

/// Seconds since 1970 of a broken-down UTC time; any year from 1970.
int64_t secondsOfUtc(const std::tm& utc);

/// The device's UTC of what its own clock shows, both in seconds since 1970. Of an hour that comes twice, the
/// first; of one that a change to summer time leaves out, the one before.
int64_t utcOfShown(const DeviceClock& clock, int64_t civilSec);

/// An instant of the device's UTC as a frame carries it.
int64_t shownTimeOfUtcMs(const DeviceClock& clock, int64_t deviceUtcMs);

/// Our instant as a frame carries it. Asks this machine's zone anew each time: it may change to summer time meanwhile.
int64_t shownTimeMs(const DeviceClock& clock, int64_t nowMs);

} // namespace lumo::net
