// An analysis rule over the picture of channel 0, and the lines that show it on a cell: a tripwire or a polygon, each
// with arrows for the alarm direction. Pure values.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

constexpr int kRuleCorners = 8;
constexpr int kRuleChannel = 0; // a draw callback works on this port only

/// As the page gives it. Coordinates in the virtual square of 8192 units over the picture, any int.
struct RuleInfo {
    int32_t nChannel;           // only kRuleChannel is ever drawn
    uint8_t nRuleType;          // 0 line, 1 region
    uint8_t bShowRule;          // non-zero: drawn
    uint8_t nAlarmDirectLine;   // 0 from stop to start, 1 from start to stop, 2 both; any other no arrow
    uint8_t nAlarmDirectRegion; // the same of the first edge, from corner 1 to corner 0
    int32_t nPtsNum;            // corners in use, any int
    int32_t StartX, StartY, StopX, StopY;
    struct SCorner {
        int32_t x, y;
    } RuleRegion[kRuleCorners];
};

struct SRulePoint {
    double fX, fY;
};

/// Pixels of the cell.
struct SRuleLine {
    int nFromX, nFromY, nToX, nToY;
};

/// In the order in which they are drawn; none for a rule type that is neither.
std::vector<SRuleLine> linesOfRule(const RuleInfo& rule, int nWidth, int nHeight);

/// The arrow across the middle of the edge from a to b, 30 pixels long whatever the edge: shaft, then the two barbs,
/// each from the head. bLine chooses the side of an upright edge.
std::array<SRuleLine, 3> arrowAcross(SRulePoint a, SRulePoint b, bool bLine);
