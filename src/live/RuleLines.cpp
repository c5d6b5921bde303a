#include "live/RuleLines.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kUnit = 0.0001220703125; // one of 8192
constexpr int kShaft = 30;                // pixels
constexpr int kBarbAt = 20;               // pixels from the edge
constexpr int kBarb = 10;                 // pixels

enum ERuleType { kTripwire = 0, kPolygon = 1 };
enum EDirection { kBackward = 0, kForward = 1, kBoth = 2 };

/// The product is cut to 32 bits before it is scaled.
double scaled(int32_t nUnits, int nPixels)
{
    const auto nProduct = static_cast<int32_t>(static_cast<uint32_t>(nUnits) * static_cast<uint32_t>(nPixels));
    return nProduct * kUnit;
}

/// From and to, as whole pixels: the fraction is cut off.
SRuleLine lineOf(SRulePoint a, SRulePoint b)
{
    return {static_cast<int>(a.fX), static_cast<int>(a.fY), static_cast<int>(b.fX), static_cast<int>(b.fY)};
}

SRulePoint floored(double fX, double fY)
{
    return {std::floor(fX), std::floor(fY)};
}

/// Which way the arrow leans off the edge: -1, 0 or 1 each.
struct SSigns {
    int nX, nY;
};

SSigns signsOf(SRulePoint a, SRulePoint b, bool bLine)
{
    if (a.fX == b.fX)
        return {0, bLine ? (a.fY > b.fY ? 1 : -1) : (b.fY > a.fY ? 1 : -1)};
    const int nX = b.fX > a.fX ? 1 : -1;
    if (a.fY == b.fY)
        return {nX, 0};
    return {nX, a.fY > b.fY ? 1 : -1};
}

/// The tip and the two barb ends of an arrow that stands with its foot on the middle of the edge.
struct SArrow {
    SRulePoint tip, barb1, barb2;
};

SArrow arrowOf(SRulePoint a, SRulePoint b, SRulePoint middle, SSigns sign)
{
    if (a.fX == b.fX) {
        const double fBarb = sign.nY * kBarbAt + middle.fX;
        return {floored(sign.nY * kShaft + middle.fX, middle.fY), floored(fBarb, middle.fY - kBarb),
                floored(fBarb, middle.fY + kBarb)};
    }
    if (a.fY == b.fY) {
        const double fBarb = sign.nX * kBarbAt + middle.fY;
        return {floored(middle.fX, sign.nX * kShaft + middle.fY), floored(middle.fX - kBarb, fBarb),
                floored(middle.fX + kBarb, fBarb)};
    }
    const double fSlope = (a.fY - b.fY) / (a.fX - b.fX);
    const double fScale = std::sqrt(1 / (fSlope * fSlope) + 1);
    const auto across = [&](int nPixels) {
        const double fX = nPixels / fScale * sign.nY;
        return SRulePoint{fX + middle.fX, std::abs(fX / fSlope) * sign.nX + middle.fY};
    };
    const SRulePoint tip = across(kShaft);
    const SRulePoint barb = across(kBarbAt);
    const double fAlong = std::sqrt(kBarb * kBarb / (fSlope * fSlope + 1));
    return {floored(tip.fX, tip.fY), floored(barb.fX + fAlong, barb.fY + fAlong * fSlope),
            floored(barb.fX - fAlong, barb.fY - fAlong * fSlope)};
}

void addArrows(std::vector<SRuleLine>& lines, SRulePoint a, SRulePoint b, int nDirection, bool bLine)
{
    const auto add = [&](SRulePoint from, SRulePoint to) {
        const auto arrow = arrowAcross(from, to, bLine);
        lines.insert(lines.end(), arrow.begin(), arrow.end());
    };
    if (nDirection == kForward || nDirection == kBoth)
        add(a, b);
    if (nDirection == kBackward || nDirection == kBoth)
        add(b, a);
}

} // namespace

std::array<SRuleLine, 3> arrowAcross(SRulePoint a, SRulePoint b, bool bLine)
{
    const SRulePoint middle{(a.fX + b.fX) / 2, (a.fY + b.fY) / 2};
    const SArrow arrow = arrowOf(a, b, middle, signsOf(a, b, bLine));
    // Shifted, so that the shaft has its middle on the edge.
    const SRulePoint head{(arrow.tip.fX + middle.fX) / 2, (arrow.tip.fY + middle.fY) / 2};
    const SRulePoint shift{middle.fX - head.fX, middle.fY - head.fY};
    const SRulePoint foot{2 * middle.fX - head.fX, 2 * middle.fY - head.fY};
    const SRulePoint barb1{arrow.barb1.fX + shift.fX, arrow.barb1.fY + shift.fY};
    const SRulePoint barb2{arrow.barb2.fX + shift.fX, arrow.barb2.fY + shift.fY};
    return {lineOf(head, foot), lineOf(head, barb1), lineOf(head, barb2)};
}

std::vector<SRuleLine> linesOfRule(const RuleInfo& rule, int nWidth, int nHeight)
{
    const auto place = [&](int32_t nX, int32_t nY) { return SRulePoint{scaled(nX, nWidth), scaled(nY, nHeight)}; };
    std::vector<SRuleLine> lines;
    if (rule.nRuleType == kTripwire) {
        const SRulePoint start = place(rule.StartX, rule.StartY);
        const SRulePoint stop = place(rule.StopX, rule.StopY);
        lines.push_back(lineOf(start, stop));
        addArrows(lines, start, stop, rule.nAlarmDirectLine, true);
    } else if (rule.nRuleType == kPolygon) {
        const auto corner = [&](int i) { return place(rule.RuleRegion[i].x, rule.RuleRegion[i].y); };
        const int nCorners = std::min<int>(rule.nPtsNum, kRuleCorners);
        for (int i = 0; i < nCorners; ++i)
            lines.push_back(lineOf(corner(i), corner(i + 1 < nCorners ? i + 1 : 0)));
        addArrows(lines, corner(0), corner(1), rule.nAlarmDirectRegion, false); // with no corner in use, too
    }
    return lines;
}
