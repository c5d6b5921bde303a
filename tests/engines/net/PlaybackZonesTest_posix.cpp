// Playback in zones of our choice: Windows has one for all of the machine.
#include "PlaybackFixture.h"

#include <cstdlib>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

struct ZoneRow {
    const char *here, *device;
    int offsetNow; // minutes; of the device, today
    const char *asked, *range, *firstShown;
};

class ZonesOfPlayback : public PlaybackTest, public testing::WithParamInterface<ZoneRow>
{
protected:
    void TearDown() override
    {
        PlaybackTest::TearDown();
        ::unsetenv("TZ");
        ::tzset();
    }
};

int offsetNowOf(const ZoneRow& row)
{
    const auto zone = PosixZone::parse(row.device);
    return zone ? zone->offsetAt(wallClockMs() / 1000) / 60 : row.offsetNow;
}

} // namespace

// The hours that are asked for are the device's, and so are those that its pictures show here, whatever zone this is.
TEST_P(ZonesOfPlayback, HoursAreTheDevices)
{
    const ZoneRow& row = GetParam();
    ::setenv("TZ", row.here, 1);
    ::tzset();
    offerReplay(onvif, peer, offsetNowOf(row), row.device);
    begun();
    const RecordTimeInfo info = byTime(row.asked, "2025-03-29 23:00:00");
    const int h = LUMONET_PlayBackByTimeEx(m_login, &info, &Viewer::onData, viewer.user(), nullptr, 0);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(viewer.waitForCount(9));
    LUMONET_StopPlayBack(h);
    EXPECT_EQ(lastPlay().header("Range").substr(0, 22), row.range);
    const auto frames = viewer.frames();
    const auto first = std::find_if(frames.begin(), frames.end(), shown);
    EXPECT_EQ(shownTime(first->video.utcMs), row.firstShown);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ZonesOfPlayback,
    testing::Values(
        // East of here, a constant offset.
        ZoneRow{"UTC0", "CST-8", 480, "2025-03-29 17:00:02", "clock=20250329T090002Z", "2025-03-29 17:00:02.000"},
        ZoneRow{"EST5EDT,M3.2.0,M11.1.0", "CST-8", 480, "2025-03-29 17:00:02", "clock=20250329T090002Z",
                "2025-03-29 17:00:02.000"},
        // The device keeps summer time: the recording is of the day before it began, whatever holds today.
        ZoneRow{"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", 0, "2025-03-29 10:00:02", "clock=20250329T090002Z",
                "2025-03-29 10:00:02.000"},
        ZoneRow{"NZST-12NZDT,M9.5.0,M4.1.0/3", "CET-1CEST,M3.5.0,M10.5.0/3", 0, "2025-03-29 10:00:02",
                "clock=20250329T090002Z", "2025-03-29 10:00:02.000"},
        // A zone that the device names and does not keep: what it shows now counts.
        ZoneRow{"UTC0", "nonsense", -210, "2025-03-29 05:30:02", "clock=20250329T090002Z", "2025-03-29 05:30:02.000"}));
