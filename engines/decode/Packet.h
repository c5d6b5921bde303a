// One frame on its way from the input or a file to the decoder: header fields and a counted buffer that holds header
// and payload as they came, so that a raw recording can write them out again unchanged.
#pragma once

#include "FfmpegPtr.h"
#include "common/StreamFrame.h"

#include <cstdint>
#include <limits>
#include <memory>

namespace lumo
{

inline constexpr int64_t kNoTime = std::numeric_limits<int64_t>::min();

/// What a container says of one of its streams.
using StreamForm = std::shared_ptr<const AVCodecParameters>;

struct Packet {
    bool video = true;
    VideoFrameHeader v;
    AudioFrameHeader a;
    BufferPtr buffer; // whole frame, then AV_INPUT_BUFFER_PADDING_SIZE zero bytes
    size_t wholeSize = 0;
    size_t payloadSize = 0;
    int64_t arrivalMs = 0;    // nowMs() when it was pushed
    int64_t serial = -1;      // video: its place in decoding order, from 0; -1 where nobody counts
    int64_t timeMs = kNoTime; // when it is shown or heard, on the time line of what it belongs to
    bool heard = false;       // sound: it was asked for ahead of its pictures
    int intervalMs = 0;       // video: how long it is shown when no time tells; 0: as its header says
    StreamForm form;          // null where v or a say all
    bool foreign = false;     // of a codec that our own frames cannot carry: form says which

    const uint8_t* whole() const { return buffer->data; }
    const uint8_t* payload() const { return buffer->data + (wholeSize - payloadSize); }
    bool isKey() const { return video && v.key; }
};

/// A buffer for a frame, its padding zero. Throws std::bad_alloc.
BufferPtr newFrameBuffer(size_t size);
/// A copy of a frame. Throws std::bad_alloc.
Packet makePacket(const FrameView& frame, int64_t arrivalMs);
/// The frame of this header and payload. Throws std::bad_alloc.
Packet makeVideoPacket(const VideoFrameHeader& header, const uint8_t* payload, size_t size);
Packet makeSoundPacket(const AudioFrameHeader& header, const uint8_t* payload, size_t size);
/// The same frame once more; its bytes are shared.
Packet sharePacket(const Packet& packet);
/// Lets a decoder's packet refer to the payload; its bytes are shared. Throws std::bad_alloc.
void referTo(const Packet& packet, AVPacket& to);

} // namespace lumo
