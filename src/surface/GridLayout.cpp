#include "surface/GridLayout.h"

#include <algorithm>
#include <cmath>

namespace
{

/// Adds cells nFirst to nLast to one row, from its first column on.
void addRow(std::vector<SCellPlace>& places, int nFirst, int nLast, int nRow)
{
    for (int nCell = nFirst; nCell <= nLast; ++nCell)
        places.push_back({nCell, nRow, nCell - nFirst});
}

std::vector<SCellPlace> oneWideBelowFour()
{
    std::vector<SCellPlace> places;
    addRow(places, 1, 4, 0);
    places.push_back({0, 1, 0, 1, 4});
    return places;
}

std::vector<SCellPlace> oneLargeAndFive()
{
    std::vector<SCellPlace> places{{0, 0, 0, 2, 2}, {1, 0, 2}, {2, 1, 2}};
    addRow(places, 3, 5, 2);
    return places;
}

std::vector<SCellPlace> oneLargeAndSeven()
{
    std::vector<SCellPlace> places{{0, 0, 0, 3, 3}, {1, 0, 3}, {2, 1, 3}, {3, 2, 3}};
    addRow(places, 4, 7, 3);
    return places;
}

std::vector<SCellPlace> oneLargeInTheMiddle()
{
    std::vector<SCellPlace> places{{0, 1, 1, 2, 2}};
    addRow(places, 1, 4, 0);
    places.insert(places.end(), {{5, 1, 0}, {6, 1, 3}, {7, 2, 0}, {8, 2, 3}});
    addRow(places, 9, 12, 3);
    return places;
}

std::vector<SCellPlace> twoLargeAndEighteen()
{
    std::vector<SCellPlace> places{{0, 0, 0, 3, 3}, {1, 0, 3, 3, 3}};
    addRow(places, 2, 7, 3);
    addRow(places, 8, 13, 4);
    addRow(places, 14, 19, 5);
    return places;
}

/// Rows as long as the truncated root of the count, so counts off a square get more rows than columns.
std::vector<SCellPlace> nearSquare(int nCount)
{
    std::vector<SCellPlace> places;
    const int nSide = static_cast<int>(std::sqrt(nCount));
    for (int nCell = 0; nCell < nCount; ++nCell)
        places.push_back({nCell, nCell / nSide, nCell % nSide});
    return places;
}

} // namespace

std::vector<SCellPlace> layoutFor(int nCount)
{
    switch (nCount) {
    case 5:
        return oneWideBelowFour();
    case 6:
        return oneLargeAndFive();
    case 8:
        return oneLargeAndSeven();
    case 13:
        return oneLargeInTheMiddle();
    case 20:
        return twoLargeAndEighteen();
    default:
        return nCount > 0 ? nearSquare(std::min(nCount, kGridCells)) : std::vector<SCellPlace>{};
    }
}
