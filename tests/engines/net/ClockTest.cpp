// What localtime() shows of a frame's time is what the device's own clock shows, whatever zone this machine is in.
#include "ClockAnswers.h"

#include <gtest/gtest.h>

using namespace lumo::net;
using namespace lumo::net::test;

TEST(ClockTest, DeviceInAnotherZoneShowsItsOwnHours)
{
    for (const int hours : {-11, 0, 8, 14}) {
        DeviceClock clock;
        const int64_t now = utc(2026, 7, 15, 9, 0, 0);
        const int day = 15 + (9 + hours < 0 ? -1 : 0), hour = (9 + hours + 24) % 24;
        ASSERT_TRUE(parseClock(
            answer(timeNode("UTCDateTime", 2026, 7, 15, 9, 0, 0) + timeNode("LocalDateTime", 2026, 7, day, hour, 0, 0)),
            now, clock));
        EXPECT_EQ(clock.offsetSec, hours * 3600);
        char expected[40];
        std::snprintf(expected, sizeof expected, "2026-07-%02d %02d:00:00", day, hour);
        EXPECT_EQ(shown(shownTimeMs(clock, now)), expected);
    }
}

TEST(ClockTest, WithoutAnyOffsetOurHoursAreShown)
{
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    EXPECT_EQ(shown(shownTimeMs({}, now)), shown(now));
}

TEST(ClockTest, WrongDeviceClockIsShownAsItIs)
{
    DeviceClock clock;
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    ASSERT_TRUE(parseClock(
        answer(timeNode("UTCDateTime", 2020, 1, 1, 0, 0, 0) + timeNode("LocalDateTime", 2020, 1, 1, 1, 0, 0)), now,
        clock));
    EXPECT_EQ(shown(shownTimeMs(clock, now + 5000)), "2020-01-01 01:00:05");
}

TEST(ClockTest, LessThanTheSecondThatTheDeviceTellsIsNoDifference)
{
    DeviceClock clock;
    ASSERT_TRUE(
        parseClock(answer(timeNode("UTCDateTime", 2026, 7, 1, 12, 0, 0)), utc(2026, 7, 1, 12, 0, 0) + 999, clock));
    EXPECT_EQ(clock.skewMs, 0);
}

TEST(ClockTest, OffsetFromTheZoneTextWhenNoLocalTimeIsTold)
{
    const auto offset = [](const char* zone, const char* summer) {
        DeviceClock clock;
        parseClock(answer(std::string("<tt:DaylightSavings>") + summer + "</tt:DaylightSavings><tt:TimeZone><tt:TZ>" +
                          zone + "</tt:TZ></tt:TimeZone>" + timeNode("UTCDateTime", 2026, 7, 1, 12, 0, 0)),
                   utc(2026, 7, 1, 12, 0, 0), clock);
        return clock.knowsOffset ? clock.offsetSec : -1;
    };
    EXPECT_EQ(offset("CST-8", "false"), 8 * 3600);
    EXPECT_EQ(offset("CET-1CEST,M3.5.0,M10.5.0/3", "true"), 2 * 3600);
    EXPECT_EQ(offset("EST5EDT", "false"), -5 * 3600);
    EXPECT_EQ(offset("&lt;+0330&gt;-3:30", "false"), 3 * 3600 + 1800);
    EXPECT_EQ(offset("", "false"), -1);
    EXPECT_EQ(offset("Nowhere", "false"), -1);
}

TEST(ClockTest, NonsenseIsNoClock)
{
    DeviceClock clock;
    EXPECT_FALSE(parseClock("", 0, clock));
    EXPECT_FALSE(parseClock(answer(timeNode("UTCDateTime", 2026, 13, 1, 12, 0, 0)), 0, clock));
    EXPECT_FALSE(parseClock(answer(timeNode("UTCDateTime", 1, 1, 1, 1, 1, 1)), 0, clock));
}
