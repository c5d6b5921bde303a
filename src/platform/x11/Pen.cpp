// Pens on X11: a graphics context per draw context, drawn with child windows included, so that a line lies above the
// decoder's own window too.
#include "platform/Pen.h"

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
    PenHandle hPen = 0;
    int16_t nX = 0;
    int16_t nY = 0;
};

SContext* asContext(DrawContext hContext)
{
    return reinterpret_cast<SContext*>(hContext);
}

constexpr SPen kDefaultPen{1, 0};
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

PenHandle selectPen(DrawContext hContext, PenHandle hPen)
{
    SContext* pContext = asContext(hContext);
    if (!pContext || !connection())
        return 0;
    const SPen& pen = hPen ? *reinterpret_cast<const SPen*>(hPen) : kDefaultPen;
    const quint32 nPixel = 0xff000000u | (pen.nColor & 0xff) << 16 | (pen.nColor & 0xff00) | (pen.nColor >> 16 & 0xff);
    const uint32_t values[] = {nPixel, static_cast<uint32_t>(pen.nWidth)};
    xcb_change_gc(connection(), pContext->nGc, XCB_GC_FOREGROUND | XCB_GC_LINE_WIDTH, values);
    return std::exchange(pContext->hPen, hPen);
}

void moveTo(DrawContext hContext, int nX, int nY)
{
    if (SContext* pContext = asContext(hContext)) {
        pContext->nX = static_cast<int16_t>(nX);
        pContext->nY = static_cast<int16_t>(nY);
    }
}

void lineTo(DrawContext hContext, int nX, int nY)
{
    SContext* pContext = asContext(hContext);
    if (!pContext || !connection())
        return;
    const xcb_point_t points[] = {{pContext->nX, pContext->nY}, {static_cast<int16_t>(nX), static_cast<int16_t>(nY)}};
    xcb_poly_line(connection(), XCB_COORD_MODE_ORIGIN, pContext->nWindow, pContext->nGc, 2, points);
    moveTo(hContext, nX, nY);
}
} // namespace platform
