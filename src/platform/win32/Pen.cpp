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

DrawContext windowContext(WindowHandle hWnd)
{
    return reinterpret_cast<DrawContext>(GetWindowDC(reinterpret_cast<HWND>(hWnd)));
}

void releaseContext(DrawContext hContext)
{
    DeleteDC(asDC(hContext));
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
