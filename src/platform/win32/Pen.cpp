// Pens on Windows: GDI.
#include "platform/Pen.h"

#include <windows.h>

namespace platform
{
namespace
{
HDC asDC(DrawContext hContext)
{
    return reinterpret_cast<HDC>(hContext);
}
} // namespace

PenHandle createPen(int nWidth, quint32 nColor)
{
    return reinterpret_cast<PenHandle>(CreatePen(PS_SOLID, nWidth, nColor));
}

void deletePen(PenHandle hPen)
{
    DeleteObject(reinterpret_cast<HGDIOBJ>(hPen));
}

/// A context of the whole window does not stop where children begin, as one of its client area would under
/// WS_CLIPCHILDREN.
DrawContext windowContext(WindowHandle hWnd)
{
    return reinterpret_cast<DrawContext>(GetWindowDC(reinterpret_cast<HWND>(hWnd)));
}

void releaseContext(DrawContext hContext)
{
    DeleteDC(asDC(hContext));
}

DrawContext callbackContext(void* hDC)
{
    return reinterpret_cast<DrawContext>(hDC);
}

void releaseCallbackContext(DrawContext) {}

/// A library may hand out a context of any size, of a window or of memory: the cell's own size counts.
QSize callbackSize(DrawContext hContext, WindowHandle hWnd)
{
    RECT rc{};
    if (GetClientRect(reinterpret_cast<HWND>(hWnd), &rc))
        return {static_cast<int>(rc.right), static_cast<int>(rc.bottom)};
    BITMAP bitmap{};
    if (!GetObjectW(GetCurrentObject(asDC(hContext), OBJ_BITMAP), sizeof bitmap, &bitmap))
        return {0, 0};
    return {static_cast<int>(bitmap.bmWidth), static_cast<int>(bitmap.bmHeight)};
}

PenHandle selectPen(DrawContext hContext, PenHandle hPen)
{
    HGDIOBJ hObject = hPen ? reinterpret_cast<HGDIOBJ>(hPen) : GetStockObject(BLACK_PEN);
    return reinterpret_cast<PenHandle>(SelectObject(asDC(hContext), hObject));
}

void moveTo(DrawContext hContext, int nX, int nY)
{
    MoveToEx(asDC(hContext), nX, nY, nullptr);
}
void lineTo(DrawContext hContext, int nX, int nY)
{
    LineTo(asDC(hContext), nX, nY);
}
} // namespace platform
