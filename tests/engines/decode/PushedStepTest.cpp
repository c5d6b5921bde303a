// A pushed recording: the same controls as of a file; steps back work within what was pushed lately.
#include "Player.h"

#include <chrono>

using namespace clip;
using Clock = std::chrono::steady_clock;

namespace
{

class PushedStepTest : public ScreenTest
{
protected:
    static std::vector<Unit> pictures(int frames, int bFrames = 0, int fps = 25,
                                      lumo::VideoCodec codec = lumo::VideoCodec::H264)
    {
        Spec spec;
        spec.codec = codec;
        spec.frames = frames;
        spec.fps = fps;
        spec.saidFps = uint8_t(fps);
        spec.bFrames = bFrames;
        spec.keyEvery = 12;
        return numbered(spec);
    }
    static testing::AssertionResult shown(const TestWindow& window, int number)
    {
        int seen = -1;
        if (eventually([&] { return (seen = window.shot().number()) == number; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "shows " << seen << ", not " << number;
    }
};

TEST_F(PushedStepTest, StepsBothWaysThroughWhatWasPushed)
{
    using lumo::VideoCodec;
    const std::pair<VideoCodec, int> kinds[] = {
        {VideoCodec::H264, 0}, {VideoCodec::H264, 2}, {VideoCodec::H265, 2}, {VideoCodec::Mjpeg, 0}};
    for (const auto& [codec, bFrames] : kinds) {
        TestWindow window(320, 240);
        Player player(window.id(), Mode::Playback);
        LUMODEC_Pause(player.port(), 1);
        player.feed(pictures(40, bFrames, 25, codec));
        for (int number = 0; number < 40; ++number) {
            ASSERT_EQ(LUMODEC_OneByOne(player.port()), 1);
            ASSERT_TRUE(shown(window, number)) << int(codec) << " " << bFrames;
        }
        for (int number = 38; number >= 0; --number) {
            ASSERT_EQ(LUMODEC_OneByOneBack(player.port()), 1);
            ASSERT_TRUE(shown(window, number)) << int(codec) << " " << bFrames;
        }
        LUMODEC_OneByOneBack(player.port()); // nothing is before
        LUMODEC_OneByOne(player.port());
        ASSERT_TRUE(shown(window, 1));
        LUMODEC_Play(player.port(), window.id());
        EXPECT_TRUE(shown(window, 39)) << "plays on to the end";
    }
}

TEST_F(PushedStepTest, StepBackFromNormalPlayingAndOnAgainLosesNothing)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    const auto all = pictures(60, 2);
    for (size_t i = 0; i < 30; ++i)
        player.feed(all[i].frame);
    ASSERT_TRUE(eventually([&] { return window.shot().number() >= 14; }));
    ASSERT_EQ(LUMODEC_Pause(player.port(), 1), 1);
    ASSERT_EQ(LUMODEC_OneByOneBack(player.port()), 1);
    int highest = -1, from = -1;
    ASSERT_TRUE(eventually([&] {
        from = window.shot().number();
        highest = std::max(highest, from);
        return from >= 0 && from < highest;
    })) << "a step back is seen as a lower number";
    for (int back = 1; back <= 10; ++back) {
        LUMODEC_OneByOneBack(player.port());
        ASSERT_TRUE(shown(window, from - back));
    }
    for (int on = 9; on >= 0; --on) {
        LUMODEC_OneByOne(player.port());
        ASSERT_TRUE(shown(window, from - on));
    }
    LUMODEC_Play(player.port(), window.id());
    for (size_t i = 30; i < all.size(); ++i)
        player.feed(all[i].frame);
    EXPECT_TRUE(shown(window, 59));
}

TEST_F(PushedStepTest, StepForwardWaitsForItsPicture)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    const auto all = pictures(10);
    player.feed(all[0].frame);
    ASSERT_TRUE(shown(window, 0));
    ASSERT_EQ(LUMODEC_OneByOne(player.port()), 1);
    ASSERT_EQ(LUMODEC_OneByOne(player.port()), 1);
    for (size_t i = 1; i < all.size(); ++i)
        player.feed(all[i].frame);
    EXPECT_TRUE(shown(window, 2));
    EXPECT_GT(LUMODEC_GetSourceBufferRemain(player.port()), 0) << "the rest waits";
}

TEST_F(PushedStepTest, WhatWasRefreshedAwayIsNotSteppedBackTo)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    player.feed(pictures(5));
    ASSERT_TRUE(shown(window, 4));
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_RefreshPlay(player.port());
    player.feed(pictures(20));
    ASSERT_TRUE(shown(window, 0)) << "the first that arrives";
    LUMODEC_OneByOneBack(player.port());
    LUMODEC_OneByOne(player.port());
    EXPECT_TRUE(shown(window, 1));
}

TEST_F(PushedStepTest, HistoryIsBoundedAndStepsBackEndWhereItDoes)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback, Player::freePort(), 64 << 20);
    const auto all = pictures(36, 0, 100);
    // A frame that is not shown, of half a megabyte after each picture, fills what is kept.
    for (const auto& unit : all) {
        auto large = unit.payload;
        large.resize(large.size() + (3 << 20), 0);
        player.feed(wrap(unit.key, lumo::VideoCodec::H264, 1'700'000'000'000, large));
    }
    ASSERT_TRUE(shown(window, 35));
    LUMODEC_Pause(player.port(), 1);
    for (int i = 0; i < 40; ++i)
        LUMODEC_OneByOneBack(player.port());
    LUMODEC_OneByOne(player.port());
    EXPECT_TRUE(eventually([&] { return window.shot().number() >= 0; }));
}

TEST_F(PushedStepTest, InputAfterAnIdleWhileGoesOnWithoutALoss)
{
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Playback);
    const auto all = pictures(24, 2, 50);
    for (size_t i = 0; i < 8; ++i)
        player.feed(all[i].frame);
    ASSERT_TRUE(shown(window, 9)) << "drained: what waited for its neighbours comes out";
    static std::vector<int> seen;
    seen.clear();
    LUMODEC_RegisterDrawCallback(
        player.port(),
        [](int, void* context, int32_t) {
            const int number = numberIn(*static_cast<LumoDrawSurface*>(context));
            if (seen.empty() || seen.back() != number)
                seen.push_back(number);
        },
        0);
    for (size_t i = 8; i < all.size(); ++i)
        player.feed(all[i].frame);
    ASSERT_TRUE(shown(window, 23));
    LUMODEC_Stop(player.port());
    ASSERT_GE(seen.size(), 2u);
    for (size_t i = 1; i < seen.size(); ++i)
        EXPECT_GT(seen[i], seen[i - 1]);
    EXPECT_GE(seen.size(), 14u) << "no picture was lost for want of a key frame";
}

TEST_F(PushedStepTest, SpeedsOfAPushedRecording)
{
    for (const int steps : {2, -1}) {
        TestWindow window(320, 240);
        Player player(window.id(), Mode::Playback);
        player.feed(pictures(1));
        ASSERT_TRUE(shown(window, 0));
        ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
        for (int i = 0; i < std::abs(steps); ++i)
            ASSERT_EQ(steps > 0 ? LUMODEC_Fast(player.port()) : LUMODEC_Slow(player.port()), 1);
        const int count = steps > 0 ? 101 : 26;
        const auto all = pictures(count);
        const auto begin = Clock::now();
        player.feed(all);
        ASSERT_TRUE(shown(window, count - 1));
        const double took = std::chrono::duration<double>(Clock::now() - begin).count();
        const double wanted = (count - 1) / 25.0 / (steps > 0 ? 4 : 0.5);
        EXPECT_GT(took, wanted * 0.9);
        EXPECT_LT(took, wanted * 1.6 + 0.5);
    }
}

} // namespace
