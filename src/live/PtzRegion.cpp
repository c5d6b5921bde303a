#include "live/PtzRegion.h"

#include "surface/ZoomRegion.h"

#include <cstdint>

namespace
{

int sum(int nA, int nB)
{
    return static_cast<int>(static_cast<uint32_t>(nA) + static_cast<uint32_t>(nB));
}

int difference(int nA, int nB)
{
    return static_cast<int>(static_cast<uint32_t>(nA) - static_cast<uint32_t>(nB));
}

} // namespace

bool isWholePicture(const LumoRect& rc)
{
    return rc.left == kWholePicture.left && rc.top == kWholePicture.top && rc.right == kWholePicture.right &&
           rc.bottom == kWholePicture.bottom;
}

std::optional<LumoRect> zoomedIn(const LumoRect& rc, int nStep)
{
    const LumoRect rcNew{sum(rc.left, nStep), sum(rc.top, nStep), difference(rc.right, nStep),
                         difference(rc.bottom, nStep)};
    if (rcNew.left < rcNew.right && rcNew.top < rcNew.bottom)
        return rcNew;
    return {};
}

std::optional<LumoRect> zoomedOut(const LumoRect& rc, int nStep)
{
    const LumoRect rcNew{difference(rc.left, nStep), difference(rc.top, nStep), sum(rc.right, nStep),
                         sum(rc.bottom, nStep)};
    if (rcNew.right <= kVirtualSide && rcNew.bottom <= kVirtualSide && rcNew.left >= 0 && rcNew.top >= 0)
        return rcNew;
    return {};
}

std::optional<LumoRect> moved(const LumoRect& rc, int nDirection, int nStep)
{
    LumoRect rcNew = rc;
    bool bInside = false;
    switch (nDirection) {
    case kPtzUp:
        rcNew.top = difference(rc.top, nStep);
        rcNew.bottom = difference(rc.bottom, nStep);
        bInside = rcNew.top >= 0;
        break;
    case kPtzDown:
        rcNew.top = sum(rc.top, nStep);
        rcNew.bottom = sum(rc.bottom, nStep);
        bInside = rcNew.bottom <= kVirtualSide;
        break;
    case kPtzLeft:
        rcNew.left = difference(rc.left, nStep);
        rcNew.right = difference(rc.right, nStep);
        bInside = rcNew.left >= 0;
        break;
    case kPtzRight:
        rcNew.left = sum(rc.left, nStep);
        rcNew.right = sum(rc.right, nStep);
        bInside = rcNew.right <= kVirtualSide;
        break;
    default:
        break;
    }
    if (bInside)
        return rcNew;
    return {};
}
