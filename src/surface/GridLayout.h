// Where the cells of one split stand on the grid. Pure values; rows and columns as QGridLayout counts them.
#pragma once

#include <vector>

constexpr int kGridCells = 64;

struct SCellPlace {
    int nCell;
    int nRow;
    int nColumn;
    int nRowSpan = 1;
    int nColumnSpan = 1;

    bool operator==(const SCellPlace&) const = default;
};

/// Places of cells 0 to nCount - 1, in the order in which they are added. Empty for 0 and below; no more than
/// 64 cells are ever placed.
std::vector<SCellPlace> layoutFor(int nCount);
