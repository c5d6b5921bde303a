#include "surface/ZoomRegion.h"

#include <algorithm>

namespace
{

struct SBand {
    int nLeft, nTop, nRight, nBottom; // pixels of the frame, sorted
};

LumoRect nestedRegion(const LumoRect& rcCurrent, int nWidth, int nHeight, const SBand& band, QSize szFrame)
{
    const int nLeft = rcCurrent.left + band.nLeft * nWidth / szFrame.width();
    const int nTop = rcCurrent.top + band.nTop * nHeight / szFrame.height();
    return {nLeft, nTop, nLeft + (band.nRight - band.nLeft + 1) * nWidth / szFrame.width(),
            nTop + (band.nBottom - band.nTop + 1) * nHeight / szFrame.height()};
}

LumoRect regionOfWhole(const SBand& band, QSize szFrame)
{
    return {band.nLeft * kVirtualSide / szFrame.width(), band.nTop * kVirtualSide / szFrame.height(),
            band.nRight * kVirtualSide / szFrame.width(), band.nBottom * kVirtualSide / szFrame.height()};
}

} // namespace

LumoRect selectedRegion(const LumoRect& rcCurrent, QPoint ptStart, QPoint ptEnd, QSize szFrame)
{
    if (szFrame.isEmpty())
        return kWholePicture;
    const auto [nLeft, nRight] = std::minmax({ptStart.x(), ptEnd.x()});
    const auto [nTop, nBottom] = std::minmax({ptStart.y(), ptEnd.y()});
    const SBand band{nLeft, nTop, nRight, nBottom};
    const int nWidth = rcCurrent.right - rcCurrent.left + 1;
    const int nHeight = rcCurrent.bottom - rcCurrent.top + 1;
    const LumoRect rc = nWidth != 0 && nHeight != 0 ? nestedRegion(rcCurrent, nWidth, nHeight, band, szFrame)
                                                    : regionOfWhole(band, szFrame);
    return rc.left < rc.right && rc.top < rc.bottom ? rc : kWholePicture;
}
