// What happens to the window around the picture: it is hidden, resized, wiped, moved, destroyed, or was never there.
#include "WindowFixture.h"

#include <atomic>
#include <memory>

using namespace clip;

namespace
{

constexpr Rgb kGreenRgb{0, 255, 0};
std::atomic<int> g_painted{0};

void countPaint(int, void*, int32_t)
{
    ++g_painted;
}

using WindowTest = WindowFixture;

TEST_F(WindowTest, WindowThatGrowsAndShrinksIsFilledAgain)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(picture(kRed));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    window.resize(400, 300); // no further picture comes
    EXPECT_TRUE(shows(window, 398, 298, kRedRgb));
    window.resize(50, 40);
    EXPECT_TRUE(shows(window, 48, 38, kRedRgb));
}

TEST_F(WindowTest, ExposedWindowIsRepaintedAlsoWhenPaused)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(picture(kRed));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    EXPECT_EQ(LUMODEC_Pause(player.port(), 1), 1);
    window.cover();
    EXPECT_TRUE(shows(window, 80, 60, kRedRgb));
    window.unmap();
    window.map();
    EXPECT_TRUE(shows(window, 80, 60, kRedRgb));
    window.resize(100, 100);
    EXPECT_TRUE(shows(window, 98, 98, kRedRgb));
}

TEST_F(WindowTest, PausedPictureStaysAndResumeGoesOn)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    LUMODEC_Pause(player.port(), 1);
    player.feed(picture(kGreen, 1001));
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; }));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 1000);
    LUMODEC_Pause(player.port(), 0);
    player.feed(picture(kGreen, 1002));
    EXPECT_TRUE(shows(window, 80, 60, kGreenRgb));
}

TEST_F(WindowTest, HiddenWindowIsDecodedForButNotPainted)
{
    g_painted = 0;
    TestWindow window(160, 120, 0, false);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, countPaint, 0);
    Player player(window.id(), Mode::Live, port);
    player.feed(picture(kRed, 1000));
    EXPECT_TRUE(reached(player, 1000));
    EXPECT_EQ(g_painted, 0);
    window.map();
    EXPECT_TRUE(shows(window, 80, 60, kRedRgb));
    window.unmap();
    const int painted = g_painted;
    player.feed(picture(kGreen, 1001));
    EXPECT_TRUE(reached(player, 1001));
    player.feed(picture(kGreen, 1002));
    EXPECT_TRUE(reached(player, 1002));
    EXPECT_LE(g_painted, painted + 1); // one picture may have been on its way
    window.map();
    EXPECT_TRUE(shows(window, 80, 60, kGreenRgb));
}

TEST_F(WindowTest, HiddenAncestorHidesToo)
{
    g_painted = 0;
    TestWindow outer(300, 300);
    TestWindow middle(250, 250, outer.id());
    TestWindow window(160, 120, middle.id());
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, countPaint, 0);
    Player player(window.id(), Mode::Live, port);
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    outer.unmap();
    player.feed(picture(kGreen, 1001));
    ASSERT_TRUE(reached(player, 1001));
    const int painted = g_painted;
    for (int i = 2; i < 10; ++i)
        player.feed(picture(kGreen, uint64_t(1000 + i)));
    EXPECT_TRUE(reached(player, 1009));
    EXPECT_EQ(g_painted, painted);
    outer.map();
    EXPECT_TRUE(shows(window, 80, 60, kGreenRgb));
}

TEST_F(WindowTest, WindowMovedToAnotherParentGoesOn)
{
    TestWindow hidden(300, 300, 0, false);
    TestWindow shown(300, 300);
    TestWindow window(160, 120, hidden.id());
    Player player(window.id());
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(reached(player, 1000));
    window.reparent(shown.id());
    EXPECT_TRUE(shows(window, 80, 60, kRedRgb));
}

TEST_F(WindowTest, DestroyedWindowHarmsNobody)
{
    auto window = std::make_unique<TestWindow>(160, 120);
    Player player(window->id());
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(shows(*window, 80, 60, kRedRgb));
    TestWindow other(160, 120);
    Player neighbour(other.id());
    window->destroy();
    for (int i = 1; i < 30; ++i)
        player.feed(picture(kGreen, uint64_t(1000 + i)));
    EXPECT_TRUE(reached(player, 1029)) << "decoding goes on";
    neighbour.feed(picture(kGreen));
    EXPECT_TRUE(shows(other, 80, 60, kGreenRgb));
}

TEST_F(WindowTest, DestroyedAncestorHarmsNobody)
{
    auto outer = std::make_unique<TestWindow>(300, 300);
    TestWindow window(160, 120, outer->id());
    Player player(window.id());
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    outer.reset();
    player.feed(picture(kGreen, 1001));
    EXPECT_TRUE(reached(player, 1001));
    player.close();
    TestWindow fresh(160, 120);
    Player again(fresh.id(), Mode::Live, player.port());
    again.feed(picture(kGreen));
    EXPECT_TRUE(shows(fresh, 80, 60, kGreenRgb)) << "pictures again in the next window";
}

TEST_F(WindowTest, NoWindowAndNonsenseWindowsDecodeAllTheSame)
{
    for (const LumoWindow window :
         {LumoWindow(0), LumoWindow(1), LumoWindow(0x7FFFFFFF), LumoWindow(1) << 40, ~LumoWindow(0)}) {
        Player player(window);
        player.feed(picture(kRed, 1000));
        EXPECT_TRUE(reached(player, 1000)) << window;
    }
}

TEST_F(WindowTest, StopTakesThePictureAway)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(picture(kRed));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
    EXPECT_TRUE(shows(window, 80, 60, kMagenta));
    EXPECT_TRUE(window.children().empty());
}

TEST_F(WindowTest, PlayIntoAnotherWindowMovesThePicture)
{
    TestWindow first(160, 120);
    Player player(first.id());
    player.feed(picture(kRed));
    ASSERT_TRUE(shows(first, 80, 60, kRedRgb));
    TestWindow second(160, 120);
    EXPECT_EQ(LUMODEC_Play(player.port(), second.id()), 1);
    player.feed(picture(kGreen));
    EXPECT_TRUE(shows(second, 80, 60, kGreenRgb));
    EXPECT_TRUE(first.children().empty());
}

TEST_F(WindowTest, OwnersChildrenStayAbove)
{
    TestWindow window(160, 120);
    TestWindow slider(20, 20, window.id());
    Player player(window.id());
    player.feed(picture(kRed));
    EXPECT_TRUE(shows(window, 80, 60, kRedRgb));
    EXPECT_TRUE(shows(window, 10, 10, kMagenta));
}

} // namespace
