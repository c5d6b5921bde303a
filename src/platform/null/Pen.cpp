// Nothing is drawn in a window system without pixels; only lifetimes are kept.
#include "platform/Pen.h"

#include <utility>

namespace platform
{
PenHandle createPen(int nWidth, quint32 nColor)
{
    return reinterpret_cast<PenHandle>(new std::pair(nWidth, nColor));
}

void deletePen(PenHandle hPen)
{
    delete reinterpret_cast<std::pair<int, quint32>*>(hPen);
}

DrawContext windowContext(WindowHandle hWnd)
{
    return isWindow(hWnd) ? reinterpret_cast<DrawContext>(new PenHandle(0)) : 0;
}

void releaseContext(DrawContext hContext)
{
    delete reinterpret_cast<PenHandle*>(hContext);
}

PenHandle selectPen(DrawContext hContext, PenHandle hPen)
{
    auto* pSelected = reinterpret_cast<PenHandle*>(hContext);
    return pSelected ? std::exchange(*pSelected, hPen) : 0;
}

void moveTo(DrawContext, int, int) {}
void lineTo(DrawContext, int, int) {}
} // namespace platform
