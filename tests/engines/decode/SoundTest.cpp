// Sound out, measured in the samples that reach the device: SDL's disk driver stands for the sound card.
#include "Environment.h"
#include "PlayedSound.h"
#include "Player.h"

#include <cstdlib>

using namespace clip;
using played::kRate;
using played::share;

namespace
{

class SoundTest : public ScreenTest
{
protected:
    void SetUp() override
    {
        m_file = m_folder / "sound.raw";
        setEnvironment("SDL_AUDIODRIVER", "disk");
        setEnvironment("SDL_DISKAUDIOFILE", m_file);
    }

    std::vector<double> heard() const { return played::heard(m_file); }
    bool heardAtLeast(int ms) const
    {
        return eventually([&] { return int(heard().size()) >= kRate / 1000 * ms; });
    }
    size_t playedMs() const { return played::ms(m_file); }
    /// Feeds as the device plays: each frame when the time of those before it was played.
    void feedInTime(Player& player, const std::vector<Bytes>& frames, size_t frameMs)
    {
        const size_t begin = playedMs();
        for (size_t i = 0; i < frames.size(); ++i) {
            ASSERT_TRUE(eventually([&] { return playedMs() >= begin + i * frameMs; }));
            player.feed(frames[i]);
        }
    }

    TempFolder m_folder;
    std::string m_file;
};

TEST_F(SoundTest, ALawToneArrivesAtItsPitch)
{
    for (const int rate : {8000, 16000}) {
        SetUp();
        {
            Player player;
            ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
            feedInTime(player, aLawTone(rate, 1000, 800, 40), 40);
            ASSERT_TRUE(heardAtLeast(300)) << rate;
            EXPECT_EQ(LUMODEC_StopSound(player.port()), 1);
        }
        const auto samples = heard();
        EXPECT_GT(share({samples.begin() + 2000, samples.begin() + 14000}, 1000), 0.9) << rate;
        EXPECT_LT(share({samples.begin() + 2000, samples.begin() + 14000}, 500), 0.05) << rate;
    }
}

TEST_F(SoundTest, AacToneArrivesAtItsPitch)
{
    Player player;
    ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
    feedInTime(player, aacTone(16000, 1000, 900), 64);
    ASSERT_TRUE(heardAtLeast(400));
    LUMODEC_StopSound(player.port());
    const auto samples = heard();
    EXPECT_GT(share({samples.begin() + 4000, samples.begin() + 16000}, 1000), 0.9);
}

TEST_F(SoundTest, TwoPortsAreHeardTogether)
{
    Player a, b;
    ASSERT_EQ(LUMODEC_PlaySound(a.port()), 1);
    ASSERT_EQ(LUMODEC_PlaySound(b.port()), 1);
    const auto low = aLawTone(8000, 700, 800, 40), high = aLawTone(8000, 1900, 800, 40);
    const size_t begin = playedMs();
    for (size_t i = 0; i < low.size(); ++i) {
        ASSERT_TRUE(eventually([&] { return playedMs() >= begin + i * 40; }));
        a.feed(low[i]);
        b.feed(high[i]);
    }
    ASSERT_TRUE(heardAtLeast(300));
    const auto samples = heard();
    const std::vector<double> middle(samples.begin() + 6000, samples.begin() + 14000);
    EXPECT_GT(share(middle, 700), 0.25);
    EXPECT_GT(share(middle, 1900), 0.25);
}

TEST_F(SoundTest, SoundIsOffUntilAskedForAndAfterItsEnd)
{
    Player a, b;
    ASSERT_EQ(LUMODEC_PlaySound(a.port()), 1); // keeps the device open
    feedInTime(b, aLawTone(8000, 1000, 200, 40), 0);
    ASSERT_EQ(LUMODEC_PlaySound(b.port()), 1);
    ASSERT_EQ(LUMODEC_StopSound(b.port()), 1);
    feedInTime(b, aLawTone(8000, 1000, 200, 40), 0);
    const size_t before = played::left(m_file).size();
    ASSERT_TRUE(eventually([&] { return played::left(m_file).size() > before + kRate / 2; }));
    EXPECT_TRUE(heard().empty());
}

TEST_F(SoundTest, LateSoundIsCutToAHundredAndFiftyMs)
{
    Player player;
    ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
    for (const auto& frame : aLawTone(8000, 1000, 5000, 40))
        player.feed(frame); // five seconds at once
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; }));
    ASSERT_TRUE(heardAtLeast(100));
    const size_t before = played::left(m_file).size();
    ASSERT_TRUE(eventually([&] { return played::left(m_file).size() > before + kRate; }));
    EXPECT_LT(heard().size(), size_t(kRate) * 6 / 10);
}

TEST_F(SoundTest, ShortSoundIsHeardToo)
{
    Player player;
    ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
    player.feed(aLawTone(8000, 1000, 40, 40).front());
    EXPECT_TRUE(heardAtLeast(20));
}

TEST_F(SoundTest, NoSoundDeviceRefuses)
{
    setEnvironment("SDL_AUDIODRIVER", "nonesuch");
    Player player;
    EXPECT_EQ(LUMODEC_PlaySound(player.port()), 0);
    EXPECT_EQ(LUMODEC_StopSound(player.port()), 1);
    setEnvironment("SDL_AUDIODRIVER", "dummy");
    EXPECT_EQ(LUMODEC_PlaySound(player.port()), 1) << "a device that came later is found";
}

TEST_F(SoundTest, CloseEndsTheSound)
{
    const int port = Player::freePort();
    {
        Player player(0, Mode::None, port);
        ASSERT_EQ(LUMODEC_PlaySound(port), 1);
        EXPECT_EQ(LUMODEC_PlaySound(port), 1);
    }
    EXPECT_EQ(LUMODEC_StopSound(port), 0);
    EXPECT_EQ(LUMODEC_PlaySound(port), 0);
}

} // namespace
