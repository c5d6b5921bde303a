#include "HalfPictures.h"

#include <libyuv.h>

#include <algorithm>

namespace lumo
{
namespace
{

constexpr int kWholeFrame = 3; // not a field of one

/// So that rows and columns of all planes come in pairs.
bool canBeHalved(const AVFrame& picture)
{
    return (picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P) && picture.width % 4 == 0 &&
           picture.height % 4 == 0;
}

} // namespace

void halvePlane(const uint8_t* from, int stride, int width, int height, uint8_t* to, int toStride)
{
    libyuv::ScalePlane(from, stride, width, height, to, toStride, width / 2, height / 2, libyuv::kFilterBox);
}

void HalfPictures::watch(AVCodecContext& context)
{
    context.opaque = this;
    context.draw_horiz_band = &HalfPictures::onRows;
    for (Half& half : m_halves)
        half.of = nullptr;
}

void HalfPictures::onRows(AVCodecContext* context, const AVFrame* picture, int*, int y, int type, int height)
{
    auto& self = *static_cast<HalfPictures*>(context->opaque);
    if (!self.m_wanted || !picture || !picture->data[0] || !canBeHalved(*picture))
        return;
    if (type == kWholeFrame)
        self.addRows(*picture, y, y + height);
    else if (Half* half = self.halfOf(*picture))
        half->rows = -1;
}

/// Rows come from top to bottom, each once; the last of them wait for what makes them groups of four.
void HalfPictures::addRows(const AVFrame& picture, int y, int end)
{
    Half* half = y == 0 ? &begin(picture) : halfOf(picture);
    if (!half || half->rows < 0 || !half->frame)
        return;
    if (y < half->rows || y > half->rows + 3) {
        half->rows = -1;
        return;
    }
    end = std::min(end, picture.height) & ~3;
    for (int i = 0; i < 3 && end > half->rows; ++i) {
        const int shift = i ? 1 : 0, top = half->rows >> shift;
        halvePlane(picture.data[i] + ptrdiff_t(top) * picture.linesize[i], picture.linesize[i], picture.width >> shift,
                   (end - half->rows) >> shift, half->frame->data[i] + ptrdiff_t(top / 2) * half->frame->linesize[i],
                   half->frame->linesize[i]);
    }
    half->rows = std::max(half->rows, end);
}

HalfPictures::Half* HalfPictures::halfOf(const AVFrame& picture)
{
    for (Half& half : m_halves)
        if (half.of == picture.data[0])
            return &half;
    return nullptr;
}

/// Frames that nobody holds any more are written anew, so two do for most streams.
HalfPictures::Half& HalfPictures::begin(const AVFrame& picture)
{
    const int width = picture.width / 2, height = picture.height / 2;
    const auto fits = [&](const Half& half) {
        AVFrame* frame = half.frame.get();
        return frame && frame->width == width && frame->height == height && av_frame_is_writable(frame) > 0;
    };
    Half *same = halfOf(picture), *half = same;
    for (Half& other : m_halves)
        if (!same && !other.of && (!half || fits(other)))
            half = &other;
    if (!half)
        half = &m_halves[m_next++ % m_halves.size()];
    half->of = picture.data[0];
    half->rows = 0;
    if (fits(*half))
        return *half;
    half->frame.reset(av_frame_alloc());
    if (!half->frame)
        return *half;
    half->frame->format = AV_PIX_FMT_YUV420P;
    half->frame->width = width;
    half->frame->height = height;
    if (av_frame_get_buffer(half->frame.get(), 0) < 0)
        half->frame.reset();
    return *half;
}

FramePtr HalfPictures::take(const AVFrame& picture)
{
    Half* half = halfOf(picture);
    if (!half)
        return nullptr;
    half->of = nullptr;
    const bool whole = half->rows >= picture.height && picture.width == half->frame->width * 2;
    if (!whole || picture.decode_error_flags || (picture.flags & AV_FRAME_FLAG_CORRUPT) || !canBeHalved(picture))
        return nullptr;
    FramePtr result = newFrame();
    if (av_frame_ref(result.get(), half->frame.get()) < 0)
        return nullptr;
    result->height = picture.height / 2;
    return result;
}

} // namespace lumo
