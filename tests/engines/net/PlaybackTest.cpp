// Playback: where it starts and ends, its controls, what is refused.
#include "PlaybackFixture.h"

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

TEST_F(PlaybackTest, ByTimeStartsAtTheAskedSecondAndShowsNoPictureBefore)
{
    begun();
    const int h = playSpan(3, 10); // picture 75, three behind a key picture
    ASSERT_GT(h, 0x30000) << LUMONET_GetLastError();
    EXPECT_LT(h, 0x40000);
    ASSERT_TRUE(viewer.waitForCount(12));
    EXPECT_EQ(LUMONET_StopPlayBack(h), 1);
    const auto frames = viewer.frames();
    EXPECT_EQ(frames[0].number, 72);
    EXPECT_TRUE(frames[0].video.key);
    EXPECT_EQ(firstShown(frames), 75);
    EXPECT_TRUE(inOrder(frames));
    EXPECT_EQ(shownTime(frames[3].video.utcMs), "2025-03-29 09:00:03.000");
    EXPECT_EQ(frames[0].handle, h);
    EXPECT_TRUE(std::all_of(frames.begin(), frames.end(), [](auto& f) { return f.sound; }));
    const PeerRequest r = lastPlay();
    EXPECT_EQ(r.header("Require"), "onvif-replay");
    EXPECT_EQ(r.header("Range"), "clock=20250329T090003Z-20250329T090010Z");
    EXPECT_EQ(r.header("Rate-Control"), "yes");
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
}

TEST_F(PlaybackTest, ByNameAsksForTheSameAsByTime)
{
    begun();
    const RecordFileInfo info = byName("rec_0/VIDEO001/20250329T090003Z-20250329T090010Z.h265x");
    const int h = LUMONET_PlayBackByName(m_login, &info, nullptr, &Viewer::onData, viewer.user());
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(viewer.waitForCount(5));
    EXPECT_EQ(LUMONET_StopPlayBack(h), 1);
    EXPECT_EQ(firstShown(viewer.frames()), 75);
    EXPECT_EQ(lastPlay().header("Range"), "clock=20250329T090003Z-20250329T090010Z");
    EXPECT_EQ(onvif.count("FindRecordings"), 0) << "the name says which recording it is";
}

TEST_F(PlaybackTest, EndIsToldOnceAfterTheLastPictureHasBeenShown)
{
    begun();
    const auto before = std::chrono::steady_clock::now();
    const int h = playSpan(8, 10);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForCount(1));
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, std::chrono::milliseconds(1900)) << "two seconds of pictures";
    EXPECT_EQ(viewer.frames().back().number, 249);
    EXPECT_EQ(positions.entries()[0].framesBefore, viewer.count());
    EXPECT_EQ(positions.entries()[0].handle, h);
    EXPECT_FALSE(PositionLog().waitWithin(100));
    EXPECT_EQ(positions.entries().size(), 1u);
    EXPECT_EQ(LUMONET_StopPlayBack(h), 1);
    EXPECT_EQ(positions.entries().size(), 1u);
}

TEST_F(PlaybackTest, EndOfASpanInTheMiddleOfARecordingHoldsEveryPictureOfItOnce)
{
    begun();
    const int h = playSpan(2, 3);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForCount(1));
    const auto frames = viewer.frames();
    EXPECT_EQ(std::count_if(frames.begin(), frames.end(), shown), 25);
    EXPECT_EQ(frames.back().number, 74);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, EndWithoutAGoodbyeIsNoticed)
{
    peer.bye = false;
    begun();
    const int h = playSpan(8, 10);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_EQ(viewer.frames().back().number, 249);
    EXPECT_EQ(peer.count("PLAY"), 1);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, DeviceWithoutAbsoluteTimesIsPlayedByItsClockRate)
{
    peer.times = false;
    begun();
    const int h = playSpan(4, 10); // picture 96 is a key picture, four before the asked one
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(6));
    LUMONET_StopPlayBack(h);
    const auto frames = viewer.frames();
    EXPECT_EQ(frames[5].video.utcMs - frames[0].video.utcMs, 200u);
}

TEST_F(PlaybackTest, SeekDeliversNothingOfTheOldPositionAnyMore)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(5));
    ASSERT_EQ(LUMONET_PlayBackControl(h, 2, 7, 0), 1) << LUMONET_GetLastError();
    viewer.forgetUntil([](const SeenFrame& f) { return f.number >= 168; }); // the new position may have begun already
    ASSERT_TRUE(viewer.waitForCount(10));
    const auto frames = viewer.frames();
    EXPECT_EQ(frames[0].number, 168);
    EXPECT_EQ(frames[0].video.flags, kFlagDecodeOnly | kFlagNewPosition);
    EXPECT_EQ(frames[1].video.flags, kFlagDecodeOnly);
    EXPECT_TRUE(inOrder(frames));
    EXPECT_EQ(firstShown(frames), 175);
    EXPECT_EQ(shownTime(frames[7].video.utcMs), "2025-03-29 09:00:07.000");
    EXPECT_EQ(peer.connections(), 1) << "on the same session";
    // And back.
    ASSERT_EQ(LUMONET_PlayBackControl(h, 2, 1, 0), 1);
    viewer.forgetUntil([](const SeenFrame& f) { return f.number < 168; });
    ASSERT_TRUE(viewer.waitForCount(3));
    EXPECT_EQ(firstShown(viewer.frames()), 25);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, SeekBeyondTheSpanOrBeforeItIsRefusedAndPlayGoesOn)
{
    begun();
    const int h = playSpan(0, 5);
    ASSERT_GT(h, 0);
    for (const int seconds : {5, 1000, -1}) {
        EXPECT_EQ(LUMONET_PlayBackControl(h, 2, seconds, 0), 0) << seconds;
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    }
    ASSERT_TRUE(viewer.waitForCount(10));
    EXPECT_TRUE(inOrder(viewer.frames()));
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, SeekThatTheDeviceRefusesLeavesItPlaying)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(3));
    peer.set([&] { peer.statusOf["PLAY"] = 457; });
    EXPECT_EQ(LUMONET_PlayBackControl(h, 2, 7, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    ASSERT_TRUE(viewer.waitForCount(viewer.count() + 10));
    const auto frames = sinceLastJump(viewer.frames());
    EXPECT_GE(frames.size(), 10u);
    EXPECT_TRUE(inOrder(frames)) << "from a key picture on";
    EXPECT_LT(frames.back().number, 100);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, SeekBackAfterTheEndPlaysAgainAndEndsAgain)
{
    begun();
    const int h = playSpan(9, 10);
    ASSERT_TRUE(positions.waitForCount(1));
    viewer.clear();
    ASSERT_EQ(LUMONET_PlayBackControl(h, 2, 0, 0), 1);
    ASSERT_TRUE(positions.waitForCount(2));
    EXPECT_EQ(firstShown(viewer.frames()), 225);
    EXPECT_EQ(viewer.frames().back().number, 249);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, PauseStopsTheDeviceAndResumeGoesOnWithoutALostPicture)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(5));
    ASSERT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1);
    EXPECT_EQ(peer.pauses, 1);
    EXPECT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1) << "twice is once";
    EXPECT_EQ(peer.pauses, 1);
    EXPECT_FALSE(peer.playing);
    const size_t before = viewer.count();
    ASSERT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 1);
    EXPECT_EQ(lastPlay().header("Range"), "") << "from where it stands";
    ASSERT_TRUE(viewer.waitForCount(before + 20));
    EXPECT_TRUE(inOrder(viewer.frames()));
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, ResumeOfASessionThatWasNeverPausedSendsNothing)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(3));
    const int plays = peer.count("PLAY");
    EXPECT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 1);
    EXPECT_EQ(peer.count("PLAY"), plays);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, SpeedsAreScalesAndEachReplacesTheOther)
{
    begun();
    const int h = playSpan(0, 10);
    struct Row {
        int action, value;
        const char* scale;
    };
    for (const Row& row : {Row{4, 1, "0.5"}, Row{4, 4, "0.0625"}, Row{4, 0, "1"}, Row{3, 1, "2"}, Row{3, 2, "4"},
                           Row{4, 2, "0.25"}, Row{4, 3, "0.125"}, Row{3, 3, "8"}, Row{3, 4, "16"}, Row{3, 0, "1"}}) {
        const int plays = peer.count("PLAY");
        EXPECT_EQ(LUMONET_PlayBackControl(h, row.action, row.value, 0), 1);
        EXPECT_EQ(peer.count("PLAY"), plays + 1);
        EXPECT_EQ(lastPlay().header("Scale"), row.scale);
    }
    for (const int value : {-1, 5})
        for (const int action : {3, 4})
            EXPECT_EQ(LUMONET_PlayBackControl(h, action, value, 0), 0);
    for (const int action : {-1, 5})
        EXPECT_EQ(LUMONET_PlayBackControl(h, action, 0, 0), 0);
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_TRUE(inOrder(viewer.frames())) << "no picture is lost by a change of speed";
    EXPECT_EQ(viewer.frames().back().number, 249);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, FastForwardComesInAFractionOfItsTime)
{
    peer.pictures = 500;
    begun();
    const auto before = std::chrono::steady_clock::now();
    const int h = playSpan(0, 20);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 4, 0), 1);
    ASSERT_TRUE(positions.waitForCount(1));
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_LT(took, std::chrono::seconds(10)) << "20 s at 16 times";
    EXPECT_GE(took, std::chrono::milliseconds(1000));
    EXPECT_EQ(viewer.count(), 500u);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, SpeedResumesAPausedSession)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 3, 0), 1);
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_TRUE(inOrder(viewer.frames()));
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, EndOfAPausedPlaybackIsNotTold)
{
    begun();
    const int h = playSpan(9, 10);
    ASSERT_TRUE(viewer.waitForCount(5));
    ASSERT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1);
    EXPECT_FALSE(positions.waitWithin(1500));
    ASSERT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 1);
    EXPECT_TRUE(positions.waitForCount(1));
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, StopWaitsForARunningCallbackAndNoneFollows)
{
    begun();
    viewer.hold();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitUntilHeld());
    std::atomic<bool> stopped{false};
    std::thread stopping([&] {
        EXPECT_EQ(LUMONET_StopPlayBack(h), 1);
        stopped = true;
    });
    EXPECT_FALSE(PositionLog().waitWithin(200));
    EXPECT_FALSE(stopped);
    viewer.release();
    stopping.join();
    const size_t after = viewer.count();
    EXPECT_FALSE(positions.waitWithin(200));
    EXPECT_EQ(viewer.count(), after);
    EXPECT_EQ(LUMONET_StopPlayBack(h), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    EXPECT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 0);
}

TEST_F(PlaybackTest, LogoutEndsPlaybacks)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(3));
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    const size_t after = viewer.count();
    EXPECT_FALSE(positions.waitWithin(200));
    EXPECT_EQ(viewer.count(), after);
    EXPECT_EQ(LUMONET_StopPlayBack(h), 0);
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
}

TEST_F(PlaybackTest, RefusalsGiveAnErrorOfTheTable)
{
    begun();
    const auto refused = [&](const RecordTimeInfo& info, int error) {
        EXPECT_EQ(LUMONET_PlayBackByTimeEx(m_login, &info, &Viewer::onData, viewer.user(), nullptr, 0), 0);
        EXPECT_EQ(LUMONET_GetLastError(), error);
    };
    refused(byTime("2025-03-29 10:00:00", "2025-03-29 11:00:00"), LUMONET_ERR_REFUSED); // nothing recorded
    refused(byTime("2025-03-29 09:00:05", "2025-03-29 09:00:05"), LUMONET_ERR_ARGUMENT);
    refused(byTime("2025-13-29 09:00:05", "2025-03-29 09:00:09"), LUMONET_ERR_ARGUMENT);
    refused(byTime("", ""), LUMONET_ERR_ARGUMENT);
    refused(byTime("2025-03-29 09:00:00", "2025-03-29 09:00:09", 1), LUMONET_ERR_ARGUMENT);
    refused(byTime("2025-03-29 09:00:00", "2025-03-29 09:00:09", -1), LUMONET_ERR_ARGUMENT);
    peer.set([&] { peer.statusOf["PLAY"] = 453; });
    refused(byTime("2025-03-29 09:00:00", "2025-03-29 09:00:09"), LUMONET_ERR_SESSIONS);
    const RecordFileInfo nameless = byName("what.avi");
    EXPECT_EQ(LUMONET_PlayBackByName(m_login, &nameless, nullptr, &Viewer::onData, viewer.user()), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(LUMONET_PlayBackByName(m_login, nullptr, nullptr, &Viewer::onData, viewer.user()), 0);
    EXPECT_EQ(viewer.count(), 0u);
}

TEST_F(PlaybackTest, NoReplayOnADeviceThatHasNone)
{
    OnvifDevicePeer plain;
    begin();
    m_login = login("127.0.0.1", plain.port());
    ASSERT_GT(m_login, 0);
    EXPECT_EQ(playSpan(0, 5), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    RtspPeer bare;
    m_login = login(bare.url());
    ASSERT_GT(m_login, 0);
    EXPECT_EQ(playSpan(0, 5), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST_F(PlaybackTest, ForeignAndStaleHandlesAreRefused)
{
    begun();
    const int live = 0x20001;
    for (const int bad : {0, 1, -1, m_login, live, 0x30005, 0x40001}) {
        EXPECT_EQ(LUMONET_StopPlayBack(bad), 0);
        EXPECT_EQ(LUMONET_PlayBackControl(bad, 1, 0, 0), 0);
        EXPECT_EQ(LUMONET_StopFileDownload(bad), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    }
    const RecordTimeInfo info = byTime("2025-03-29 09:00:00", "2025-03-29 09:00:09");
    EXPECT_EQ(LUMONET_PlayBackByTimeEx(1, &info, &Viewer::onData, viewer.user(), nullptr, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
}
