#include "live/PtzRegion.h"

#include "surface/ZoomRegion.h"

#include <gtest/gtest.h>

#include <climits>
#include <ostream>
#include <vector>

bool operator==(const LumoRect& a, const LumoRect& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

std::ostream& operator<<(std::ostream& out, const LumoRect& rc)
{
    return out << rc.left << ',' << rc.top << ' ' << rc.right << ',' << rc.bottom;
}

namespace
{

using Region = std::optional<LumoRect>;

constexpr LumoRect kMiddle{1000, 2000, 5000, 6000};

} // namespace

TEST(PtzRegion, OnlyTheWholePictureIsWhole)
{
    EXPECT_TRUE(isWholePicture(kWholePicture));
    EXPECT_FALSE(isWholePicture({1, 0, 8192, 8192}));
    EXPECT_FALSE(isWholePicture({0, 1, 8192, 8192}));
    EXPECT_FALSE(isWholePicture({0, 0, 8191, 8192}));
    EXPECT_FALSE(isWholePicture({0, 0, 8192, 8191}));
    EXPECT_FALSE(isWholePicture(kNoZoomRegion));
}

TEST(PtzRegion, ZoomInTakesTheStepFromEachEdge)
{
    EXPECT_EQ(zoomedIn(kMiddle, 10), Region({1010, 2010, 4990, 5990}));
    EXPECT_EQ(zoomedIn(kMiddle, 0), Region(kMiddle));
}

TEST(PtzRegion, ZoomInEndsWhereLeftWouldMeetRight)
{
    EXPECT_EQ(zoomedIn(kWholePicture, 4095), Region({4095, 4095, 4097, 4097}));
    EXPECT_EQ(zoomedIn(kWholePicture, 4096), Region());
    EXPECT_EQ(zoomedIn({0, 0, 8192, 100}, 50), Region()) << "top would meet bottom";
    EXPECT_EQ(zoomedIn({0, 0, 100, 8192}, 50), Region());
    EXPECT_EQ(zoomedIn({0, 0, 8192, 101}, 50), Region({50, 50, 8142, 51}));
}

TEST(PtzRegion, NegativeZoomInGoesPastTheSquare)
{
    EXPECT_EQ(zoomedIn(kWholePicture, -1), Region({-1, -1, 8193, 8193}));
}

TEST(PtzRegion, ZoomOutStaysInTheSquareOrIsRefused)
{
    EXPECT_EQ(zoomedOut(kMiddle, 1000), Region({0, 1000, 6000, 7000}));
    EXPECT_EQ(zoomedOut(kMiddle, 1001), Region()) << "left has no room, though right has";
    EXPECT_EQ(zoomedOut(kWholePicture, 1), Region());
    EXPECT_EQ(zoomedOut({100, 50, 200, 200}, 51), Region()) << "top";
    EXPECT_EQ(zoomedOut({100, 100, 8150, 200}, 43), Region()) << "right";
    EXPECT_EQ(zoomedOut({100, 100, 8150, 200}, 42), Region({58, 58, 8192, 242}));
    EXPECT_EQ(zoomedOut({100, 100, 200, 8150}, 43), Region()) << "bottom";
}

TEST(PtzRegion, NegativeZoomOutIsNotTestedForSize)
{
    EXPECT_EQ(zoomedOut(kMiddle, -2500), Region({3500, 4500, 2500, 3500}));
}

TEST(PtzRegion, MovesKeepTheSizeAndAreRefusedAtTheEdge)
{
    struct Row {
        int nDirection, nStep;
        Region expected;
    };
    const std::vector<Row> rows = {
        {kPtzUp, 2000, LumoRect{1000, 0, 5000, 4000}},
        {kPtzUp, 2001, {}},
        {kPtzDown, 2192, LumoRect{1000, 4192, 5000, 8192}},
        {kPtzDown, 2193, {}},
        {kPtzLeft, 1000, LumoRect{0, 2000, 4000, 6000}},
        {kPtzLeft, 1001, {}},
        {kPtzRight, 3192, LumoRect{4192, 2000, 8192, 6000}},
        {kPtzRight, 3193, {}},
        {4, 1, {}},
        {-1, 1, {}},
        {kPtzUp, 0, kMiddle},
    };
    for (const Row& row : rows)
        EXPECT_EQ(moved(kMiddle, row.nDirection, row.nStep), row.expected) << row.nDirection << " by " << row.nStep;
}

TEST(PtzRegion, NegativeMoveIsTestedAtTheEdgeOfItsNameOnly)
{
    EXPECT_EQ(moved(kMiddle, kPtzUp, -3000), Region({1000, 5000, 5000, 9000}));
    EXPECT_EQ(moved(kMiddle, kPtzDown, -3000), Region({1000, -1000, 5000, 3000}));
    EXPECT_EQ(moved(kMiddle, kPtzLeft, -4000), Region({5000, 2000, 9000, 6000}));
    EXPECT_EQ(moved(kMiddle, kPtzRight, -4000), Region({-3000, 2000, 1000, 6000}));
}

TEST(PtzRegion, SumsAreCutTo32Bits)
{
    EXPECT_EQ(zoomedIn(kWholePicture, INT_MAX), Region());
    EXPECT_EQ(zoomedIn(kWholePicture, INT_MIN), Region({INT_MIN, INT_MIN, INT_MIN + 8192, INT_MIN + 8192}));
    EXPECT_EQ(zoomedOut(kWholePicture, INT_MAX), Region());
    EXPECT_EQ(zoomedOut(kWholePicture, INT_MIN), Region());
    EXPECT_EQ(moved(kMiddle, kPtzUp, INT_MAX), Region());
    EXPECT_EQ(moved(kMiddle, kPtzLeft, INT_MAX), Region());
    EXPECT_EQ(moved(kMiddle, kPtzRight, INT_MAX), Region({INT_MIN + 999, 2000, INT_MIN + 4999, 6000}));
    EXPECT_EQ(moved(kMiddle, kPtzDown, INT_MIN), Region({1000, 2000 + INT_MIN, 5000, 6000 + INT_MIN}));
}
