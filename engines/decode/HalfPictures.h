// Pictures at half their width and height, made row by row while the decoder works, as long as its rows are still in
// the processor's cache. A wall of small cells is painted from them, and the large pictures need not come back from
// memory.
//
// Only decoders that tell of finished rows have them (H.264), and only pictures that came whole: what damage left open
// is filled in later, behind our back. Thread: the decoder's.
#pragma once

#include "FfmpegPtr.h"

#include <array>

namespace lumo
{

class HalfPictures
{
public:
    HalfPictures() = default;
    HalfPictures(const HalfPictures&) = delete;
    HalfPictures& operator=(const HalfPictures&) = delete;

    /// Before the decoder is opened; it must not outlive this.
    void watch(AVCodecContext& context);
    /// From the next picture on; none at first.
    void want(bool wanted) { m_wanted = wanted; }
    /// The half of a picture that came out, 4:2:0 as it is; null when there is none.
    FramePtr take(const AVFrame& picture);

private:
    struct Half {
        const uint8_t* of = nullptr; // the picture's first plane
        FramePtr frame;
        int rows = 0; // of the picture that are in it; below 0: it will not be whole
    };
    static void onRows(AVCodecContext* context, const AVFrame* picture, int offset[AV_NUM_DATA_POINTERS], int y,
                       int type, int height);
    void addRows(const AVFrame& picture, int y, int end);
    Half* halfOf(const AVFrame& picture);
    Half& begin(const AVFrame& picture);

    bool m_wanted = false;
    std::array<Half, 4> m_halves; // more than one, since pictures may come out later than they are decoded
    size_t m_next = 0;
};

/// The box filter of such a step, for painting too; width and height are even.
void halvePlane(const uint8_t* from, int stride, int width, int height, uint8_t* to, int toStride);

} // namespace lumo
