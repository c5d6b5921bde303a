// Sound out on Windows, where nobody reads the played file before it is closed: measured when all has been played. And
// what the sound system leaves of the threads that call for it.
#include "Environment.h"
#include "PlayedSound.h"
#include "Player.h"

#include <optional>
#include <thread>

#include <objbase.h>

using namespace clip;
using played::share;

namespace
{

/// The kind of COM's apartment that this thread is in; nothing when in none.
std::optional<APTTYPE> apartment()
{
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    if (CoGetApartmentType(&type, &qualifier) != S_OK)
        return {};
    return type;
}

void onAnotherThread(const std::function<void()>& work)
{
    std::thread(work).join();
}

/// A system's sound is reached through COM, by whichever thread opens a device: live sound and the microphone are
/// opened by two.
TEST(SoundOnWindows, EveryThreadHasComWhileSoundIsOnAndNoneLosesOrKeepsIts)
{
    TempFolder folder;
    setEnvironment("SDL_AUDIODRIVER", "disk");
    setEnvironment("SDL_DISKAUDIOFILE", folder / "sound.raw");
    std::optional<Player> player;
    onAnotherThread([&] {
        ASSERT_FALSE(apartment());
        player.emplace();
        EXPECT_EQ(LUMODEC_PlaySound(player->port()), 1);
    });
    onAnotherThread([] { EXPECT_EQ(apartment(), APTTYPE_MTA) << "so a device can be opened here as well"; });
    onAnotherThread([&] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_EQ(LUMODEC_StopSound(player->port()), 1);
        player.reset();
        ASSERT_TRUE(apartment());
        EXPECT_NE(*apartment(), APTTYPE_MTA);
        CoUninitialize();
        EXPECT_FALSE(apartment()) << "nobody holds it any more";
    });
}

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
