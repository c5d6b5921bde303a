// The talk port: what a device says is heard at most 150 ms after its frame came, whatever came before it. The clock is
// the device's own, SDL's disk driver: a sample's place in its file is when it was heard.
#include "Environment.h"
#include "PlayedSound.h"
#include "Player.h"

#include <cmath>
#include <cstdlib>

using namespace clip;
using played::kRate;

namespace
{

constexpr int kDeviceMs = 43; // what a sound card holds beside, two blocks, and the disk driver does not
constexpr int kLongestMs = 150 - kDeviceMs;

class TalkSoundTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setEnvironment("SDL_AUDIODRIVER", "disk");
        setEnvironment("SDL_DISKAUDIOFILE", m_file);
    }

    size_t playedMs() const { return played::ms(m_file); }
    bool playsOn(size_t ms) const
    {
        const size_t begin = playedMs();
        return eventually([&] { return playedMs() >= begin + ms; });
    }
    /// Feeds each frame when the time of those before it was played.
    bool feedInTime(Player& player, const std::vector<Bytes>& frames, size_t frameMs) const
    {
        const size_t begin = playedMs();
        for (size_t i = 0; i < frames.size(); ++i) {
            if (!eventually([&] { return playedMs() >= begin + i * frameMs; }))
                return false;
            player.feed(frames[i]);
        }
        return true;
    }
    /// When this pitch is first heard, in ms of the device's time; -1 when never.
    double firstHeardMs(double hz) const
    {
        constexpr size_t kWindow = kRate / 200;
        const auto samples = played::left(m_file);
        for (size_t i = 0; i + kWindow <= samples.size(); i += kWindow / 4) {
            const std::vector<double> part(samples.begin() + ptrdiff_t(i), samples.begin() + ptrdiff_t(i + kWindow));
            const bool loud = std::any_of(part.begin(), part.end(), [](double s) { return std::abs(s) > 3000; });
            if (loud && played::share(part, hz) > 0.8)
                return double(i) * 1000 / kRate;
        }
        return -1;
    }

    /// Measured in real time on a machine that does other things, too: one of three times must do.
    using Road = std::function<double(Player&)>; // says how many ms after its frame a tone was heard
    testing::AssertionResult inTime(const Road& road)
    {
        auto result = testing::AssertionFailure();
        for (int i = 0; i < 3; ++i) {
            std::filesystem::remove(m_file);
            Player player(0, Mode::None, LUMODEC_TALK_PORT);
            EXPECT_EQ(LUMODEC_PlaySound(player.port()), 1);
            EXPECT_TRUE(playsOn(100));
            const double late = road(player);
            if (late >= 0 && late <= kLongestMs)
                return testing::AssertionSuccess();
            result << late << " ms; ";
        }
        return result;
    }

    TempFolder m_folder;
    const std::string m_file = m_folder / "sound.raw";
};

TEST_F(TalkSoundTest, FirstFrameIsHeardInTime)
{
    for (const int rate : {8000, 16000}) {
        for (const int frameMs : {20, 40}) {
            EXPECT_TRUE(inTime([&](Player& player) {
                const auto begin = double(playedMs());
                EXPECT_TRUE(feedInTime(player, aLawTone(rate, 2000, 400, frameMs), size_t(frameMs)));
                EXPECT_TRUE(playsOn(100));
                return firstHeardMs(2000) - begin;
            })) << rate
                << " Hz, " << frameMs << " ms";
        }
    }
}

TEST_F(TalkSoundTest, SingleFrameIsHeardInTime)
{
    EXPECT_TRUE(inTime([&](Player& player) {
        const auto begin = double(playedMs());
        player.feed(aLawTone(8000, 2000, 20, 20).front());
        EXPECT_TRUE(playsOn(300));
        return firstHeardMs(2000) - begin;
    }));
}

TEST_F(TalkSoundTest, WhatFollowsABurstIsHeardInTime)
{
    EXPECT_TRUE(inTime([&](Player& player) {
        EXPECT_TRUE(feedInTime(player, aLawTone(8000, 400, 200, 20), 20));
        for (const auto& frame : aLawTone(8000, 400, 1000, 20))
            player.feed(frame); // a second's speech at once, as after a pause of the network
        EXPECT_TRUE(feedInTime(player, aLawTone(8000, 400, 200, 20), 20));
        const auto begin = double(playedMs());
        EXPECT_TRUE(feedInTime(player, aLawTone(8000, 2000, 200, 20), 20));
        EXPECT_TRUE(playsOn(300));
        return firstHeardMs(2000) - begin;
    }));
}

TEST_F(TalkSoundTest, FramesThatComeTooFastDoNotPileUp)
{
    EXPECT_TRUE(inTime([&](Player& player) {
        // A device whose clock is a tenth fast, for three seconds.
        EXPECT_TRUE(feedInTime(player, aLawTone(8000, 400, 3000, 20), 18));
        const auto begin = double(playedMs());
        EXPECT_TRUE(feedInTime(player, aLawTone(8000, 2000, 200, 20), 20));
        EXPECT_TRUE(playsOn(300));
        return firstHeardMs(2000) - begin;
    }));
}

TEST_F(TalkSoundTest, SpeechInTimeIsHeardWithoutAGap)
{
    auto result = testing::AssertionFailure();
    for (int round = 0; round < 3; ++round) {
        std::filesystem::remove(m_file);
        Player player(0, Mode::None, LUMODEC_TALK_PORT);
        ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
        ASSERT_TRUE(feedInTime(player, aLawTone(8000, 1000, 2000, 20), 20));
        ASSERT_TRUE(playsOn(200));
        size_t longest = 0, quiet = 0;
        for (const double sample : played::heard(m_file)) {
            quiet = std::abs(sample) > 300 ? 0 : quiet + 1;
            longest = std::max(longest, quiet);
        }
        if (longest < size_t(kRate) / 100)
            return;
        result << longest * 1000 / kRate << " ms; ";
    }
    EXPECT_TRUE(result);
}

} // namespace
