// A pushed port in playback mode: paced by the pictures' times, input waits for room, a paused port loses nothing.
#include "Player.h"

#include <atomic>
#include <mutex>

using namespace clip;
using Clock = std::chrono::steady_clock;

namespace
{

std::mutex g_lock;
std::vector<Clock::time_point> g_times;

void stamp(int, void*, int32_t)
{
    std::lock_guard guard(g_lock);
    g_times.push_back(Clock::now());
}

class PlaybackModeTest : public ScreenTest
{
protected:
    static std::vector<Unit> pictures(int frames, int fps = 25, uint64_t utcMs = 1'700'000'000'000)
    {
        Spec spec;
        spec.frames = frames;
        spec.fps = fps;
        spec.utcMs = utcMs;
        return numbered(spec);
    }
    static double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }
    static bool shown(const TestWindow& window, int number)
    {
        return eventually([&] { return window.shot().number() == number; });
    }
};

TEST_F(PlaybackModeTest, PicturesArePacedByTheirTimes)
{
    g_times.clear();
    TestWindow window(320, 240);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, stamp, 0);
    Player player(window.id(), Mode::Playback, port);
    player.feed(pictures(21, 20)); // one second's worth at once
    ASSERT_TRUE(shown(window, 20));
    std::lock_guard guard(g_lock);
    ASSERT_EQ(g_times.size(), 21u);
    const double took = ms(g_times.back() - g_times.front());
    EXPECT_GT(took, 950);
    EXPECT_LT(took, 3000);
}

TEST_F(PlaybackModeTest, PausedPortLosesNothing)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    const auto all = pictures(100, 100);
    player.feed(all[0].frame);
    ASSERT_TRUE(shown(window, 0));
    LUMODEC_Pause(player.port(), 1);
    g_times.clear();
    LUMODEC_RegisterDrawCallback(player.port(), stamp, 0);
    for (size_t i = 1; i < all.size(); ++i)
        player.feed(all[i].frame);
    EXPECT_EQ(window.shot().number(), 0);
    EXPECT_GT(LUMODEC_GetSourceBufferRemain(player.port()), 0);
    LUMODEC_Pause(player.port(), 0);
    ASSERT_TRUE(shown(window, 99));
    std::lock_guard guard(g_lock);
    EXPECT_GE(g_times.size(), 99u);
}

TEST_F(PlaybackModeTest, InputWaitsForRoomAtMostHalfASecondAndThenTakesTheFrame)
{
    Player player(0, Mode::Playback, Player::freePort(), 65536);
    LUMODEC_Pause(player.port(), 1);
    const auto block = wrap(false, lumo::VideoCodec::H264, 1, Bytes(40000, 1));
    player.feed(block);
    const auto begin = Clock::now();
    player.feed(block);
    const double took = ms(Clock::now() - begin);
    EXPECT_GE(took, 490);
    EXPECT_LT(took, 3000);
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(player.port()), int(2 * block.size()));
}

TEST_F(PlaybackModeTest, StopAndCloseEndAWaitingInput)
{
    for (const bool close : {false, true}) {
        const int port = Player::freePort();
        Player player(0, Mode::Playback, port, 65536);
        LUMODEC_Pause(port, 1);
        const auto block = wrap(false, lumo::VideoCodec::H264, 1, Bytes(40000, 1));
        player.feed(block);
        std::atomic<bool> begun{false};
        std::atomic<int64_t> waited{0};
        std::thread input([&] {
            const auto begin = Clock::now();
            begun = true;
            player.feed(block);
            waited = int64_t(ms(Clock::now() - begin));
        });
        ASSERT_TRUE(eventually([&] { return begun.load(); }));
        if (close)
            player.close();
        else
            EXPECT_EQ(LUMODEC_Stop(port), 1);
        input.join();
        EXPECT_LT(waited, 450);
    }
}

TEST_F(PlaybackModeTest, RefreshEmptiesTheQueueAndKeepsThePicture)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    const auto old = pictures(50, 5);
    player.feed(old);
    ASSERT_TRUE(shown(window, 0));
    EXPECT_GT(LUMODEC_GetSourceBufferRemain(player.port()), 0);
    EXPECT_EQ(LUMODEC_RefreshPlay(player.port()), 1);
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(player.port()), 0);
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetBufferValue(player.port(), 3) == 0; }));
    EXPECT_LE(window.shot().number(), 1) << "the picture stays";
    EXPECT_GE(LUMODEC_GetCurrentFrameTime(player.port()), 1'700'000'000);
    player.feed(old[45].frame); // in the middle of a group: nothing to stand on
    player.feed(pictures(1, 25, 1'600'000'000'000));
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'600'000'000; }));
}

TEST_F(PlaybackModeTest, RefreshKeepsWhatCameOfANewPositionBeforeIt)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    player.feed(pictures(50, 5));
    ASSERT_TRUE(shown(window, 0));
    LUMODEC_Pause(player.port(), 1);
    Spec spec;
    spec.frames = 10;
    spec.utcMs = 1'600'000'000'000;
    auto fresh = solid(spec, kWhite);
    fresh.front().frame[10] |= lumo::kFlagNewPosition; // the low byte of the flags
    player.feed(fresh);
    const int waiting = LUMODEC_GetSourceBufferRemain(player.port());
    EXPECT_EQ(LUMODEC_RefreshPlay(player.port()), 1);
    EXPECT_TRUE(shows(window, 10, 10, {255, 255, 255}));
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'600'000'000; }));
    EXPECT_GT(waiting, 0);
    EXPECT_GT(LUMODEC_GetSourceBufferRemain(player.port()), 0) << "the rest waits";
    // The next call is an ordinary one again.
    EXPECT_EQ(LUMODEC_RefreshPlay(player.port()), 1);
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(player.port()), 0);
}

TEST_F(PlaybackModeTest, RefreshWhenPausedShowsTheFirstPictureThatArrives)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    player.feed(pictures(1));
    ASSERT_TRUE(shown(window, 0));
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_RefreshPlay(player.port());
    Spec spec;
    spec.frames = 10;
    spec.utcMs = 1'600'000'000'000;
    player.feed(solid(spec, kWhite));
    EXPECT_TRUE(shows(window, 10, 10, {255, 255, 255}));
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'600'000'000; }));
    EXPECT_GT(LUMODEC_GetSourceBufferRemain(player.port()), 0) << "the rest waits";
}

TEST_F(PlaybackModeTest, RefreshEndsAWaitingInputByDroppingItsBlock)
{
    Player player(0, Mode::Playback, Player::freePort(), 65536);
    LUMODEC_Pause(player.port(), 1);
    const auto block = wrap(false, lumo::VideoCodec::H264, 1, Bytes(40000, 1));
    player.feed(block);
    std::atomic<bool> begun{false};
    std::thread input([&] {
        Bytes two = block;
        two.insert(two.end(), block.begin(), block.end());
        begun = true;
        player.feed(two);
    });
    ASSERT_TRUE(eventually([&] { return begun.load(); }));
    // The wait may not have begun yet; then the block is taken after the refresh, and both frames are there.
    LUMODEC_RefreshPlay(player.port());
    input.join();
    const int left = LUMODEC_GetSourceBufferRemain(player.port());
    EXPECT_TRUE(left == 0 || left == int(2 * block.size())) << left;
}

TEST_F(PlaybackModeTest, MemoryOfAPausedPortIsBounded)
{
    const int port = Player::freePort();
    Player player(0, Mode::Playback, port, 64 << 20);
    LUMODEC_Pause(port, 1);
    const auto key = wrap(true, lumo::VideoCodec::H264, 1, Bytes(1 << 20, 1));
    for (int i = 0; i < 63; ++i)
        player.feed(key);
    player.feed(key); // waits, then drops the oldest group
    EXPECT_LE(LUMODEC_GetSourceBufferRemain(port), 64 << 20);
}

TEST_F(PlaybackModeTest, IdleInputDrainsWhatTheDecoderHolds)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    Spec spec;
    spec.frames = 20;
    spec.fps = 50;
    spec.bFrames = 2;
    player.feed(numbered(spec));
    EXPECT_TRUE(shown(window, 19)) << window.shot().number();
    EXPECT_TRUE(eventually([&] {
        return LUMODEC_GetSourceBufferRemain(player.port()) == 0 && LUMODEC_GetBufferValue(player.port(), 3) == 0;
    }));
}

TEST_F(PlaybackModeTest, DecodedPictureThatWaitsIsCounted)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    player.feed(pictures(3, 1));
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetBufferValue(player.port(), 3) == 1; }));
}

TEST_F(PlaybackModeTest, GapInTheTimesIsNotWaitedFor)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    player.feed(pictures(2, 25, 1'600'000'000'000));
    player.feed(pictures(2, 25, 1'600'000'600'000)); // ten minutes on
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'600'000'600; }));
    player.feed(pictures(2, 25, 1'500'000'000'000)); // and back
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'500'000'000; }));
}

} // namespace
