#include "platform/SurfaceLine.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace platform
{
namespace
{
struct SPoint {
    double fX, fY;
};

/// What a shape covers of one row.
struct SSpan {
    double fLeft = HUGE_VAL;
    double fRight = -HUGE_VAL;
    void add(double fX)
    {
        fLeft = std::min(fLeft, fX);
        fRight = std::max(fRight, fX);
    }
};

void addDisc(SSpan& span, SPoint pt, double fRadius, double fY)
{
    const double fSquare = fRadius * fRadius - (fY - pt.fY) * (fY - pt.fY);
    if (fSquare < 0)
        return;
    span.add(pt.fX - std::sqrt(fSquare));
    span.add(pt.fX + std::sqrt(fSquare));
}

/// Where the edge from a to b crosses the row.
void addEdge(SSpan& span, SPoint a, SPoint b, double fY)
{
    if ((a.fY <= fY) == (b.fY <= fY))
        return;
    span.add(a.fX + (b.fX - a.fX) * ((fY - a.fY) / (b.fY - a.fY)));
}

/// The line with round ends is convex: in each row it is one span, of its two discs and the rectangle between them.
SSpan spanOf(SPoint a, SPoint b, double fRadius, double fY)
{
    SSpan span;
    addDisc(span, a, fRadius, fY);
    addDisc(span, b, fRadius, fY);
    const double fLength = std::hypot(b.fX - a.fX, b.fY - a.fY);
    if (fLength == 0)
        return span;
    const SPoint side{-(b.fY - a.fY) / fLength * fRadius, (b.fX - a.fX) / fLength * fRadius};
    const SPoint corners[] = {{a.fX + side.fX, a.fY + side.fY},
                              {b.fX + side.fX, b.fY + side.fY},
                              {b.fX - side.fX, b.fY - side.fY},
                              {a.fX - side.fX, a.fY - side.fY}};
    for (int i = 0; i < 4; ++i)
        addEdge(span, corners[i], corners[(i + 1) % 4], fY);
    return span;
}

/// The first of nCount pixels whose middle lies at or behind fAt.
int firstPixel(double fAt, int nCount)
{
    return static_cast<int>(std::clamp(std::ceil(fAt - 0.5), 0.0, static_cast<double>(nCount)));
}

void fillRow(const LumoDrawSurface& surface, int nY, const SSpan& span, quint32 nPixel)
{
    uint8_t* pRow = surface.pBits + static_cast<ptrdiff_t>(nY) * surface.nStride;
    const int nEnd = firstPixel(span.fRight, surface.nWidth);
    for (int nX = firstPixel(span.fLeft, surface.nWidth); nX < nEnd; ++nX)
        std::memcpy(pRow + static_cast<ptrdiff_t>(nX) * 4, &nPixel, sizeof nPixel);
}
} // namespace

void drawSurfaceLine(const LumoDrawSurface& surface, int nFromX, int nFromY, int nToX, int nToY, int nWidth,
                     quint32 nColor)
{
    const SPoint a{static_cast<double>(nFromX), static_cast<double>(nFromY)};
    const SPoint b{static_cast<double>(nToX), static_cast<double>(nToY)};
    const double fRadius = nWidth / 2.0;
    const quint32 nPixel = 0xff000000u | (nColor & 0xff) << 16 | (nColor & 0xff00) | (nColor >> 16 & 0xff);
    const int nEnd = firstPixel(std::max(a.fY, b.fY) + fRadius, surface.nHeight);
    for (int nY = firstPixel(std::min(a.fY, b.fY) - fRadius, surface.nHeight); nY < nEnd; ++nY) {
        const SSpan span = spanOf(a, b, fRadius, nY + 0.5);
        if (span.fLeft < span.fRight)
            fillRow(surface, nY, span, nPixel);
    }
}
} // namespace platform
