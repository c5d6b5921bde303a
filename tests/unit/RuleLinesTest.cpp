#include "live/RuleLines.h"

#include <gtest/gtest.h>

#include <climits>
#include <ostream>

bool operator==(const SRuleLine& a, const SRuleLine& b)
{
    return a.nFromX == b.nFromX && a.nFromY == b.nFromY && a.nToX == b.nToX && a.nToY == b.nToY;
}

std::ostream& operator<<(std::ostream& out, const SRuleLine& line)
{
    return out << line.nFromX << ',' << line.nFromY << " to " << line.nToX << ',' << line.nToY;
}

namespace
{

constexpr int kWidth = 640, kHeight = 480;
constexpr int kNoArrow = 3;

struct SPixel {
    int nX, nY;
};

SRuleLine from(SPixel a, SPixel b)
{
    return {a.nX, a.nY, b.nX, b.nY};
}

RuleInfo tripwire(int nDirection)
{
    RuleInfo rule{};
    rule.bShowRule = 1;
    rule.nAlarmDirectLine = static_cast<uint8_t>(nDirection);
    rule.StartX = 1024;
    rule.StartY = 1024;
    rule.StopX = 3072;
    rule.StopY = 1024;
    return rule;
}

RuleInfo polygon(int nPtsNum, int nDirection = kNoArrow)
{
    RuleInfo rule{};
    rule.nRuleType = 1;
    rule.nAlarmDirectRegion = static_cast<uint8_t>(nDirection);
    rule.nPtsNum = nPtsNum;
    for (int i = 0; i < kRuleCorners; ++i)
        rule.RuleRegion[i] = {1024 * i, 512 * i * i};
    return rule;
}

SPixel cornerOf(int i)
{
    return {80 * i, 30 * i * i};
}

std::vector<SRuleLine> edges(int nCount)
{
    std::vector<SRuleLine> lines;
    for (int i = 0; i < nCount; ++i)
        lines.push_back(from(cornerOf(i), cornerOf((i + 1) % nCount)));
    return lines;
}

std::vector<SRuleLine> operator+(std::vector<SRuleLine> lines, const std::array<SRuleLine, 3>& arrow)
{
    lines.insert(lines.end(), arrow.begin(), arrow.end());
    return lines;
}

} // namespace

TEST(RuleLines, ArrowStandsOnTheRightSideInEverySignCase)
{
    struct Row {
        SRulePoint a, b;
        bool bLine;
        SPixel head, foot, barb1, barb2;
    };
    const Row rows[] = {
        {{100, 100}, {300, 100}, true, {200, 115}, {200, 85}, {190, 105}, {210, 105}},
        {{300, 100}, {100, 100}, true, {200, 85}, {200, 115}, {190, 95}, {210, 95}},
        {{100, 100}, {100, 300}, true, {85, 200}, {115, 200}, {95, 190}, {95, 210}},
        {{100, 100}, {100, 300}, false, {115, 200}, {85, 200}, {105, 190}, {105, 210}},
        {{100, 300}, {100, 100}, true, {115, 200}, {85, 200}, {105, 190}, {105, 210}},
        {{100, 300}, {100, 100}, false, {85, 200}, {115, 200}, {95, 190}, {95, 210}},
        {{100, 100}, {300, 300}, true, {189, 210}, {211, 189}, {203, 210}, {189, 196}},
        {{300, 300}, {100, 100}, true, {210, 189}, {189, 211}, {210, 203}, {196, 189}},
        {{100, 300}, {300, 100}, true, {210, 210}, {189, 189}, {210, 196}, {196, 210}},
        {{300, 100}, {100, 300}, true, {189, 189}, {211, 211}, {203, 189}, {189, 203}},
        {{200, 200}, {200, 200}, true, {185, 200}, {215, 200}, {195, 190}, {195, 210}},
        {{200, 200}, {200, 200}, false, {185, 200}, {215, 200}, {195, 190}, {195, 210}},
        {{100, 100}, {301, 100.5}, true, {200, 115}, {200, 85}, {210, 105}, {190, 105}},
        {{100.25, 90}, {100.75, 310}, true, {85, 200}, {115, 200}, {95, 210}, {95, 190}},
        {{10, 10}, {14, 10}, true, {12, 25}, {12, -5}, {2, 15}, {22, 15}},
        {{-5, -7}, {-205, 193}, true, {-116, 82}, {-94, 104}, {-102, 82}, {-116, 96}},
        {{0, 0}, {640, 480}, true, {311, 252}, {329, 228}, {325, 250}, {309, 238}},
    };
    for (const Row& row : rows) {
        const auto arrow = arrowAcross(row.a, row.b, row.bLine);
        const std::string strCase = testing::PrintToString(row.a.fX) + "," + testing::PrintToString(row.a.fY) + " to " +
                                    testing::PrintToString(row.b.fX) + "," + testing::PrintToString(row.b.fY);
        EXPECT_EQ(arrow[0], from(row.head, row.foot)) << strCase;
        EXPECT_EQ(arrow[1], from(row.head, row.barb1)) << strCase;
        EXPECT_EQ(arrow[2], from(row.head, row.barb2)) << strCase;
    }
}

TEST(RuleLines, FlagMattersToUprightEdgesOnly)
{
    for (const SRulePoint b : {SRulePoint{300, 100}, SRulePoint{300, 300}, SRulePoint{-50, 20}, SRulePoint{-50, 100}})
        EXPECT_EQ(arrowAcross({100, 100}, b, true), arrowAcross({100, 100}, b, false)) << b.fX;
    EXPECT_NE(arrowAcross({100, 100}, {100, 300}, true), arrowAcross({100, 100}, {100, 300}, false));
}

TEST(RuleLines, LineWithEqualEndsGetsTheUprightCase)
{
    const auto arrow = arrowAcross({200, 200}, {200, 200}, true);
    EXPECT_EQ(arrow[0].nFromY, arrow[0].nToY);
    EXPECT_EQ(arrow[0].nFromX, 185);
}

TEST(RuleLines, ArrowHasThirtyPixelsWhateverTheEdge)
{
    for (const double fLength : {1.0, 10.0, 100.0, 10000.0}) {
        const auto arrow = arrowAcross({0, 0}, {fLength, 0}, true);
        EXPECT_EQ(std::abs(arrow[0].nFromY - arrow[0].nToY), 30) << fLength;
    }
}

TEST(RuleLines, TripwireHasItsArrowsBehindIt)
{
    const std::vector<SRuleLine> wire{{80, 60, 240, 60}};
    const auto there = arrowAcross({80, 60}, {240, 60}, true);
    const auto back = arrowAcross({240, 60}, {80, 60}, true);
    EXPECT_EQ(linesOfRule(tripwire(2), kWidth, kHeight), wire + there + back);
    EXPECT_EQ(linesOfRule(tripwire(1), kWidth, kHeight), wire + there);
    EXPECT_EQ(linesOfRule(tripwire(0), kWidth, kHeight), wire + back);
    EXPECT_EQ(linesOfRule(tripwire(kNoArrow), kWidth, kHeight), wire);
    EXPECT_EQ(linesOfRule(tripwire(255), kWidth, kHeight), wire);
}

TEST(RuleLines, RegionIsClosedAndHasItsArrowsOnTheFirstEdge)
{
    const auto there = arrowAcross({0, 0}, {80, 30}, false);
    const auto back = arrowAcross({80, 30}, {0, 0}, false);
    EXPECT_EQ(linesOfRule(polygon(4), kWidth, kHeight), edges(4));
    EXPECT_EQ(linesOfRule(polygon(4, 0), kWidth, kHeight), edges(4) + back);
    EXPECT_EQ(linesOfRule(polygon(4, 1), kWidth, kHeight), edges(4) + there);
    EXPECT_EQ(linesOfRule(polygon(8, 2), kWidth, kHeight), edges(8) + there + back);
}

TEST(RuleLines, RegionWithoutCornersInUseHasItsArrowAlone)
{
    const auto there = arrowAcross({0, 0}, {80, 30}, false);
    EXPECT_EQ(linesOfRule(polygon(0, 1), kWidth, kHeight), std::vector<SRuleLine>() + there);
    EXPECT_EQ(linesOfRule(polygon(INT_MIN, 1), kWidth, kHeight), std::vector<SRuleLine>() + there);
}

TEST(RuleLines, RegionOfOneCornerIsAnEdgeWithoutALength)
{
    RuleInfo rule = polygon(1);
    rule.RuleRegion[0] = {4096, 4096};
    EXPECT_EQ(linesOfRule(rule, kWidth, kHeight), (std::vector<SRuleLine>{{320, 240, 320, 240}}));
}

TEST(RuleLines, RegionHasEightCornersAtMost)
{
    EXPECT_EQ(linesOfRule(polygon(9), kWidth, kHeight), edges(8));
    EXPECT_EQ(linesOfRule(polygon(INT_MAX), kWidth, kHeight), edges(8));
}

TEST(RuleLines, OtherTypesHaveNoLines)
{
    RuleInfo rule = tripwire(2);
    rule.nRuleType = 2;
    EXPECT_TRUE(linesOfRule(rule, kWidth, kHeight).empty());
    rule.nRuleType = 255;
    EXPECT_TRUE(linesOfRule(rule, kWidth, kHeight).empty());
}

TEST(RuleLines, FractionsOfAPixelAreCutOff)
{
    RuleInfo rule = tripwire(kNoArrow);
    rule.StartX = 8191; // 639.92
    rule.StartY = -8191;
    rule.StopX = 12; // 0.94
    rule.StopY = -12;
    EXPECT_EQ(linesOfRule(rule, kWidth, kHeight), (std::vector<SRuleLine>{{639, -479, 0, 0}}));
}

TEST(RuleLines, ArrowIsWorkedOutBeforeTheFractionIsCutOff)
{
    RuleInfo rule = tripwire(1);
    rule.StopY = 1025; // less than a pixel lower: level on the cell, not to the arrow
    EXPECT_EQ(linesOfRule(rule, kWidth, kHeight)[0], (SRuleLine{80, 60, 240, 60}));
    EXPECT_EQ(linesOfRule(rule, kWidth, kHeight)[1], arrowAcross({80, 60}, {240, 60.05859375}, true)[0]);
}

TEST(RuleLines, ProductsAreCutTo32Bits)
{
    RuleInfo rule = tripwire(kNoArrow);
    rule.StartX = INT_MAX; // times 640 is -640
    rule.StartY = INT_MIN; // times 480 is 0
    rule.StopX = 3355444;  // times 640 is 2147484160, cut -2147483136
    rule.StopY = 0;
    EXPECT_EQ(linesOfRule(rule, kWidth, kHeight), (std::vector<SRuleLine>{{0, 0, -262143, 0}}));
}

TEST(RuleLines, AnyNumbersGiveLinesOfPixels)
{
    const int32_t limits[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, 8192, INT_MAX};
    for (const int32_t nX : limits)
        for (const int32_t nY : limits) {
            RuleInfo rule = tripwire(2);
            rule.StartX = nX;
            rule.StopY = nY;
            EXPECT_EQ(linesOfRule(rule, kWidth, kHeight).size(), 7u);
            rule.nRuleType = 1;
            rule.nPtsNum = nX;
            rule.RuleRegion[0] = {nX, nY};
            rule.RuleRegion[1] = {nY, nX};
            for (const SRuleLine& line : linesOfRule(rule, 8192, 8192))
                for (const int n : {line.nFromX, line.nFromY, line.nToX, line.nToY})
                    EXPECT_LT(std::abs(n), 300000);
        }
}
