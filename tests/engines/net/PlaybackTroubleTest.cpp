// Playback when something stands in its way: a window that stands still, a device that is cut, silent, deaf or lost.
#include "PlaybackFixture.h"

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

TEST_F(PlaybackTest, OneThatIsMadeToWaitHoldsTheDeviceBackAndLosesNothing)
{
    peer.pictures = 2000;
    peer.padding = 40000; // so that what the connection holds is little of it
    begun();
    viewer.hold();
    const int h = playSpan(0, 80);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 4, 0), 1);
    ASSERT_TRUE(viewer.waitUntilHeld());
    // The device comes to a stop: two looks far apart find the same number.
    int before = -1;
    ASSERT_TRUE(peer.waitFor([&] {
        const int now = peer.sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // standing still is told by time alone
        return std::exchange(before, peer.sent.load()) == now && now > 10;
    }));
    EXPECT_LT(peer.sent, 1000);
    viewer.release();
    ASSERT_TRUE(viewer.waitFor([](const auto& f) { return f.size() >= 1000; }));
    EXPECT_TRUE(inOrder(viewer.frames()));
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, LongHeldBackTheDeviceIsPausedAndGoesOnWhenThereIsRoom)
{
    defaults().timings.heldPauseMs = 300;
    peer.pictures = 2000;
    begun();
    viewer.hold();
    const int h = playSpan(0, 80);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 4, 0), 1);
    ASSERT_TRUE(peer.waitFor([&] { return peer.pauses == 1; }));
    EXPECT_TRUE(peer.waitFor([&] { return !peer.playing; }));
    viewer.release();
    ASSERT_TRUE(viewer.waitFor([](const auto& f) { return f.size() >= 500; }));
    EXPECT_TRUE(inOrder(viewer.frames()));
    EXPECT_GE(peer.count("PLAY"), 3);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, ControlsOfAWindowThatStandsStillAreAnsweredAtOnce)
{
    defaults().timings.heldPauseMs = 300;
    peer.pictures = 4000;
    peer.padding = 20000;
    begun();
    viewer.hold();
    const int h = playSpan(0, 160);
    ASSERT_EQ(LUMONET_PlayBackControl(h, 3, 4, 0), 1);
    ASSERT_TRUE(peer.waitFor([&] { return peer.pauses >= 1; }));
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 2, 100, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 3, 2, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 1); }), 200);
    viewer.release();
    ASSERT_TRUE(viewer.waitFor([](const auto& f) { return f.size() >= 50; }));
    const auto frames = viewer.frames();
    EXPECT_TRUE(inOrder({frames.begin() + 1, frames.end()})) << "the first one was of before the seek";
    EXPECT_EQ(firstShown({frames.begin() + 1, frames.end()}), 2500);
    LUMONET_StopPlayBack(h);
}

namespace
{

/// Takes a frame as a paused decoder does: only after half a second.
int takeSlowly(long, long, uint8_t*, long, intptr_t user)
{
    auto& inside = *reinterpret_cast<std::atomic<int>*>(user);
    ++inside;
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // being slow is its part
    --inside;
    return 1;
}

} // namespace

TEST_F(PlaybackTest, APeerAnswersRequestsThatCameInOnePiece)
{
    // As a keep-alive and a control do that are due at the same moment: one that was left would look like a time-out.
    Socket socket;
    PollSet poll;
    ASSERT_TRUE(socket.startConnect(resolveAddress("127.0.0.1", uint16_t(peer.port()))));
    const size_t slot = poll.add(socket.handle(), false, true);
    ASSERT_TRUE(poll.wait(kLongMs));
    const std::string two = "GET_PARAMETER * RTSP/1.0\r\nCSeq: 1\r\n\r\nGET_PARAMETER * RTSP/1.0\r\nCSeq: 2\r\n\r\n";
    ASSERT_EQ(socket.send(two.data(), two.size()).size, two.size());
    poll.set(slot, true, false);
    std::string answers;
    char buffer[4096];
    while (answers.find("CSeq: 2") == std::string::npos && poll.wait(kLongMs)) {
        const IoResult got = socket.receive(buffer, sizeof buffer);
        if (got.state != Io::Done)
            break;
        answers.append(buffer, got.size);
    }
    EXPECT_NE(answers.find("CSeq: 2"), std::string::npos) << answers;
}

TEST_F(PlaybackTest, AfterAMinuteOfStandingStillEachControlIsAnsweredAtOnce)
{
    peer.pictures = 4000;
    begun();
    std::atomic<int> inside[4] = {};
    int handles[4];
    for (int i = 0; i < 4; ++i) {
        const RecordTimeInfo info = byTime("2025-03-29 09:00:00", "2025-03-29 09:02:40");
        handles[i] = LUMONET_PlayBackByTimeEx(m_login, &info, &takeSlowly, reinterpret_cast<intptr_t>(&inside[i]),
                                              &PositionLog::onPosition, positions.user());
        ASSERT_GT(handles[i], 0);
    }
    EXPECT_FALSE(positions.waitWithin(60000)) << "a window that stands still has no end";
    EXPECT_GE(peer.pauses, 4) << "the library paused each session itself";
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(handles[0], 1, 0, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(handles[1], 2, 100, 0), 1); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(handles[2], 3, 1, 0), 1); }), 200);
    // A stop waits for a callback that is running just then, and for nothing else.
    const int64_t own = inside[3] > 0 ? 500 : 0;
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_StopPlayBack(handles[3]), 1); }), 200 + own);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(LUMONET_StopPlayBack(handles[i]), 1);
}

TEST_F(PlaybackTest, SessionThatEndsInTheMiddleIsOpenedAgainWhereItWas)
{
    defaults().timings.retryMs = {500, 500, 500};
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(20));
    peer.cutAfter = peer.sent + 5;
    ASSERT_TRUE(peer.waitFor([&] { return peer.cutAfter == 0; }));
    peer.cutAfter = -1;
    ASSERT_TRUE(viewer.waitForCount(100));
    EXPECT_TRUE(inOrder(viewer.frames())) << "none twice, none missing";
    EXPECT_EQ(peer.count("DESCRIBE"), 2);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, DeviceThatDiesInTheMiddleEndsThePlaybackOnce)
{
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(20));
    testing::internal::CaptureStderr();
    peer.cutAfter = peer.sent + 5; // and nobody is let in any more
    const bool ended = positions.waitForCount(1);
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(ended);
    EXPECT_NE(
        told.find("LumoNet: playback " + std::to_string(h) + " ended early: the device does not answer any more\n"),
        std::string::npos)
        << told;
    EXPECT_TRUE(inOrder(viewer.frames()));
    EXPECT_EQ(positions.entries()[0].framesBefore, viewer.count());
    EXPECT_EQ(LUMONET_PlayBackControl(h, 1, 0, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_EQ(LUMONET_StopPlayBack(h), 1);
    EXPECT_EQ(positions.entries().size(), 1u);
    // And the next command works.
    peer.cutAfter = -1;
    viewer.clear();
    const int again = playSpan(0, 10);
    ASSERT_GT(again, 0);
    EXPECT_TRUE(viewer.waitForCount(5));
    LUMONET_StopPlayBack(again);
}

TEST_F(PlaybackTest, DeviceThatFallsSilentInTheMiddleEndsThePlayback)
{
    defaults().timings.silenceMs = 300;
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(10));
    peer.stopAfter = peer.sent.load();
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_EQ(peer.count("DESCRIBE"), 1 + defaults().timings.replayTries);
    LUMONET_StopPlayBack(h);
}

TEST_F(PlaybackTest, DeafDeviceMakesAControlWaitItsTimeOutOnlyOnce)
{
    defaults().timings.openMs = 400;
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(3));
    peer.deaf = true;
    EXPECT_EQ(LUMONET_PlayBackControl(h, 0, 0, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_LT(tookMs([&] { LUMONET_PlayBackControl(h, 2, 5, 0); }), 200);
    EXPECT_LT(tookMs([&] { LUMONET_PlayBackControl(h, 1, 0, 0); }), 200);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_StopPlayBack(h), 1); }), 200);
}

TEST_F(PlaybackTest, LostDeviceIsRefusedAtOnce)
{
    defaults().timings.watchPeriodMs = 30;
    defaults().timings.watchRequestMs = 1000;
    begun();
    const int h = playSpan(0, 10);
    ASSERT_TRUE(viewer.waitForCount(3));
    onvif.deaf = true;
    ASSERT_TRUE(onvif.waitFor([&] { return disconnects == 1; }));
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_PlayBackControl(h, 2, 5, 0), 0); }), 100);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_LE(playSpan(0, 5), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_LT(tookMs([&] { EXPECT_EQ(LUMONET_Logout(m_login), 1); }), 1000);
}
