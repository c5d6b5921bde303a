// Pens on X11: a graphics context per draw context, drawn with child windows included, so that a line lies above the
// decoder's own window too.
#include "platform/Pen.h"

#include "platform/SurfaceLine.h"
#include "platform/x11/Connection.h"

namespace platform
{
using namespace x11;

namespace
{
struct SPen {
    int nWidth;
    quint32 nColor;
};

struct SContext {
    xcb_window_t nWindow;
    xcb_gcontext_t nGc;
    const LumoDrawSurface* pSurface = nullptr; // a draw callback's; then there is neither window nor graphics context
    PenHandle hPen = 0;
    int nX = 0;
    int nY = 0;
};

SContext* asContext(DrawContext hContext)
{
    return reinterpret_cast<SContext*>(hContext);
}

constexpr SPen kDefaultPen{1, 0};

const SPen& penOf(PenHandle hPen)
{
    return hPen ? *reinterpret_cast<const SPen*>(hPen) : kDefaultPen;
}

xcb_point_t pointOf(int nX, int nY)
{
    return {static_cast<int16_t>(nX), static_cast<int16_t>(nY)};
}
} // namespace

PenHandle createPen(int nWidth, quint32 nColor)
{
    return reinterpret_cast<PenHandle>(new SPen{nWidth, nColor});
}

void deletePen(PenHandle hPen)
{
    delete reinterpret_cast<SPen*>(hPen);
}

DrawContext windowContext(WindowHandle hWnd)
{
    if (!connection() || !isWindow(hWnd))
        return 0;
    const xcb_gcontext_t nGc = xcb_generate_id(connection());
    const uint32_t values[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    xcb_create_gc(connection(), nGc, static_cast<xcb_window_t>(hWnd), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                  values);
    auto* pContext = new SContext{static_cast<xcb_window_t>(hWnd), nGc};
    const auto hContext = reinterpret_cast<DrawContext>(pContext);
    selectPen(hContext, 0);
    return hContext;
}

void releaseContext(DrawContext hContext)
{
    SContext* pContext = asContext(hContext);
    if (!pContext)
        return;
    if (connection())
        xcb_free_gc(connection(), pContext->nGc);
    flush();
    delete pContext;
}

DrawContext callbackContext(void* hDC)
{
    if (!hDC)
        return 0;
    return reinterpret_cast<DrawContext>(new SContext{0, 0, static_cast<const LumoDrawSurface*>(hDC)});
}

void releaseCallbackContext(DrawContext hContext)
{
    delete asContext(hContext);
}

QSize callbackSize(DrawContext hContext, WindowHandle)
{
    const SContext* pContext = asContext(hContext);
    if (!pContext || !pContext->pSurface)
        return {0, 0};
    return {pContext->pSurface->nWidth, pContext->pSurface->nHeight};
}

PenHandle selectPen(DrawContext hContext, PenHandle hPen)
{
    SContext* pContext = asContext(hContext);
    if (!pContext)
        return 0;
    if (pContext->pSurface)
        return std::exchange(pContext->hPen, hPen);
    if (!connection())
        return 0;
    const SPen& pen = penOf(hPen);
    const quint32 nPixel = 0xff000000u | (pen.nColor & 0xff) << 16 | (pen.nColor & 0xff00) | (pen.nColor >> 16 & 0xff);
    const uint32_t values[] = {nPixel, static_cast<uint32_t>(pen.nWidth)};
    xcb_change_gc(connection(), pContext->nGc, XCB_GC_FOREGROUND | XCB_GC_LINE_WIDTH, values);
    return std::exchange(pContext->hPen, hPen);
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
    SContext* pContext = asContext(hContext);
    if (!pContext)
        return;
    if (pContext->pSurface) {
        const SPen& pen = penOf(pContext->hPen);
        drawSurfaceLine(*pContext->pSurface, pContext->nX, pContext->nY, nX, nY, pen.nWidth, pen.nColor);
    } else if (connection()) {
        const xcb_point_t points[] = {pointOf(pContext->nX, pContext->nY), pointOf(nX, nY)};
        xcb_poly_line(connection(), XCB_COORD_MODE_ORIGIN, pContext->nWindow, pContext->nGc, 2, points);
    }
    moveTo(hContext, nX, nY);
}
} // namespace platform
