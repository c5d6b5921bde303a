// What the program itself draws where a port shows pictures: the rubber band on the window, the rule in the callback.
#include "Player.h"
#include "live/RuleOverlay.h"
#include "platform/Pen.h"

using namespace clip;

namespace
{

constexpr Rgb kWhiteRgb{255, 255, 255};
constexpr Rgb kRedRgb{255, 0, 0};
constexpr Rgb kBlueRgb{0, 0, 255};
LumoWindow g_cell = 0;

void onDraw(int, void* hDC, int32_t)
{
    ruleoverlay::draw(hDC, platform::WindowHandle(g_cell));
}

class LinesOnWindows : public ScreenTest
{
protected:
    ~LinesOnWindows() override { ruleoverlay::set({}); }

    static void drawBand(LumoWindow window, platform::PenHandle pen)
    {
        const platform::DrawContext context = platform::windowContext(platform::WindowHandle(window));
        const platform::PenHandle before = platform::selectPen(context, pen);
        platform::moveTo(context, 20, 60);
        platform::lineTo(context, 140, 60);
        platform::selectPen(context, before);
        platform::releaseContext(context);
    }
};

TEST_F(LinesOnWindows, TheBandIsSeenOverAPictureUntilTheNextOneCoversIt)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(solid({}, kWhite));
    ASSERT_TRUE(shows(window, 80, 60, kWhiteRgb));
    const platform::PenHandle pen = platform::createPen(3, 0x0000ff);
    EXPECT_TRUE(eventually([&] {
        drawBand(window.id(), pen); // again and again, as a drag does
        return window.shot().at(80, 60).near(kRedRgb);
    }));
    platform::deletePen(pen);
    EXPECT_TRUE(window.shot().at(80, 90).near(kWhiteRgb)) << window.shot().at(80, 90);
    player.feed(solid({}, kWhite));
    EXPECT_TRUE(shows(window, 80, 60, kWhiteRgb));
}

TEST_F(LinesOnWindows, TheRuleStandsOnThePictureInItsCellsSize)
{
    TestWindow window(160, 120);
    g_cell = window.id();
    RuleInfo rule{};
    rule.bShowRule = 1;
    rule.StartX = 1024;
    rule.StartY = 4096;
    rule.StopX = 7168;
    rule.StopY = 4096;
    ruleoverlay::set(rule);
    const int port = Player::freePort();
    ASSERT_EQ(LUMODEC_RegisterDrawCallback(port, onDraw, 1), 1);
    Player player(window.id(), Mode::Live, port);
    player.feed(solid({}, kWhite));
    EXPECT_TRUE(shows(window, 40, 60, kBlueRgb));
    EXPECT_TRUE(shows(window, 40, 90, kWhiteRgb));
    window.resize(320, 200);
    EXPECT_TRUE(shows(window, 240, 100, kBlueRgb));
    EXPECT_TRUE(shows(window, 40, 60, kWhiteRgb));
}

} // namespace
