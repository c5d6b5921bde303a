// The same in zones of our choice: Windows has one for all of the machine.
#include "ClockAnswers.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

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

TEST_F(Zone, WithoutAnyOffsetOurHoursAreShown)
{
    here("CET-1CEST,M3.5.0,M10.5.0/3");
    const int64_t now = utc(2026, 7, 1, 12, 0, 0);
    EXPECT_EQ(shown(shownTimeMs({}, now)), "2026-07-01 14:00:00");
}
