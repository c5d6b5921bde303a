// What localtime() shows of a frame's time is what the device's own clock shows.
#include "DeviceClock.h"
#include "Onvif.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace lumo::net;

namespace
{

std::string timeNode(const char* name, int y, int mo, int d, int h, int mi, int s)
{
    char text[400];
    std::snprintf(text, sizeof text,
                  "<tt:%s><tt:Time><tt:Hour>%d</tt:Hour><tt:Minute>%d</tt:Minute><tt:Second>%d</tt:Second></tt:Time>"
                  "<tt:Date><tt:Year>%d</tt:Year><tt:Month>%d</tt:Month><tt:Day>%d</tt:Day></tt:Date></tt:%s>",
                  name, h, mi, s, y, mo, d, name);
    return text;
}

std::string answer(const std::string& inner)
{
    return "<e><b><r><tds:SystemDateAndTime>" + inner + "</tds:SystemDateAndTime></r></b></e>";
}

int64_t utc(int y, int mo, int d, int h, int mi, int s)
{
    std::tm t{};
    t.tm_year = y - 1900;
    t.tm_mon = mo - 1;
    t.tm_mday = d;
    t.tm_hour = h;
    t.tm_min = mi;
    t.tm_sec = s;
    return secondsOfUtc(t) * 1000;
}

class Zone : public testing::Test
{
protected:
    void here(const char* zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    void TearDown() override
    {
        ::unsetenv("TZ");
        ::tzset();
    }
    static std::string shown(int64_t ms)
    {
        const std::time_t t = std::time_t(ms / 1000);
        char text[40];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&t));
        return text;
    }
};

} // namespace

TEST_F(Zone, DeviceInAnotherZoneShowsItsOwnHours)
{
    DeviceClock clock;
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    ASSERT_TRUE(parseClock(
        answer(timeNode("UTCDateTime", 2026, 7, 1, 12, 0, 0) + timeNode("LocalDateTime", 2026, 7, 1, 20, 0, 0)), now,
        clock));
    EXPECT_EQ(clock.offsetSec, 8 * 3600);
    for (const char* zone : {"UTC0", "EST5EDT,M3.2.0,M11.1.0", "CET-1CEST,M3.5.0,M10.5.0/3", "<+0530>-5:30"}) {
        here(zone);
        EXPECT_EQ(shown(shownTimeMs(clock, now)), "2026-07-01 20:00:00") << zone;
        EXPECT_EQ(shown(shownTimeMs(clock, now + 3661000)), "2026-07-01 21:01:01") << zone;
    }
}

TEST_F(Zone, HoursStayTheDevicesAcrossThisMachinesChangeToSummerTime)
{
    here("CET-1CEST,M3.5.0,M10.5.0/3"); // 2026-03-29 02:00 becomes 03:00
    DeviceClock clock;
    clock.offsetSec = 8 * 3600;
    clock.knowsOffset = true;
    const int64_t before = utc(2026, 3, 29, 0, 59, 59), after = utc(2026, 3, 29, 1, 0, 1);
    EXPECT_EQ(shown(shownTimeMs(clock, before)), "2026-03-29 08:59:59");
    EXPECT_EQ(shown(shownTimeMs(clock, after)), "2026-03-29 09:00:01");
    // Through the day on which the machine's clock jumps, each hour that exists here shows as the device's.
    EXPECT_EQ(shown(shownTimeMs(clock, utc(2026, 3, 28, 17, 30, 0))), "2026-03-29 01:30:00");
    EXPECT_EQ(shown(shownTimeMs(clock, utc(2026, 3, 28, 19, 30, 0))), "2026-03-29 03:30:00");
    // And in autumn.
    EXPECT_EQ(shown(shownTimeMs(clock, utc(2026, 10, 25, 0, 30, 0))), "2026-10-25 08:30:00");
    EXPECT_EQ(shown(shownTimeMs(clock, utc(2026, 10, 25, 1, 30, 0))), "2026-10-25 09:30:00");
}

TEST_F(Zone, WrongDeviceClockIsShownAsItIs)
{
    here("UTC0");
    DeviceClock clock;
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    ASSERT_TRUE(parseClock(
        answer(timeNode("UTCDateTime", 2020, 1, 1, 0, 0, 0) + timeNode("LocalDateTime", 2020, 1, 1, 1, 0, 0)), now,
        clock));
    EXPECT_EQ(shown(shownTimeMs(clock, now + 5000)), "2020-01-01 01:00:05");
}

TEST_F(Zone, LessThanTheSecondThatTheDeviceTellsIsNoDifference)
{
    DeviceClock clock;
    ASSERT_TRUE(
        parseClock(answer(timeNode("UTCDateTime", 2026, 7, 1, 12, 0, 0)), utc(2026, 7, 1, 12, 0, 0) + 999, clock));
    EXPECT_EQ(clock.skewMs, 0);
}

TEST_F(Zone, OffsetFromTheZoneTextWhenNoLocalTimeIsTold)
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

TEST_F(Zone, WithoutAnyOffsetOurHoursAreShown)
{
    here("CET-1CEST,M3.5.0,M10.5.0/3");
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    EXPECT_EQ(shown(shownTimeMs({}, now)), "2026-07-01 14:00:00");
}

TEST_F(Zone, NonsenseIsNoClock)
{
    DeviceClock clock;
    EXPECT_FALSE(parseClock("", 0, clock));
    EXPECT_FALSE(parseClock(answer(timeNode("UTCDateTime", 2026, 13, 1, 12, 0, 0)), 0, clock));
    EXPECT_FALSE(parseClock(answer(timeNode("UTCDateTime", 1, 1, 1, 1, 1, 1)), 0, clock));
}
