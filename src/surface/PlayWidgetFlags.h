// Window flags and intervals of the surface, shared by PlayWidget's sources.
#pragma once

#include <Qt>

/// A tool window without a frame.
inline const Qt::WindowFlags kFlagsSurface(0x0200080B);
/// The same, staying on top.
inline const Qt::WindowFlags kFlagsFullScreen(0x0204080B);
/// The same as the first, bypassing the window manager.
inline const Qt::WindowFlags kFlagsAfterFullScreen(0x02000C0B);

inline constexpr int kTrackIntervalMs = 100;
inline constexpr int kFullScreenCheckMs = 500;
