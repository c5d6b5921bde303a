#include "Painter.h"

#include "Tint.h"

extern "C" {
#include <libavutil/pixdesc.h>
}
#include <libyuv.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lumo
{
namespace
{

bool fullRange(const AVFrame& frame)
{
    return frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
           frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
}

/// What the stream says; what says nothing is BT.709 from 720 lines on, BT.601 below, as players have it.
const libyuv::YuvConstants& matrixOf(const AVFrame& frame)
{
    const bool full = fullRange(frame);
    switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
        break;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return full ? libyuv::kYuvV2020Constants : libyuv::kYuv2020Constants;
    case AVCOL_SPC_UNSPECIFIED:
    case AVCOL_SPC_RESERVED:
        if (frame.height >= 720)
            break;
        [[fallthrough]];
    default:
        return full ? libyuv::kYuvJPEGConstants : libyuv::kYuvI601Constants;
    }
    return full ? libyuv::kYuvF709Constants : libyuv::kYuvH709Constants;
}

int half(int n)
{
    return (n + 1) / 2;
}

void fillBlack(const Surface& s, int x, int y, int w, int h)
{
    if (w > 0 && h > 0)
        libyuv::ARGBRect(s.bits, s.stride, x, y, w, h, 0xFF000000u);
}

void paintBars(const Surface& s, const IntRect& r)
{
    fillBlack(s, 0, 0, s.width, r.y);
    fillBlack(s, 0, r.y + r.h, s.width, s.height - r.y - r.h);
    fillBlack(s, 0, r.y, r.x, r.h);
    fillBlack(s, r.x + r.w, r.y, s.width - r.x - r.w, r.h);
}

/// Bilinear, each target pixel's centre mapped exactly: for enlarging a part.
void enlarge(const uint8_t* from, int stride, int fromWidth, int fromHeight, double x, double y, double w, double h,
             uint8_t* to, int width, int height)
{
    struct Tap {
        int first, second, weight; // weight of second, of 256
    };
    const auto tap = [](double at, int size) {
        const double low = std::floor(at);
        const int first = int(low);
        return Tap{std::clamp(first, 0, size - 1), std::clamp(first + 1, 0, size - 1), int((at - low) * 256)};
    };
    std::vector<Tap> columns(static_cast<size_t>(width));
    for (int i = 0; i < width; ++i)
        columns[size_t(i)] = tap(x + (i + 0.5) * w / width - 0.5, fromWidth);
    std::vector<uint8_t> row(static_cast<size_t>(fromWidth));
    for (int j = 0; j < height; ++j) {
        const Tap line = tap(y + (j + 0.5) * h / height - 0.5, fromHeight);
        const uint8_t* a = from + ptrdiff_t(line.first) * stride;
        const uint8_t* b = from + ptrdiff_t(line.second) * stride;
        const int begin = columns.front().first, end = columns.back().second;
        for (int i = begin; i <= end; ++i)
            row[size_t(i)] = uint8_t((a[i] * (256 - line.weight) + b[i] * line.weight + 128) >> 8);
        uint8_t* out = to + ptrdiff_t(j) * width;
        for (int i = 0; i < width; ++i) {
            const Tap& t = columns[size_t(i)];
            out[i] = uint8_t((row[size_t(t.first)] * (256 - t.weight) + row[size_t(t.second)] * t.weight + 128) >> 8);
        }
    }
}

} // namespace

IntRect pictureRect(const AVFrame& frame, const View& view, int cellWidth, int cellHeight)
{
    if (!view.original || cellWidth < 1 || cellHeight < 1)
        return {0, 0, cellWidth, cellHeight};
    const AVRational sar = frame.sample_aspect_ratio;
    const double pixel = sar.num > 0 && sar.den > 0 ? double(sar.num) / sar.den : 1.0;
    const double width = pixel * frame.width * (view.region.right - view.region.left);
    const double height = double(frame.height) * (view.region.bottom - view.region.top);
    const double factor = std::min(cellWidth / width, cellHeight / height);
    const int w = std::clamp(int(std::lround(width * factor)), 1, cellWidth);
    const int h = std::clamp(int(std::lround(height * factor)), 1, cellHeight);
    return {(cellWidth - w) / 2, (cellHeight - h) / 2, w, h};
}

Painter::Painter() = default;
Painter::~Painter() = default;

bool Painter::paint(const AVFrame& frame, const View& view, const Surface& surface)
{
    Planes planes;
    if (!planesOf(frame, planes))
        return false;
    const IntRect place = pictureRect(frame, view, surface.width, surface.height);
    const bool whole = view.region.left == 0 && view.region.top == 0 && view.region.right == kRegionUnits &&
                       view.region.bottom == kRegionUnits;
    const bool chromaHalved =
        planes.gray || (planes.width[1] == half(frame.width) && planes.height[1] == half(frame.height));
    if (!whole || place.w != frame.width || place.h != frame.height || !chromaHalved)
        planes = scale(planes, view, place.w, place.h);
    else if (!view.color.neutral())
        planes = ownCopy(planes);
    if (!view.color.neutral())
        adjust(planes, view.color);

    uint8_t* bits = surface.bits + ptrdiff_t(place.y) * surface.stride + ptrdiff_t(place.x) * 4;
    const libyuv::YuvConstants& matrix = matrixOf(frame);
    if (planes.gray)
        libyuv::I400ToARGBMatrix(planes.data[0], planes.stride[0], bits, surface.stride, &matrix, place.w, place.h);
    else
        libyuv::I420ToARGBMatrix(planes.data[0], planes.stride[0], planes.data[1], planes.stride[1], planes.data[2],
                                 planes.stride[2], bits, surface.stride, &matrix, place.w, place.h);
    paintBars(surface, place);
    return true;
}

bool Painter::paintWhole(const AVFrame& frame, const Surface& surface)
{
    return paint(frame, View(), surface);
}

bool Painter::planesOf(const AVFrame& frame, Planes& planes)
{
    switch (frame.format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUV440P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUV411P:
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_GRAY8:
        break;
    default:
        return convertForeign(frame, planes);
    }
    const AVPixFmtDescriptor* form = av_pix_fmt_desc_get(AVPixelFormat(frame.format));
    planes.gray = form->nb_components == 1;
    for (int i = 0; i < (planes.gray ? 1 : 3); ++i) {
        planes.data[i] = frame.data[i];
        planes.stride[i] = frame.linesize[i];
        planes.width[i] = i ? AV_CEIL_RSHIFT(frame.width, form->log2_chroma_w) : frame.width;
        planes.height[i] = i ? AV_CEIL_RSHIFT(frame.height, form->log2_chroma_h) : frame.height;
    }
    return true;
}

/// Ten bits and other forms that libyuv cannot scale, to 4:2:0 of 8 bits with matrix and range kept.
bool Painter::convertForeign(const AVFrame& frame, Planes& planes)
{
    const auto form = AVPixelFormat(frame.format);
    if (!m_foreign || m_foreign->width != frame.width || m_foreign->height != frame.height) {
        m_foreign = newFrame();
        m_foreign->format = AV_PIX_FMT_YUV420P;
        m_foreign->width = frame.width;
        m_foreign->height = frame.height;
        if (av_frame_get_buffer(m_foreign.get(), 0) < 0) {
            m_foreign.reset();
            return false;
        }
    }
    m_sws.reset(sws_getCachedContext(m_sws.release(), frame.width, frame.height, form, frame.width, frame.height,
                                     AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_sws)
        return false;
    const int range = fullRange(frame) ? 1 : 0;
    const int* table = sws_getCoefficients(SWS_CS_DEFAULT);
    sws_setColorspaceDetails(m_sws.get(), table, range, table, range, 0, 1 << 16, 1 << 16);
    if (sws_scale(m_sws.get(), frame.data, frame.linesize, 0, frame.height, m_foreign->data, m_foreign->linesize) <= 0)
        return false;
    return planesOf(*m_foreign, planes);
}

Painter::Planes Painter::scale(const Planes& from, const View& view, int width, int height)
{
    Planes to;
    to.gray = from.gray;
    const size_t luma = size_t(width) * size_t(height);
    const size_t chroma = size_t(half(width)) * size_t(half(height));
    m_scaled.resize(luma + 2 * chroma);
    size_t at = 0;
    for (int i = 0; i < (from.gray ? 1 : 3); ++i) {
        to.width[i] = to.stride[i] = i ? half(width) : width;
        to.height[i] = i ? half(height) : height;
        const double unitX = double(from.width[i]) / kRegionUnits, unitY = double(from.height[i]) / kRegionUnits;
        const LumoRect& r = view.region;
        const Part part{r.left * unitX, r.top * unitY, (r.right - r.left) * unitX, (r.bottom - r.top) * unitY};
        scalePlane(from, i, part, m_scaled.data() + at, to.width[i], to.height[i]);
        to.data[i] = m_scaled.data() + at;
        at += i ? chroma : luma;
    }
    return to;
}

/// A whole plane goes straight through libyuv. A part that is enlarged is sampled exactly; one that is reduced is
/// scaled with the whole pixels that enclose it and clipped, which is exact to half a target pixel.
void Painter::scalePlane(const Planes& from, int plane, const Part& part, uint8_t* to, int width, int height)
{
    const int fullWidth = from.width[plane], fullHeight = from.height[plane];
    const bool whole = part.x == 0 && part.y == 0 && part.w == fullWidth && part.h == fullHeight;
    if (!whole && (part.w < width || part.h < height)) {
        enlarge(from.data[plane], from.stride[plane], fullWidth, fullHeight, part.x, part.y, part.w, part.h, to, width,
                height);
        return;
    }
    const int x0 = int(std::floor(part.x)), y0 = int(std::floor(part.y));
    const int x1 = std::min(fullWidth, int(std::ceil(part.x + part.w)));
    const int y1 = std::min(fullHeight, int(std::ceil(part.y + part.h)));
    const int outWidth = std::max(width, int(std::lround((x1 - x0) * width / part.w)));
    const int outHeight = std::max(height, int(std::lround((y1 - y0) * height / part.h)));
    const uint8_t* source = from.data[plane] + ptrdiff_t(y0) * from.stride[plane] + x0;
    if (outWidth == width && outHeight == height) {
        reduce(source, from.stride[plane], x1 - x0, y1 - y0, to, width, height);
        return;
    }
    m_clip.resize(size_t(outWidth) * size_t(outHeight));
    reduce(source, from.stride[plane], x1 - x0, y1 - y0, m_clip.data(), outWidth, outHeight);
    const int left = std::min(int(std::lround((part.x - x0) * width / part.w)), outWidth - width);
    const int top = std::min(int(std::lround((part.y - y0) * height / part.h)), outHeight - height);
    libyuv::CopyPlane(m_clip.data() + ptrdiff_t(top) * outWidth + left, outWidth, to, width, width, height);
}

/// Whole pixels to whole pixels, also enlarging. Far reductions are halved as long as that goes exactly: a halving
/// reads each pixel once, and costs half of what libyuv takes for 3/8 in one step and a quarter of its free box filter.
void Painter::reduce(const uint8_t* from, int stride, int fromWidth, int fromHeight, uint8_t* to, int width, int height)
{
    for (int turn = 0; fromWidth >= 2 * width && fromHeight >= 2 * height && fromWidth % 2 == 0 && fromHeight % 2 == 0;
         turn ^= 1) {
        const int halfWidth = fromWidth / 2, halfHeight = fromHeight / 2;
        const bool last = halfWidth == width && halfHeight == height;
        if (!last)
            m_halved[turn].resize(size_t(halfWidth) * size_t(halfHeight));
        uint8_t* out = last ? to : m_halved[turn].data();
        libyuv::ScalePlane(from, stride, fromWidth, fromHeight, out, halfWidth, halfWidth, halfHeight,
                           libyuv::kFilterBox);
        if (last)
            return;
        from = out;
        stride = fromWidth = halfWidth;
        fromHeight = halfHeight;
    }
    // libyuv's box filter divides by a fraction of 16 bits: what is still far would come out too dark, so it goes in
    // steps.
    constexpr int kFar = 16, kStep = 8;
    if (fromWidth > kFar * width || fromHeight > kFar * height) {
        const int stepWidth = std::max(width, fromWidth / kStep), stepHeight = std::max(height, fromHeight / kStep);
        std::vector<uint8_t> step(size_t(stepWidth) * size_t(stepHeight));
        libyuv::ScalePlane(from, stride, fromWidth, fromHeight, step.data(), stepWidth, stepWidth, stepHeight,
                           libyuv::kFilterBox);
        reduce(step.data(), stepWidth, stepWidth, stepHeight, to, width, height);
        return;
    }
    // Box from a reduction to one half on: bilinear would pass over pixels.
    const bool box = fromWidth >= 2 * width || fromHeight >= 2 * height;
    libyuv::ScalePlane(from, stride, fromWidth, fromHeight, to, width, width, height,
                       box ? libyuv::kFilterBox : libyuv::kFilterBilinear);
}

Painter::Planes Painter::ownCopy(const Planes& from)
{
    Planes to = from;
    size_t size = 0;
    for (int i = 0; i < (from.gray ? 1 : 3); ++i)
        size += size_t(from.width[i]) * size_t(from.height[i]);
    m_scaled.resize(size);
    uint8_t* at = m_scaled.data();
    for (int i = 0; i < (from.gray ? 1 : 3); ++i) {
        libyuv::CopyPlane(from.data[i], from.stride[i], at, from.width[i], from.width[i], from.height[i]);
        to.data[i] = at;
        to.stride[i] = from.width[i];
        at += size_t(from.width[i]) * size_t(from.height[i]);
    }
    return to;
}

/// The planes lie in m_scaled, one behind the other.
void Painter::adjust(Planes& planes, const ColorLevels& color)
{
    const auto own = [&](int i) { return m_scaled.data() + (planes.data[i] - m_scaled.data()); };
    tintLuma(own(0), size_t(planes.width[0]) * size_t(planes.height[0]), color);
    if (!planes.gray)
        tintChroma(own(1), own(2), size_t(planes.width[1]) * size_t(planes.height[1]), color);
}

} // namespace lumo
