// The shown part of a picture, told in a virtual square of 8192 by 8192 units whatever the size of the picture and
// of the cell. Pure values.
#pragma once

#include "decode/LumoDecode.h"

#include <QPoint>
#include <QSize>

constexpr int kVirtualSide = 8192;

/// No zoom: its width and height, counted inclusively, are 0.
constexpr LumoRect kNoZoomRegion{0, 0, -1, -1};
constexpr LumoRect kWholePicture{0, 0, kVirtualSide, kVirtualSide};

/// The region that a band from ptStart to ptEnd, in pixels of a frame of size szFrame, selects. With a zoom running
/// in rcCurrent the new region nests in it. A band without area selects the whole picture.
LumoRect selectedRegion(const LumoRect& rcCurrent, QPoint ptStart, QPoint ptEnd, QSize szFrame);
