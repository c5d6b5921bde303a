#include "surface/ZoomRegion.h"

#include <gtest/gtest.h>

#include <ostream>
#include <tuple>

namespace
{

using Edges = std::tuple<int, int, int, int>; // left, top, right, bottom

Edges select(const LumoRect& rcCurrent, QPoint ptStart, QPoint ptEnd, QSize szFrame)
{
    const LumoRect rc = selectedRegion(rcCurrent, ptStart, ptEnd, szFrame);
    return {rc.left, rc.top, rc.right, rc.bottom};
}

constexpr LumoRect kMiddle{2048, 2048, 6144, 4096};
constexpr Edges kWhole{0, 0, 8192, 8192};

} // namespace

TEST(ZoomRegion, FirstSelectionIsTakenFromTheWholePicture)
{
    EXPECT_EQ(select(kNoZoomRegion, {100, 100}, {300, 200}, {400, 400}), Edges(2048, 2048, 6144, 4096));
}

TEST(ZoomRegion, SelectionDuringAZoomNestsInItsRegion)
{
    EXPECT_EQ(select(kMiddle, {100, 100}, {300, 200}, {400, 400}), Edges(3072, 2560, 5130, 3077));
}

TEST(ZoomRegion, DirectionOfTheDragDoesNotMatter)
{
    const Edges expected = select(kNoZoomRegion, {100, 100}, {300, 200}, {400, 400});
    EXPECT_EQ(select(kNoZoomRegion, {300, 200}, {100, 100}, {400, 400}), expected);
    EXPECT_EQ(select(kNoZoomRegion, {300, 100}, {100, 200}, {400, 400}), expected);
    EXPECT_EQ(select(kMiddle, {100, 200}, {300, 100}, {400, 400}), Edges(3072, 2560, 5130, 3077));
}

TEST(ZoomRegion, DegenerateSelectionGivesTheWholePicture)
{
    EXPECT_EQ(select(kNoZoomRegion, {100, 100}, {100, 200}, {400, 400}), kWhole); // no width
    EXPECT_EQ(select(kNoZoomRegion, {100, 100}, {300, 100}, {400, 400}), kWhole); // no height
    EXPECT_EQ(select({10, 10, 11, 11}, {0, 0}, {10, 10}, {400, 400}), kWhole);    // nested to nothing
}

TEST(ZoomRegion, SelectionOfTheFullFrameReachesTheEdges)
{
    EXPECT_EQ(select(kNoZoomRegion, {0, 0}, {400, 300}, {400, 300}), kWhole);
}

TEST(ZoomRegion, FrameWithoutAreaGivesTheWholePicture)
{
    EXPECT_EQ(select(kNoZoomRegion, {0, 0}, {10, 10}, {0, 300}), kWhole);
    EXPECT_EQ(select(kMiddle, {0, 0}, {10, 10}, {400, 0}), kWhole);
}
