// Live mode: the picture on the window is never old, whatever the input does.
#include "Player.h"

#include "LiveRule.h"

#include <atomic>

using namespace clip;
using lumo::LiveRule;
using Verdict = lumo::LiveRule::Verdict;

namespace
{

std::atomic<int> g_shown{0};
std::atomic<bool> g_hold{false};
std::atomic<bool> g_held{false};

void countShown(int, void*, int32_t)
{
    ++g_shown;
}

void holdUp(int, void*, int32_t)
{
    ++g_shown;
    g_held = true;
    eventually([] { return !g_hold; });
}

TEST(LiveRuleTest, UpToFourHundredMsIsShown)
{
    LiveRule rule;
    EXPECT_EQ(rule.judge(true, 0), Verdict::Show);
    EXPECT_EQ(rule.judge(false, 400), Verdict::Show);
}

TEST(LiveRuleTest, PastFourHundredMsIsDecodedOnlyUntilCaughtUp)
{
    LiveRule rule;
    EXPECT_EQ(rule.judge(false, 401), Verdict::DecodeOnly);
    EXPECT_EQ(rule.judge(false, 300), Verdict::DecodeOnly);
    EXPECT_EQ(rule.judge(true, 120), Verdict::DecodeOnly);
    EXPECT_EQ(rule.judge(false, 60), Verdict::Show);
    EXPECT_EQ(rule.judge(false, 300), Verdict::Show);
}

TEST(LiveRuleTest, NewestPictureIsShownHoweverLate)
{
    LiveRule rule;
    EXPECT_EQ(rule.judge(false, 1500), Verdict::DecodeOnly);
    EXPECT_EQ(rule.judge(false, 300, true), Verdict::Show);
    EXPECT_EQ(rule.judge(false, 1999, true), Verdict::Show);
}

TEST(LiveRuleTest, PastTwoSecondsEverythingUpToTheNextTimelyKeyFrameIsDropped)
{
    LiveRule rule;
    EXPECT_EQ(rule.judge(false, 2001), Verdict::Skip);
    EXPECT_EQ(rule.judge(false, 50), Verdict::Skip);
    EXPECT_EQ(rule.judge(true, 2500), Verdict::Skip);
    EXPECT_EQ(rule.judge(false, 1000), Verdict::Skip);
    EXPECT_EQ(rule.judge(true, 1000), Verdict::DecodeOnly);
    EXPECT_EQ(rule.judge(false, 20), Verdict::Show);
}

class LiveTest : public ScreenTest
{
};

TEST_F(LiveTest, EveryPictureIsShownAtArrival)
{
    g_shown = 0;
    TestWindow window(320, 240);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, countShown, 0);
    Player player(window.id(), Mode::Live, port);
    Spec spec;
    spec.frames = 20;
    int number = 0;
    for (const auto& unit : numbered(spec)) {
        player.feed(unit.frame);
        ASSERT_TRUE(eventually([&] { return window.shot().number() == number; })) << "no picture waits for the next";
        ++number;
    }
    EXPECT_EQ(g_shown, 20);
}

TEST_F(LiveTest, H265PicturesAreShownAtArrivalToo)
{
    TestWindow window(320, 240);
    Player player(window.id());
    Spec spec;
    spec.codec = lumo::VideoCodec::H265;
    spec.frames = 10;
    int number = 0;
    for (const auto& unit : numbered(spec)) {
        player.feed(unit.frame);
        ASSERT_TRUE(eventually([&] { return window.shot().number() == number; }));
        ++number;
    }
}

TEST_F(LiveTest, FloodNeverGrowsTheQueueAndEndsWithTheLastPicture)
{
    constexpr int kBuffer = 512 * 1024;
    TestWindow window(320, 240);
    Player player(window.id(), Mode::Live, Player::freePort(), kBuffer);
    Spec spec;
    spec.frames = 500; // twenty seconds at once
    spec.width = 640;
    spec.height = 480;
    int largest = 0;
    for (const auto& unit : numbered(spec)) {
        player.feed(unit.frame);
        largest = std::max(largest, LUMODEC_GetSourceBufferRemain(player.port()));
    }
    EXPECT_LE(largest, kBuffer);
    EXPECT_TRUE(eventually([&] { return window.shot().number() == 499; })) << window.shot().number();
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(player.port()), 0);
}

TEST_F(LiveTest, AfterAStandstillTheBacklogIsNotShown)
{
    // The port is held up while three seconds arrive; then it must not show them one by one.
    g_shown = 0;
    g_held = false;
    g_hold = true;
    TestWindow window(320, 240);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, holdUp, 0);
    Player player(window.id(), Mode::Live, port);
    Spec spec;
    spec.frames = 76;
    const auto units = numbered(spec);
    player.feed(units[0].frame);
    ASSERT_TRUE(eventually([] { return g_held.load(); }));
    for (size_t i = 1; i < units.size(); ++i)
        player.feed(units[i].frame);
    g_hold = false;
    EXPECT_TRUE(eventually([&] { return window.shot().number() == 75; }));
    EXPECT_LT(g_shown, 20);
}

TEST_F(LiveTest, InputNeverWaits)
{
    g_held = false;
    g_hold = true;
    TestWindow window(64, 48);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, holdUp, 0);
    Player player(window.id(), Mode::Live, port, 65536);
    const auto key = solid({}, kRed).front().frame;
    player.feed(key);
    ASSERT_TRUE(eventually([] { return g_held.load(); }));
    for (int i = 0; i < 5000; ++i)
        player.feed(key); // far more than the buffer: returns at once each time
    EXPECT_TRUE(g_hold);
    EXPECT_LE(LUMODEC_GetSourceBufferRemain(port), 65536);
    g_hold = false;
}

TEST_F(LiveTest, DamagedDataRecoversAtTheNextKeyFrame)
{
    for (const auto codec : {lumo::VideoCodec::H264, lumo::VideoCodec::H265, lumo::VideoCodec::Mjpeg}) {
        TestWindow window(320, 240);
        Player player(window.id());
        Spec spec;
        spec.codec = codec;
        spec.frames = 60;
        spec.keyEvery = 30;
        auto units = numbered(spec);
        for (size_t i = 0; i < units.size(); ++i) {
            if (i >= 5 && i < 30) // damage the first group
                for (size_t at = lumo::kVideoHeaderSize + 6; at < units[i].frame.size(); at += 7)
                    units[i].frame[at] ^= uint8_t(0x5A + at);
            player.feed(units[i].frame);
        }
        EXPECT_TRUE(eventually([&] { return window.shot().number() == 59; }));
    }
}

TEST_F(LiveTest, StreamThatBeginsInTheMiddleWaitsForItsKeyFrame)
{
    TestWindow window(320, 240);
    Player player(window.id());
    Spec spec;
    spec.frames = 40;
    spec.keyEvery = 20;
    const auto units = numbered(spec);
    for (size_t i = 5; i < 20; ++i)
        player.feed(units[i].frame);
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; }));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 0);
    for (size_t i = 20; i < 40; ++i)
        player.feed(units[i].frame);
    EXPECT_TRUE(eventually([&] { return window.shot().number() == 39; }));
}

TEST_F(LiveTest, PictureSizeAndCodecMayChangeInTheStream)
{
    TestWindow window(160, 120);
    Player player(window.id());
    Spec spec;
    player.feed(solid(spec, kRed));
    ASSERT_TRUE(shows(window, 80, 60, {255, 0, 0}));
    spec.width = 640;
    spec.height = 360;
    player.feed(solid(spec, kGreen));
    EXPECT_TRUE(shows(window, 158, 118, {0, 255, 0}));
    spec.codec = lumo::VideoCodec::H265;
    spec.width = 176;
    spec.height = 144;
    player.feed(solid(spec, kBlue));
    EXPECT_TRUE(shows(window, 158, 118, {0, 0, 255}));
    spec.codec = lumo::VideoCodec::H264;
    player.feed(solid(spec, kWhite));
    EXPECT_TRUE(shows(window, 158, 118, {255, 255, 255}));
}

} // namespace
