// Sound out on Windows, where nobody reads the played file before it is closed: measured when all has been played.
#include "Environment.h"
#include "PlayedSound.h"
#include "Player.h"

using namespace clip;
using played::share;

namespace
{

TEST(SoundOnWindows, AToneArrivesAtItsPitch)
{
    TempFolder folder;
    const std::string file = folder / "sound.raw";
    setEnvironment("SDL_AUDIODRIVER", "disk");
    setEnvironment("SDL_DISKAUDIOFILE", file);
    {
        Player player;
        ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
        const size_t begin = played::ms(file);
        const auto frames = aLawTone(8000, 1000, 800, 40);
        for (size_t i = 0; i < frames.size(); ++i) {
            ASSERT_TRUE(eventually([&] { return played::ms(file) >= begin + i * 40; }));
            player.feed(frames[i]);
        }
        const size_t fed = played::ms(file);
        ASSERT_TRUE(eventually([&] { return played::ms(file) >= fed + 500; }));
        EXPECT_EQ(LUMODEC_StopSound(player.port()), 1);
    }
    ASSERT_TRUE(eventually([&] { return played::heard(file).size() >= 14000; })) << played::heard(file).size();
    const auto samples = played::heard(file);
    EXPECT_GT(share({samples.begin() + 2000, samples.begin() + 14000}, 1000), 0.9);
    EXPECT_LT(share({samples.begin() + 2000, samples.begin() + 14000}, 500), 0.05);
}

} // namespace
