// Replay against the simulated recorder, where that was built: another hand's search, RTSP server and encoder.
#include "RecorderFixture.h"
#include "ReplayPeer.h"
#include "Watcher.h"

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class RecorderReplay : public Recorder
{
protected:
    void TearDown() override
    {
        Recorder::TearDown();
        ::unsetenv("TZ");
        ::tzset();
    }
    static void zone(const char* name)
    {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    /// The recorder in its zone, this library in ours, and a login. 40 s: 20 on the first day, 10 and 10 on the second.
    void startIn(const char* theirs, const char* ours)
    {
        zone(theirs);
        start("mixed", "160x96", {"--recorded", "40"});
        zone(ours);
        m_login = enter();
        ASSERT_GT(m_login, 0) << error;
    }
    int playBack(const char* from, const char* to, int channel = 0)
    {
        const RecordTimeInfo info = byTime(from, to, channel);
        return LUMONET_PlayBackByTimeEx(m_login, &info, &Viewer::onData, viewer.user(), &PositionLog::onPosition,
                                        positions.user());
    }
    int download(const std::string& name, const std::string& path)
    {
        const RecordFileInfo info = byName(name);
        return LUMONET_StartFileDownload(m_login, &info, path.c_str(), &PositionLog::onPosition, positions.user(), 0);
    }
    static std::vector<SeenFrame> shownVideo(const std::vector<SeenFrame>& frames)
    {
        std::vector<SeenFrame> video;
        std::copy_if(frames.begin(), frames.end(), std::back_inserter(video), [](const SeenFrame& f) {
            return f.type != LUMO_FRAME_AUDIO && (f.video.flags & kFlagDecodeOnly) == 0;
        });
        return video;
    }

    Viewer viewer;
    PositionLog positions{&viewer};
    TestFolder folder;
    int m_login = 0;
};

} // namespace

TEST_F(RecorderReplay, ByTimeShowsTheAskedSpanAndNothingElse)
{
    startIn("Europe/Berlin", "America/New_York");
    const int h = playBack("2025-03-29 10:00:03", "2025-03-29 10:00:06", 1);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForCount(1));
    LUMONET_StopPlayBack(h);
    const auto frames = viewer.frames();
    EXPECT_TRUE(allSound(frames));
    EXPECT_TRUE(frames[0].video.key);
    EXPECT_EQ(shownTime(frames[0].video.utcMs), "2025-03-29 10:00:02.000") << "the key picture before";
    const auto video = shownVideo(frames);
    ASSERT_EQ(video.size(), 75u);
    EXPECT_EQ(shownTime(video.front().video.utcMs), "2025-03-29 10:00:03.000");
    EXPECT_EQ(shownTime(video.back().video.utcMs), "2025-03-29 10:00:05.960");
}

TEST_F(RecorderReplay, SecondDayLiesBehindTheDevicesChangeToSummerTime)
{
    startIn("Europe/Berlin", "UTC0");
    const int h = playBack("2025-03-30 10:00:08", "2025-03-30 10:30:02");
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForCount(1));
    LUMONET_StopPlayBack(h);
    const auto video = shownVideo(viewer.frames());
    ASSERT_EQ(video.size(), 100u);
    EXPECT_EQ(shownTime(video[0].video.utcMs), "2025-03-30 10:00:08.000");
    EXPECT_EQ(shownTime(video[49].video.utcMs), "2025-03-30 10:00:09.960");
    EXPECT_EQ(shownTime(video[50].video.utcMs), "2025-03-30 10:30:00.000") << "the gap is jumped over";
    EXPECT_GT(viewer.count(), video.size()) << "channel 0 has sound";
}

TEST_F(RecorderReplay, SeekSpeedAndPause)
{
    startIn("UTC0", "Asia/Kolkata");
    const int h = playBack("2025-03-29 10:00:00", "2025-03-29 10:00:20", 1);
    ASSERT_TRUE(viewer.waitForCount(5));
    const uint64_t oldUtcMs = viewer.frames().back().video.utcMs;
    ASSERT_EQ(LUMONET_PlayBackControl(h, 2, 13, 0), 1) << LUMONET_GetLastError();
    viewer.forgetUntil([=](const SeenFrame& f) { return f.video.utcMs > oldUtcMs + 5000; });
    ASSERT_TRUE(viewer.waitFor([](const auto& f) { return shownVideo(f).size() >= 5; }));
    EXPECT_EQ(shownTime(shownVideo(viewer.frames())[0].video.utcMs), "2025-03-29 10:00:13.000");
    ASSERT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 4, 0), 1);
    ASSERT_TRUE(positions.waitForCount(1));
    const auto video = shownVideo(viewer.frames());
    EXPECT_EQ(video.size(), 175u) << "seven seconds, none twice, none missing";
    EXPECT_EQ(shownTime(video.back().video.utcMs), "2025-03-29 10:00:19.960");
    LUMONET_StopPlayBack(h);
}

TEST_F(RecorderReplay, DownloadHoldsEveryPicture)
{
    startIn("Europe/Berlin", "UTC0");
    const std::string path = folder.path("01.h265x");
    const int h = download("rec_1/VIDEO001/20250329T090000Z-20250329T090020Z.h265x", path);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForEnd());
    const auto frames = framesOf(contentOf(path));
    ASSERT_EQ(frames.size(), 500u);
    EXPECT_EQ(shownTime(frames[0].video.utcMs), "2025-03-29 10:00:00.000");
    EXPECT_EQ(shownTime(frames[499].video.utcMs), "2025-03-29 10:00:19.960");
    LUMONET_StopFileDownload(h);
}

TEST_F(RecorderReplay, PictureOfItsList)
{
    startIn("Europe/Berlin", "UTC0");
    const std::string path = folder.path("01.jpg");
    const int h = download("rec_0/20250329T090000Z.jpg", path);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForEnd());
    const Bytes jpeg = contentOf(path);
    ASSERT_GT(jpeg.size(), 1000u);
    EXPECT_EQ(Bytes(jpeg.begin(), jpeg.begin() + 2), hex("ffd8"));
    LUMONET_StopFileDownload(h);
}

TEST_F(RecorderReplay, WhatItRecordsWhileItRunsIsPlayed)
{
    startIn("UTC0", "UTC0");
    std::this_thread::sleep_for(std::chrono::milliseconds(2500)); // two seconds of the clock are asked for
    const std::time_t now = std::time(nullptr);
    char from[40], to[40];
    const std::time_t begin = now - 2, end = now + 1;
    std::strftime(from, sizeof from, "%Y-%m-%d %H:%M:%S", std::gmtime(&begin));
    std::strftime(to, sizeof to, "%Y-%m-%d %H:%M:%S", std::gmtime(&end));
    const int h = playBack(from, to, 1);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_GE(shownVideo(viewer.frames()).size(), 25u);
    LUMONET_StopPlayBack(h);
}

TEST_F(RecorderReplay, CutAndStalledReplays)
{
    defaults().timings.silenceMs = 500;
    defaults().timings.openMs = 3000;
    startIn("UTC0", "UTC0");
    ASSERT_TRUE(fault("{\"replay\":\"cut\",\"after\":100}"));
    const int h = download("rec_1/VIDEO001/20250329T100000Z-20250329T100020Z.h265x", folder.path("x.h265x"));
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForEnd());
    EXPECT_TRUE(folder.all().empty());
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    ASSERT_TRUE(fault("{\"clear\":true}"));
    const int p = playBack("2025-03-29 10:00:00", "2025-03-29 10:00:20", 1);
    ASSERT_GT(p, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(viewer.waitForCount(10));
    ASSERT_TRUE(fault("{\"replay\":\"stall\",\"after\":5}"));
    const size_t before = positions.entries().size();
    ASSERT_TRUE(positions.waitForCount(before + 1));
    EXPECT_EQ(LUMONET_StopPlayBack(p), 1);
    ASSERT_TRUE(fault("{\"clear\":true}"));
    const int again = playBack("2025-03-29 10:00:00", "2025-03-29 10:00:20", 1);
    EXPECT_GT(again, 0) << "the next command works";
    LUMONET_StopPlayBack(again);
}

TEST_F(RecorderReplay, NothingRecordedIsRefused)
{
    startIn("UTC0", "UTC0");
    EXPECT_EQ(playBack("2025-03-29 12:00:00", "2025-03-29 13:00:00"), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}
