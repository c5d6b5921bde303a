#include "live/RuleOverlay.h"

#include "decode/LumoDecode.h"
#include "platform/Pen.h"
#include "platform/null/NullWindows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace
{

constexpr quint32 kBlue = 0x0000ff; // as a pixel

class RuleOverlayTest : public testing::Test
{
protected:
    RuleOverlayTest() { m_surface = {reinterpret_cast<uint8_t*>(m_pixels.data()), 64, 48, 64 * 4}; }
    ~RuleOverlayTest() override { ruleoverlay::set({}); }

    static RuleInfo levelWire()
    {
        RuleInfo rule{};
        rule.bShowRule = 1;
        rule.nAlarmDirectLine = 3;
        rule.StartX = 1024;
        rule.StartY = rule.StopY = 4096;
        rule.StopX = 7168;
        return rule;
    }

    int drawnPixels()
    {
        std::fill(m_pixels.begin(), m_pixels.end(), 0);
        ruleoverlay::draw(&m_surface, 0);
        return int(std::count_if(m_pixels.begin(), m_pixels.end(), [](quint32 n) { return (n & 0xffffff) == kBlue; }));
    }

    std::vector<quint32> m_pixels = std::vector<quint32>(64 * 48);
    LumoDrawSurface m_surface;
};

} // namespace

TEST_F(RuleOverlayTest, ThereIsNoRuleBeforeTheFirst)
{
    EXPECT_EQ(ruleoverlay::get().bShowRule, 0);
    EXPECT_EQ(drawnPixels(), 0);
}

TEST_F(RuleOverlayTest, RuleIsDrawnInBlueFourPixelsWide)
{
    ruleoverlay::set(levelWire());
    EXPECT_NEAR(drawnPixels(), 48 * 4 + 12, 4);
    EXPECT_EQ(m_pixels[24 * 64 + 32] & 0xffffff, kBlue);
}

TEST_F(RuleOverlayTest, RuleThatIsNotShownDrawsNothing)
{
    RuleInfo rule = levelWire();
    rule.bShowRule = 0;
    ruleoverlay::set(rule);
    EXPECT_EQ(drawnPixels(), 0);
}

TEST_F(RuleOverlayTest, RuleOfAnotherChannelIsNeverDrawn)
{
    RuleInfo rule = levelWire();
    rule.nChannel = 1;
    ruleoverlay::set(rule);
    EXPECT_EQ(drawnPixels(), 0);
    EXPECT_EQ(ruleoverlay::get().nChannel, 1);
}

TEST_F(RuleOverlayTest, NothingIsKeptFromOnePictureToTheNext)
{
    RuleInfo rule = levelWire();
    rule.nAlarmDirectLine = 2;
    ruleoverlay::set(rule);
    const int nPens = platform::null::penCount();
    const int nContexts = platform::null::drawContextCount();
    for (int i = 0; i < 1000; ++i)
        ruleoverlay::draw(&m_surface, 0);
    EXPECT_EQ(platform::null::penCount(), nPens);
    EXPECT_EQ(platform::null::drawContextCount(), nContexts);
}

TEST_F(RuleOverlayTest, PensAreCounted)
{
    const int nPens = platform::null::penCount();
    const platform::PenHandle hPen = platform::createPen(4, 0);
    EXPECT_EQ(platform::null::penCount(), nPens + 1);
    platform::deletePen(hPen);
    EXPECT_EQ(platform::null::penCount(), nPens);
}

TEST_F(RuleOverlayTest, CallbackWithoutADeviceContextDrawsNothing)
{
    ruleoverlay::set(levelWire());
    const int nPens = platform::null::penCount();
    ruleoverlay::draw(nullptr, 0);
    EXPECT_EQ(platform::null::penCount(), nPens);
}

/// For the thread sanitizer: a rule changes while it is drawn.
TEST_F(RuleOverlayTest, RuleMayChangeWhileItIsDrawn)
{
    std::thread writer([] {
        for (int i = 0; i < 2000; ++i) {
            RuleInfo rule = levelWire();
            rule.nPtsNum = i;
            rule.nRuleType = i % 3;
            ruleoverlay::set(rule);
        }
    });
    for (int i = 0; i < 200; ++i)
        drawnPixels();
    writer.join();
    EXPECT_EQ(ruleoverlay::get().nPtsNum, 1999);
}
