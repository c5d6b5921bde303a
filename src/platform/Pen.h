// Lines on a native window, above whatever paints there, child windows included; and on what the decode library hands
// to a draw callback.
//
// Thread:    any, one context at a time.
// Ownership: the caller deletes its pens and releases its contexts.
// Errors:    0 for a pen or a context that could not be had; drawing with 0, or on a window that has gone, does
//            nothing.
#pragma once

#include "platform/WindowSystem.h"

#include <QSize>

namespace platform
{
using PenHandle = quintptr;
using DrawContext = quintptr;

/// A solid pen. nColor is 0x00BBGGRR, nWidth in pixels.
PenHandle createPen(int nWidth, quint32 nColor);
void deletePen(PenHandle hPen);

/// The whole window, its origin in the upper left corner.
DrawContext windowContext(WindowHandle hWnd);
/// Shows what was drawn and gives the context back.
void releaseContext(DrawContext hContext);
/// The device context of a draw callback, for as long as that runs. What is drawn is shown with the picture. 0 for
/// null.
DrawContext callbackContext(void* hDC);
/// Gives it back; the device context stays the library's.
void releaseCallbackContext(DrawContext hContext);
/// What a callback draws on, in pixels: the cell hWnd where a picture is as large as its window (Windows), else the
/// context itself. 0 by 0 when it cannot be told.
QSize callbackSize(DrawContext hContext, WindowHandle hWnd);
/// The pen that was selected before, 0 if it was the default one. Selecting 0 selects the default.
PenHandle selectPen(DrawContext hContext, PenHandle hPen);
void moveTo(DrawContext hContext, int nX, int nY);
/// From the current position, which becomes (nX, nY).
void lineTo(DrawContext hContext, int nX, int nY);
} // namespace platform
