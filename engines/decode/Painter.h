// Paints a decoded picture into 32-bit pixels: cut out, scaled, coloured, converted, with black bars around it.
//
// Order of work: planes are scaled first and converted last, so that only the cell's own pixels are converted; a
// picture of the cell's size is converted straight from the decoder's memory. Thread: one at a time. Errors: a picture
// in a form that cannot be read leaves the surface as it was.
#pragma once

#include "FfmpegPtr.h"
#include "View.h"

#include <vector>

namespace lumo
{

/// 32 bits a pixel, bytes B G R X, top row first.
struct Surface {
    uint8_t* bits = nullptr;
    int width = 0, height = 0;
    int stride = 0; // bytes
};

struct IntRect {
    int x = 0, y = 0, w = 0, h = 0;
    bool operator==(const IntRect&) const = default;
};

/// Where in a cell the picture goes: all of it, or the largest centred place of the right aspect.
IntRect pictureRect(const AVFrame& frame, const View& view, int cellWidth, int cellHeight);

class Painter
{
public:
    Painter();
    ~Painter();

    /// Paints picture and bars.
    bool paint(const AVFrame& frame, const View& view, const Surface& surface);
    /// The whole picture at its own size, neutral: surface must have that size.
    bool paintWhole(const AVFrame& frame, const Surface& surface);

private:
    /// Three planes of 8 bits, chroma of any subsampling.
    struct Planes {
        const uint8_t* data[3] = {};
        int stride[3] = {};
        int width[3] = {}, height[3] = {};
        bool gray = false;
    };
    struct Part { // a part of a plane, in its own pixels
        double x, y, w, h;
    };

    bool planesOf(const AVFrame& frame, Planes& planes);
    bool convertForeign(const AVFrame& frame, Planes& planes);
    Planes scale(const Planes& from, const View& view, int width, int height);
    void scalePlane(const Planes& from, int plane, const Part& part, uint8_t* to, int width, int height);
    void reduce(const uint8_t* from, int stride, int fromWidth, int fromHeight, uint8_t* to, int width, int height);
    void adjust(Planes& planes, const ColorLevels& color);
    Planes ownCopy(const Planes& from);

    std::vector<uint8_t> m_scaled;    // planes at the cell's size
    std::vector<uint8_t> m_clip;      // a plane's enclosing part, scaled
    std::vector<uint8_t> m_halved[2]; // steps of a far reduction, in turn
    FramePtr m_foreign;               // a picture of a form libyuv does not know, as 4:2:0
    SwsPtr m_sws;
};

} // namespace lumo
