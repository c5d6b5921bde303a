// The small rules behind replay: zones, names, the clock of what is shown, the target file, what a search tells.
#include "ClockAnswers.h"
#include "DeviceClock.h"
#include "Onvif.h"
#include "RecordedName.h"
#include "ShowClock.h"
#include "TargetFile.h"
#include "Watcher.h"

using namespace lumo::net;
using namespace lumo::net::test;

TEST(PosixZoneTest, SummerTimeHoldsBetweenItsInstants)
{
    const auto zone = PosixZone::parse("CET-1CEST,M3.5.0,M10.5.0/3");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 3, 30, 0, 59, 59)), 3600);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 3, 30, 1, 0, 0)), 7200);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 10, 26, 0, 59, 59)), 7200);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 10, 26, 1, 0, 0)), 3600);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2026, 1, 1, 0, 0, 0)), 3600);
}

TEST(PosixZoneTest, OnTheOtherHalfOfTheEarthItHoldsAcrossNewYear)
{
    const auto zone = PosixZone::parse("NZST-12NZDT,M9.5.0,M4.1.0/3");
    ASSERT_TRUE(zone);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 1, 1, 0, 0, 0)), 13 * 3600);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 7, 1, 0, 0, 0)), 12 * 3600);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 9, 27, 13, 59, 59)), 12 * 3600);
    EXPECT_EQ(zone->offsetAt(utcSeconds(2025, 9, 27, 14, 0, 0)), 13 * 3600);
}

TEST(PosixZoneTest, FormsOfZones)
{
    EXPECT_EQ(PosixZone::parse("UTC0")->offsetAt(0), 0);
    EXPECT_EQ(PosixZone::parse("<+0530>-5:30")->offsetAt(0), 19800);
    EXPECT_EQ(PosixZone::parse("EST5EDT,M3.2.0,M11.1.0")->offsetAt(utcSeconds(2025, 7, 1, 0, 0, 0)), -4 * 3600);
    EXPECT_EQ(PosixZone::parse("AAA0BBB-2,J60/0,J300/0")->offsetAt(utcSeconds(2024, 3, 1, 0, 0, 0)), 7200);
    EXPECT_EQ(PosixZone::parse("AAA0BBB,0/0,364")->offsetAt(utcSeconds(2025, 6, 1, 0, 0, 0)), 3600);
    for (const char* bad : {"", "UTC", "0", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0", "A-1",
                            "CET-1CEST,M3.5.0,M10.5.0/3 more", "Europe/Berlin", "CET-99"})
        EXPECT_FALSE(PosixZone::parse(bad)) << bad;
}

TEST(DeviceZoneTest, HourThatComesTwiceIsTheFirstAndOneThatIsLeftOutTheOneBefore)
{
    DeviceClock clock;
    clock.knowsOffset = true;
    clock.zone = PosixZone::parse("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(utcOfShown(clock, utcSeconds(2025, 10, 26, 2, 30, 0)), utcSeconds(2025, 10, 26, 0, 30, 0));
    EXPECT_EQ(utcOfShown(clock, utcSeconds(2025, 3, 30, 2, 30, 0)), utcSeconds(2025, 3, 30, 0, 30, 0));
    EXPECT_EQ(utcOfShown(clock, utcSeconds(2025, 3, 30, 1, 59, 59)), utcSeconds(2025, 3, 30, 0, 59, 59));
    EXPECT_EQ(utcOfShown(clock, utcSeconds(2025, 3, 30, 3, 0, 0)), utcSeconds(2025, 3, 30, 1, 0, 0));
}

TEST(RecordedNameTest, HoldsRecordingTrackAndTimes)
{
    const auto name = parseRecordedName("rec_0/VIDEO001/20250329T090000Z-20250329T091500Z.h265x");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->recording, "rec_0");
    EXPECT_EQ(name->track, "VIDEO001");
    EXPECT_EQ(name->beginMs, utcSeconds(2025, 3, 29, 9, 0, 0) * 1000);
    EXPECT_EQ(name->endMs, utcSeconds(2025, 3, 29, 9, 15, 0) * 1000);
    EXPECT_FALSE(name->picture);
    const auto slashes = parseRecordedName("a/b/VIDEO001/20250329T090000Z-20250329T091500Z.h265x");
    ASSERT_TRUE(slashes);
    EXPECT_EQ(slashes->recording, "a/b");
    const auto picture = parseRecordedName("rec_3/20250329T090000Z.jpg");
    ASSERT_TRUE(picture);
    EXPECT_TRUE(picture->picture);
    EXPECT_EQ(picture->recording, "rec_3");
    for (const char* bad :
         {"", "x", "/", ".jpg", "rec_0/.jpg", "rec_0/20250329T090000.jpg",
          "VIDEO001/20250329T090000Z-20250329T091500Z.h265x", "r/v/20250329T091500Z-20250329T090000Z.h265x",
          "r/v/20250329T090000Z.h265x", "r/v/2025.h265x", "r/v/20250329T090000Z-20250329T091500Z.avi"})
        EXPECT_FALSE(parseRecordedName(bad)) << bad;
}

TEST(ShowClockTest, LastPictureIsShownWhenItsTimeHasPassedAtThePresentSpeed)
{
    ShowClock clock;
    EXPECT_EQ(clock.leftMs(0), 0) << "nothing was handed on";
    for (int i = 0; i < 25; ++i)
        clock.picture(i * 40, 1000, 0); // all at once
    EXPECT_NEAR(double(clock.leftMs(1000)), 1000.0, 2.0);
    EXPECT_NEAR(double(clock.leftMs(1500)), 500.0, 2.0);
    clock.setSpeed(4.0, 1500);
    EXPECT_NEAR(double(clock.leftMs(1500)), 125.0, 2.0);
    clock.setPaused(true, 1600);
    EXPECT_EQ(clock.leftMs(5000), -1);
    clock.setPaused(false, 5000);
    EXPECT_NEAR(double(clock.leftMs(5000)), 25.0, 2.0);
    EXPECT_EQ(clock.leftMs(5100), 0);
}

TEST(ShowClockTest, WaitingInTheCallbackAndGapsDoNotCount)
{
    ShowClock clock;
    clock.picture(0, 0, 0);
    clock.picture(40, 500, 500); // its callback was made to wait all the time
    EXPECT_NEAR(double(clock.leftMs(500)), 80.0, 2.0);
    clock.picture(40 + 3600000, 500, 0); // an hour in which nothing was recorded
    EXPECT_NEAR(double(clock.leftMs(500)), 120.0, 2.0);
}

TEST(TargetFileTest, StandsUnderItsNameOnlyWhenWhole)
{
    TestFolder folder;
    const std::string path = folder.path("new/file");
    {
        TargetFile file(path);
        ASSERT_TRUE(file.open());
        ASSERT_TRUE(file.write("abc", 3));
        EXPECT_EQ(folder.all(), (std::vector<std::string>{"new", "new/file.part"}));
    }
    EXPECT_EQ(folder.all(), (std::vector<std::string>{"new"})) << "not finished: removed";
    TargetFile file(path);
    ASSERT_TRUE(file.open());
    ASSERT_TRUE(file.write("abc", 3));
    ASSERT_TRUE(file.finish());
    EXPECT_EQ(contentOf(path), (Bytes{'a', 'b', 'c'}));
}

TEST(SearchTest, RecordingsAreReadByLocalNames)
{
    bool completed = true;
    const auto found =
        parseRecordings("<e><b><r><l><tt:SearchState>Searching</tt:SearchState><tt:RecordingInformation>"
                        "<tt:RecordingToken>R1</tt:RecordingToken><tt:Source><tt:SourceId>s1</tt:SourceId></tt:Source>"
                        "<tt:EarliestRecording>2025-03-29T10:00:00+01:00</tt:EarliestRecording>"
                        "<tt:LatestRecording>2025-03-29T10:00:00.5Z</tt:LatestRecording></tt:RecordingInformation>"
                        "<tt:RecordingInformation/></l></r></b></e>",
                        completed);
    EXPECT_FALSE(completed);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].token, "R1");
    EXPECT_EQ(found[0].source, "s1");
    EXPECT_EQ(found[0].earliestMs, utcSeconds(2025, 3, 29, 9, 0, 0) * 1000);
    EXPECT_EQ(found[0].latestMs, utcSeconds(2025, 3, 29, 10, 0, 0) * 1000 + 500);
    EXPECT_TRUE(parseRecordings("no xml", completed).empty());
    EXPECT_TRUE(completed) << "nothing more is asked of such a device";
}
