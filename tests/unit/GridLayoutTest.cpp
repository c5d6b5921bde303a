#include "surface/GridLayout.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using Places = std::vector<SCellPlace>;

// The places as they come, whichever cell is added first.
Places sortedLayout(int nCount)
{
    Places places = layoutFor(nCount);
    std::sort(places.begin(), places.end(), [](const auto& a, const auto& b) { return a.nCell < b.nCell; });
    return places;
}

void expectSquare(int nCount, int nSide)
{
    const Places places = sortedLayout(nCount);
    ASSERT_EQ(places.size(), static_cast<std::size_t>(nCount));
    for (int nCell = 0; nCell < nCount; ++nCell)
        EXPECT_EQ(places[nCell], (SCellPlace{nCell, nCell / nSide, nCell % nSide})) << nCount << " windows";
}

// Every grid square inside the layout's bounds belongs to exactly one cell.
void expectCoveredOnce(int nCount, int nSide)
{
    std::vector<int> owners(static_cast<std::size_t>(nSide) * nSide, 0);
    for (const SCellPlace& place : layoutFor(nCount))
        for (int nRow = place.nRow; nRow < place.nRow + place.nRowSpan; ++nRow)
            for (int nColumn = place.nColumn; nColumn < place.nColumn + place.nColumnSpan; ++nColumn)
                ++owners.at(static_cast<std::size_t>(nRow) * nSide + nColumn);
    for (const int nOwners : owners)
        EXPECT_EQ(nOwners, 1) << nCount << " windows";
}

} // namespace

TEST(GridLayout, SquareCountsFillASquare)
{
    expectSquare(1, 1);
    expectSquare(4, 2);
    expectSquare(9, 3);
    expectSquare(16, 4);
    expectSquare(25, 5);
    expectSquare(36, 6);
    expectSquare(64, 8);
}

TEST(GridLayout, SevenWindowsStandInRowsOfTwo)
{
    expectSquare(7, 2);
    EXPECT_EQ(sortedLayout(7).back(), (SCellPlace{6, 3, 0}));
}

TEST(GridLayout, TwoAndThreeWindowsStandInOneColumn)
{
    expectSquare(2, 1);
    expectSquare(3, 1);
}

TEST(GridLayout, FiveWindowsHaveTheFirstAcrossBelowTheOthers)
{
    EXPECT_EQ(sortedLayout(5), (Places{{0, 1, 0, 1, 4}, {1, 0, 0}, {2, 0, 1}, {3, 0, 2}, {4, 0, 3}}));
}

TEST(GridLayout, SixWindowsHaveTheFirstOverFourSquares)
{
    EXPECT_EQ(sortedLayout(6), (Places{{0, 0, 0, 2, 2}, {1, 0, 2}, {2, 1, 2}, {3, 2, 0}, {4, 2, 1}, {5, 2, 2}}));
    expectCoveredOnce(6, 3);
}

TEST(GridLayout, EightWindowsHaveTheFirstOverNineSquares)
{
    EXPECT_EQ(sortedLayout(8),
              (Places{{0, 0, 0, 3, 3}, {1, 0, 3}, {2, 1, 3}, {3, 2, 3}, {4, 3, 0}, {5, 3, 1}, {6, 3, 2}, {7, 3, 3}}));
    expectCoveredOnce(8, 4);
}

TEST(GridLayout, ThirteenWindowsHaveTheFirstInTheMiddle)
{
    const Places places = sortedLayout(13);
    EXPECT_EQ(places[0], (SCellPlace{0, 1, 1, 2, 2}));
    EXPECT_EQ(places[5], (SCellPlace{5, 1, 0}));
    EXPECT_EQ(places[6], (SCellPlace{6, 1, 3}));
    EXPECT_EQ(places[7], (SCellPlace{7, 2, 0}));
    EXPECT_EQ(places[8], (SCellPlace{8, 2, 3}));
    for (int nColumn = 0; nColumn < 4; ++nColumn) {
        EXPECT_EQ(places[1 + nColumn], (SCellPlace{1 + nColumn, 0, nColumn}));
        EXPECT_EQ(places[9 + nColumn], (SCellPlace{9 + nColumn, 3, nColumn}));
    }
    expectCoveredOnce(13, 4);
}

TEST(GridLayout, TwentyWindowsHaveTwoLargeOnesAboveThreeRowsOfSix)
{
    const Places places = sortedLayout(20);
    EXPECT_EQ(places[0], (SCellPlace{0, 0, 0, 3, 3}));
    EXPECT_EQ(places[1], (SCellPlace{1, 0, 3, 3, 3}));
    for (int nCell = 2; nCell < 20; ++nCell)
        EXPECT_EQ(places[nCell], (SCellPlace{nCell, 3 + (nCell - 2) / 6, (nCell - 2) % 6}));
    expectCoveredOnce(20, 6);
}

TEST(GridLayout, ZeroAndBelowPlaceNothing)
{
    EXPECT_TRUE(layoutFor(0).empty());
    EXPECT_TRUE(layoutFor(-1).empty());
}

TEST(GridLayout, MoreThanSixtyFourPlaceNoCellThatDoesNotExist)
{
    EXPECT_EQ(layoutFor(100), layoutFor(64));
}
