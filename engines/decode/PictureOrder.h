// The place of an H.264 or H.265 picture among those around it as they are shown, read from its own slice header, for
// files that give no times of showing. Thread: one at a time.
#pragma once

#include "FfmpegPtr.h"
#include "Packet.h"

namespace lumo
{

class PictureOrder
{
public:
    explicit PictureOrder(AVCodecID codec);
    /// Counts within a group of pictures only; 0 for other codecs.
    int64_t placeOf(const Packet& packet);

private:
    ParserPtr m_parser;
    CodecPtr m_context;
};

} // namespace lumo
