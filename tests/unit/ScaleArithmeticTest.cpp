#include "surface/ScaleArithmetic.h"

#include <gtest/gtest.h>

#include <limits>

TEST(ScaleArithmetic, DefaultMaximumOfEightHasSeventySteps)
{
    EXPECT_EQ(scaleSteps(8.0F), 70);
    EXPECT_EQ(scaleSteps(4.0F), 30);
}

TEST(ScaleArithmetic, MaximumWithoutRangeHasNoSteps)
{
    EXPECT_EQ(scaleSteps(1.0F), 0);
    EXPECT_EQ(scaleSteps(0.0F), 0);
    EXPECT_EQ(scaleSteps(-5.0F), 0);
    EXPECT_EQ(scaleSteps(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(scaleSteps(-std::numeric_limits<float>::infinity()), 0);
}

TEST(ScaleArithmetic, AbsurdMaximumStaysANumberOfSteps)
{
    EXPECT_GT(scaleSteps(std::numeric_limits<float>::infinity()), 0);
    EXPECT_GT(scaleSteps(std::numeric_limits<float>::max()), 0);
}

TEST(ScaleArithmetic, LabelShowsTheFactorFromOne)
{
    EXPECT_EQ(scaleLabelText(0), "1.0");
    EXPECT_EQ(scaleLabelText(35), "4.5");
    EXPECT_EQ(scaleLabelText(70), "8.0");
}

TEST(ScaleArithmetic, LabelByFloatAndLabelByIntegersAreTheSameText)
{
    for (int nValue = 0; nValue <= 1000; ++nValue)
        ASSERT_EQ(scaleLabelText(nValue), QString("%1.%2").arg(nValue / 10 + 1).arg(nValue % 10));
}

TEST(ScaleArithmetic, LabelStandsRightOfTheHandleInTheLowerHalfAndLeftInTheUpper)
{
    EXPECT_EQ(scaleLabelX(700, 34, 70), 340 + 5);
    EXPECT_EQ(scaleLabelX(700, 35, 70), 350 - 35); // 35 is not below 35
    EXPECT_EQ(scaleLabelX(700, 0, 70), 5);
    EXPECT_EQ(scaleLabelX(700, 70, 70), 700 - 35);
    EXPECT_EQ(scaleLabelX(100, 10, 70), 14 + 5); // 1000 / 70, truncated
    EXPECT_EQ(scaleLabelX(700, 0, 0), 0);        // no range, no division
}

TEST(ScaleArithmetic, SliderNarrowerThanItsStepsHasAllTicksInOnePlace)
{
    EXPECT_EQ(scaleTickDistance(69, 70), 0);
    EXPECT_EQ(scaleTickDistance(70, 70), 1);
    EXPECT_EQ(scaleTickDistance(709, 70), 10);
    EXPECT_EQ(scaleTickDistance(700, 0), 0);
}

TEST(ScaleArithmetic, SliderValueOfADeviceScaleIsTruncated)
{
    EXPECT_EQ(sliderValueOfScale(0.0F), 0);
    EXPECT_EQ(sliderValueOfScale(3.5F), 35);
    EXPECT_EQ(sliderValueOfScale(3.59F), 35);
    EXPECT_EQ(sliderValueOfScale(0.7F), 6); // the nearest float lies below 0.7
    EXPECT_EQ(sliderValueOfScale(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(ScaleArithmetic, SliderTakesTwoThirdsOfTheCellRoundedUpToWholeSteps)
{
    const QRect rc = scaleSliderPlace({0, 0}, {900, 600}, 70); // 600 is 8 x 70 + 40
    EXPECT_EQ(rc, QRect((900 - 630) / 2, 600 - 1 - 70 - 9, 630, 35));
}

TEST(ScaleArithmetic, SliderOfAWholeNumberOfStepsKeepsItsLength)
{
    EXPECT_EQ(scaleSliderPlace({0, 0}, {105, 200}, 70).width(), 70);
}

TEST(ScaleArithmetic, PositionOfTheCellIsAddedToTheSliders)
{
    const QRect rcOrigin = scaleSliderPlace({0, 0}, {900, 600}, 70);
    EXPECT_EQ(scaleSliderPlace({30, 20}, {900, 600}, 70), rcOrigin.translated(30, 20));
}

TEST(ScaleArithmetic, NoStepsNoPlace)
{
    EXPECT_TRUE(scaleSliderPlace({0, 0}, {900, 600}, 0).isEmpty());
}

namespace
{

struct SScaleCase {
    const char* szFact;
    int nDirection;
    int nStep;
    float fLast;
    float fExpected;
};

class NextTwoLensScale : public testing::TestWithParam<SScaleCase>
{
};

} // namespace

TEST_P(NextTwoLensScale, Is)
{
    const SScaleCase& c = GetParam();
    EXPECT_FLOAT_EQ(nextTwoLensScale(c.nDirection, c.nStep, c.fLast), c.fExpected);
}

INSTANTIATE_TEST_SUITE_P(Table, NextTwoLensScale,
                         testing::Values(SScaleCase{"InByTenths", 0, 5, 1.0F, 1.5F},
                                         SScaleCase{"OutByTenths", 1, 5, 1.0F, 0.5F},
                                         SScaleCase{"InFromSixPointEightStopsAtSeven", 0, 5, 6.8F, 7.0F},
                                         SScaleCase{"InByHundredStopsAtSeven", 0, 100, 1.0F, 7.0F},
                                         SScaleCase{"OutStopsAtZero", 1, 100, 1.0F, 0.0F},
                                         SScaleCase{"NegativeStepInGoesOutAndStopsAtZero", 0, -100, 1.0F, 0.0F},
                                         SScaleCase{"NegativeStepOutGoesInAndStopsAtSeven", 1, -100, 1.0F, 7.0F},
                                         SScaleCase{"OtherDirectionIsZero", 2, 5, 3.0F, 0.0F},
                                         SScaleCase{"NegativeDirectionIsZero", -1, 5, 3.0F, 0.0F},
                                         SScaleCase{"NoStepKeeps", 0, 0, 3.3F, 3.3F}),
                         [](const auto& info) { return std::string(info.param.szFact); });
