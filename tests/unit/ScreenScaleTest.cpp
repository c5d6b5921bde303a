// The screen's scale in percent.
#include "hub/ScreenScale.h"

#include <gtest/gtest.h>

namespace
{

TEST(ScreenScale, NinetySixDotsPerInchAreAHundredPercent)
{
    EXPECT_EQ(dpiRatio(96), 100);
    EXPECT_EQ(dpiRatio(120), 125);
    EXPECT_EQ(dpiRatio(144), 150);
}

TEST(ScreenScale, IsRoundedDown)
{
    EXPECT_EQ(dpiRatio(100), 104); // 104.17
    EXPECT_EQ(dpiRatio(95), 98);   // 98.96
}

TEST(ScreenScale, AScreenThatDoesNotTellHasTheScaleOne)
{
    EXPECT_EQ(dpiRatio(0), 1);
}

} // namespace
