// Windows of this window system have no pixels: on them only lifetimes are kept. A draw callback's surface has, and is
// drawn on.
#include "platform/Pen.h"

#include "platform/SurfaceLine.h"
#include "platform/null/NullWindows.h"

#include <atomic>
#include <utility>

namespace platform
{
namespace
{
struct SPen {
    int nWidth;
    quint32 nColor;
};

struct SContext {
    const LumoDrawSurface* pSurface = nullptr; // null: a window's
    PenHandle hPen = 0;
    int nX = 0;
    int nY = 0;
};

constexpr SPen kDefaultPen{1, 0};
std::atomic<int> g_nPens{0};
std::atomic<int> g_nContexts{0};

SContext* asContext(DrawContext hContext)
{
    return reinterpret_cast<SContext*>(hContext);
}

DrawContext newContext(const LumoDrawSurface* pSurface)
{
    ++g_nContexts;
    return reinterpret_cast<DrawContext>(new SContext{pSurface});
}
} // namespace

namespace null
{
int penCount()
{
    return g_nPens;
}

int drawContextCount()
{
    return g_nContexts;
}
} // namespace null

PenHandle createPen(int nWidth, quint32 nColor)
{
    ++g_nPens;
    return reinterpret_cast<PenHandle>(new SPen{nWidth, nColor});
}

void deletePen(PenHandle hPen)
{
    if (hPen)
        --g_nPens;
    delete reinterpret_cast<SPen*>(hPen);
}

DrawContext windowContext(WindowHandle hWnd)
{
    return isWindow(hWnd) ? newContext(nullptr) : 0;
}

void releaseContext(DrawContext hContext)
{
    if (hContext)
        --g_nContexts;
    delete asContext(hContext);
}

DrawContext callbackContext(void* hDC)
{
    return hDC ? newContext(static_cast<const LumoDrawSurface*>(hDC)) : 0;
}

void releaseCallbackContext(DrawContext hContext)
{
    releaseContext(hContext);
}

QSize callbackSize(DrawContext hContext, WindowHandle)
{
    const SContext* pContext = asContext(hContext);
    return pContext && pContext->pSurface ? QSize(pContext->pSurface->nWidth, pContext->pSurface->nHeight)
                                          : QSize(0, 0);
}

PenHandle selectPen(DrawContext hContext, PenHandle hPen)
{
    SContext* pContext = asContext(hContext);
    return pContext ? std::exchange(pContext->hPen, hPen) : 0;
}

void moveTo(DrawContext hContext, int nX, int nY)
{
    if (SContext* pContext = asContext(hContext)) {
        pContext->nX = nX;
        pContext->nY = nY;
    }
}

void lineTo(DrawContext hContext, int nX, int nY)
{
    const SContext* pContext = asContext(hContext);
    if (!pContext)
        return;
    if (pContext->pSurface) {
        const SPen& pen = pContext->hPen ? *reinterpret_cast<const SPen*>(pContext->hPen) : kDefaultPen;
        drawSurfaceLine(*pContext->pSurface, pContext->nX, pContext->nY, nX, nY, pen.nWidth, pen.nColor);
    }
    moveTo(hContext, nX, nY);
}
} // namespace platform
