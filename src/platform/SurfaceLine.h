// A thick line in the memory that the decode library hands to a draw callback where the system has no device context of
// its own. Shared by the back ends without one.
//
// Thread: any. Any coordinates: what lies outside the surface costs nothing.
#pragma once

#include "decode/LumoDecode.h"

#include <QtGlobal>

namespace platform
{
/// All pixels whose middle lies within half of nWidth of the line, round ends included. nColor is 0x00BBGGRR.
void drawSurfaceLine(const LumoDrawSurface& surface, int nFromX, int nFromY, int nToX, int nToY, int nWidth,
                     quint32 nColor);
} // namespace platform
