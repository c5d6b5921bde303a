// One frame of a stream on its way from the input to the decoder: header fields and a counted buffer that holds
// header and payload as they came, so that a raw recording can write them out again unchanged.
#pragma once

#include "FfmpegPtr.h"
#include "common/StreamFrame.h"

#include <cstdint>

namespace lumo
{

struct Packet {
    bool video = true;
    VideoFrameHeader v;
    AudioFrameHeader a;
    BufferPtr buffer; // whole frame, then AV_INPUT_BUFFER_PADDING_SIZE zero bytes
    size_t wholeSize = 0;
    size_t payloadSize = 0;
    int64_t arrivalMs = 0; // nowMs() when it was pushed

    const uint8_t* whole() const { return buffer->data; }
    const uint8_t* payload() const { return buffer->data + (wholeSize - payloadSize); }
    bool isKey() const { return video && v.key; }
};

/// A copy of a frame. Throws std::bad_alloc.
Packet makePacket(const FrameView& frame, int64_t arrivalMs);

} // namespace lumo
