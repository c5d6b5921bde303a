// The program's rule, drawn by the draw callback, as it stands on the real window: every pixel of its lines and no
// other, and never a picture without it.
#include "Player.h"
#include "live/RuleOverlay.h"
#include "platform/SurfaceLine.h"

#include <atomic>
#include <cstring>
#include <set>
#include <thread>

using namespace clip;

namespace
{

constexpr Rgb kRuleBlue{0, 0, 255};

/// Drawn for every picture by the port's own thread, as the program has it.
void onDraw(int, void* hDC, int32_t)
{
    ruleoverlay::draw(hDC, 0);
}

/// Which pixels of a cell the rule covers.
std::vector<bool> maskOf(const RuleInfo& rule, int width, int height)
{
    std::vector<uint32_t> pixels(size_t(width) * size_t(height));
    const LumoDrawSurface surface{reinterpret_cast<uint8_t*>(pixels.data()), width, height, width * 4};
    for (const SRuleLine& line : linesOfRule(rule, width, height))
        platform::drawSurfaceLine(surface, line.nFromX, line.nFromY, line.nToX, line.nToY, 4, 0xff0000);
    return {pixels.begin(), pixels.end()};
}

int missingPixels(const Shot& shot, const std::vector<bool>& mask)
{
    int missing = 0;
    for (int y = 0; y < shot.height; ++y) {
        for (int x = 0; x < shot.width; ++x)
            missing += mask[size_t(y) * size_t(shot.width) + size_t(x)] && !shot.at(x, y).near(kRuleBlue, 0);
    }
    return missing;
}

/// Rule pixels in blue, all others in the picture's one colour.
bool isExactly(const Shot& shot, const std::vector<bool>& mask, Rgb picture)
{
    for (int y = 0; y < shot.height; ++y) {
        for (int x = 0; x < shot.width; ++x) {
            const bool drawn = mask[size_t(y) * size_t(shot.width) + size_t(x)];
            if (!shot.at(x, y).near(drawn ? kRuleBlue : picture, drawn ? 0 : 6))
                return false;
        }
    }
    return shot.width > 0;
}

class RuleSurfaceTest : public ScreenTest
{
protected:
    ~RuleSurfaceTest() override { ruleoverlay::set({}); }

    static RuleInfo tripwire()
    {
        RuleInfo rule{};
        rule.bShowRule = 1;
        rule.nAlarmDirectLine = 2;
        rule.StartX = 1000;
        rule.StartY = 1500;
        rule.StopX = 7000;
        rule.StopY = 3000;
        return rule;
    }

    static RuleInfo region()
    {
        RuleInfo rule{};
        rule.bShowRule = 1;
        rule.nRuleType = 1;
        rule.nAlarmDirectRegion = 1;
        rule.nPtsNum = 5;
        constexpr RuleInfo::SCorner corners[] = {{500, 500}, {500, 7500}, {4000, 8192}, {7900, 6000}, {6000, 300}};
        std::memcpy(rule.RuleRegion, corners, sizeof corners);
        return rule;
    }

    static int drawnPort()
    {
        const int port = Player::freePort();
        EXPECT_EQ(LUMODEC_RegisterDrawCallback(port, onDraw, 1), 1);
        return port;
    }
};

TEST_F(RuleSurfaceTest, RuleStandsOnTheWindowPixelByPixel)
{
    TestWindow window(318, 238);
    Player player(window.id(), Mode::Live, drawnPort());
    for (const RuleInfo& rule : {tripwire(), region()}) {
        ruleoverlay::set(rule);
        player.feed(solid({}, kWhite));
        const auto mask = maskOf(rule, 318, 238);
        EXPECT_TRUE(eventually([&] { return isExactly(window.shot(), mask, {255, 255, 255}); }));
    }
}

TEST_F(RuleSurfaceTest, RuleFollowsTheCellsSize)
{
    TestWindow window(160, 120);
    ruleoverlay::set(tripwire());
    Player player(window.id(), Mode::Live, drawnPort());
    player.feed(solid({}, kWhite));
    EXPECT_TRUE(eventually([&] { return isExactly(window.shot(), maskOf(tripwire(), 160, 120), {255, 255, 255}); }));
    window.resize(401, 223);
    EXPECT_TRUE(eventually([&] {
        return isExactly(window.shot(), maskOf(tripwire(), 401, 223), {255, 255, 255});
    })) << "the picture is painted anew for the new size, and the rule with it";
}

TEST_F(RuleSurfaceTest, RuleThatIsTakenOffIsGoneWithTheNextPicture)
{
    TestWindow window(160, 120);
    ruleoverlay::set(tripwire());
    Player player(window.id(), Mode::Live, drawnPort());
    player.feed(solid({}, kWhite));
    ASSERT_TRUE(eventually([&] { return isExactly(window.shot(), maskOf(tripwire(), 160, 120), {255, 255, 255}); }));
    ruleoverlay::set({});
    player.feed(solid({}, kWhite));
    const std::vector<bool> nothing(160 * 120);
    EXPECT_TRUE(eventually([&] { return isExactly(window.shot(), nothing, {255, 255, 255}); }));
}

/// Looks at the window as often as it can while pictures change: the rule is whole every time.
TEST_F(RuleSurfaceTest, RuleNeverFlickersWhilePicturesChange)
{
    TestWindow window(320, 240);
    ruleoverlay::set(region());
    const auto mask = maskOf(region(), 320, 240);
    Player player(window.id(), Mode::Live, drawnPort());
    Spec spec;
    spec.frames = 50;
    spec.keyEvery = 1;
    spec.utcMs = 0; // shown as they come
    const auto pictures = numbered(spec);
    player.feed(pictures.front().frame);
    ASSERT_TRUE(eventually([&] { return missingPixels(window.shot(), mask) == 0; }));

    std::atomic<bool> enough{false};
    std::thread feeder([&] {
        for (size_t i = 0; !enough; i = (i + 1) % pictures.size()) {
            player.feed(pictures[i].frame);
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the rate of the pictures, not a wait
        }
    });
    std::set<std::vector<uint8_t>> seen;
    int flickers = 0;
    EXPECT_TRUE(eventually(
        [&] {
            const Shot shot = window.shot();
            flickers += missingPixels(shot, mask) > 0;
            const auto* row = shot.bgrx.data() + size_t(shot.height / 2) * size_t(shot.width) * 4;
            seen.insert({row, row + size_t(shot.width) * 4});
            return seen.size() >= 30;
        },
        std::chrono::seconds(60)))
        << seen.size() << " pictures seen";
    enough = true;
    feeder.join();
    EXPECT_EQ(flickers, 0);
}

} // namespace
