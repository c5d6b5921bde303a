// Where a step of electronic PTZ leads: the shown region of the picture, in the virtual square. Pure values.
//
// Steps are virtual units and may be any int, negative ones too; sums are cut to 32 bits. None: the step is refused,
// and the region stays as it is, for a step is never shortened at an edge.
#pragma once

#include "decode/LumoDecode.h"

#include <optional>

enum EPtzDirection { kPtzUp = 0, kPtzDown = 1, kPtzLeft = 2, kPtzRight = 3 };

bool isWholePicture(const LumoRect& rc);
/// Each edge goes in by nStep. Refused when nothing would be left; the square is no limit here.
std::optional<LumoRect> zoomedIn(const LumoRect& rc, int nStep);
/// Each edge goes out by nStep. Refused when any edge would leave the square.
std::optional<LumoRect> zoomedOut(const LumoRect& rc, int nStep);
/// Refused in any other direction, and when the edge that leads would leave the square.
std::optional<LumoRect> moved(const LumoRect& rc, int nDirection, int nStep);
