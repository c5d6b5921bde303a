#include "hub/PlaybackState.h"

#include <gtest/gtest.h>

TEST(PlaybackState, EachStateHasItsStatus)
{
    const std::pair<int, int> table[] = {{0, 2},  {1, 0},  {2, 4},  {16, 5}, {17, 5}, {18, 5}, {19, 5},
                                         {32, 6}, {33, 6}, {34, 6}, {35, 6}, {48, 7}, {49, 8}};
    for (const auto& [nState, nStatus] : table)
        EXPECT_EQ(PlayStateToStatus(nState), nStatus) << nState;
}

TEST(PlaybackState, WhatIsNoStateHasStatusZero)
{
    for (const int nState : {-1, 3, 4, 5, 6, 7, 8, 15, 20, 31, 36, 47, 50})
        EXPECT_EQ(PlayStateToStatus(nState), 0) << nState;
}

TEST(PlaybackState, SlowAndFastHaveStepsAndNoOtherStateHas)
{
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(PlayStateToSpeedStep(16 + i), i + 1);
        EXPECT_EQ(PlayStateToSpeedStep(32 + i), i + 1);
    }
    for (const int nState : {-1, 0, 1, 2, 15, 20, 31, 36, 48, 49})
        EXPECT_EQ(PlayStateToSpeedStep(nState), -1) << nState;
}

TEST(PlaybackState, FasterPressedFiveTimesEndsAtNormalSpeed)
{
    int nState = 0;
    for (const int nNext : {32, 33, 34, 35, 0, 32}) {
        nState = fasterState(nState);
        EXPECT_EQ(nState, nNext);
    }
}

TEST(PlaybackState, SlowerPressedFiveTimesEndsAtNormalSpeed)
{
    int nState = 0;
    for (const int nNext : {16, 17, 18, 19, 0, 16}) {
        nState = slowerState(nState);
        EXPECT_EQ(nState, nNext);
    }
}

TEST(PlaybackState, AnyOtherStateBeginsAtTheFirstStep)
{
    for (const int nState : {1, 2, 48, 49}) {
        EXPECT_EQ(fasterState(nState), 32);
        EXPECT_EQ(slowerState(nState), 16);
    }
    EXPECT_EQ(fasterState(17), 32);
    EXPECT_EQ(slowerState(34), 16);
}
