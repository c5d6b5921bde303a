// Window flags and intervals of the surface, shared by PlayWidget's sources.
#pragma once

#include <Qt>

/// A tool window without a frame.
inline constexpr Qt::WindowFlags kFlagsSurface = Qt::Tool | Qt::FramelessWindowHint | Qt::CustomizeWindowHint;
inline constexpr Qt::WindowFlags kFlagsFullScreen = kFlagsSurface | Qt::WindowStaysOnTopHint;
inline constexpr Qt::WindowFlags kFlagsAfterFullScreen = kFlagsSurface | Qt::X11BypassWindowManagerHint;
static_assert(kFlagsSurface == 0x0200080B && kFlagsFullScreen == 0x0204080B && kFlagsAfterFullScreen == 0x02000C0B);

inline constexpr int kTrackIntervalMs = 100;
inline constexpr int kFullScreenCheckMs = 500;
