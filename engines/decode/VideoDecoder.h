// One video decoder: access units in, pictures out, with what was known of each when it went in.
// Thread: one at a time. Errors: damaged data is swallowed, a picture may be missing or marred until the next key
// frame.
#pragma once

#include "FfmpegPtr.h"
#include "Packet.h"

#include <array>
#include <functional>

namespace lumo
{

/// A decoded picture and what its frame said.
struct Picture {
    FramePtr frame;
    uint64_t utcMs = 0;
    bool decodeOnly = false;
    int64_t serial = -1;      // of its frame
    int64_t timeMs = kNoTime; // of its frame
    int64_t order = -1;       // its place among the pictures as they are shown; -1 where nobody counts
    int intervalMs = 40;      // how long it is shown when nothing else tells
};

class VideoDecoder
{
public:
    using Sink = std::function<void(Picture&&)>;

    /// Low delay: pictures come out as they go in. Without it, the stream's own reordering is kept.
    explicit VideoDecoder(bool lowDelay) : m_lowDelay(lowDelay) {}

    /// From the next key frame on this many threads decode. More than one hold back as many pictures.
    void setThreads(int count) { m_threads = count; }

    /// Opens, or opens anew when the codec changes, and waits for a key frame after either.
    void decode(const Packet& packet, const Sink& sink);
    /// Puts out what is held back for reordering. The next frame must be a key frame.
    void drain(const Sink& sink);
    /// Forgets everything; the next frame must be a key frame.
    void flush();
    /// Whether pictures are held back for reordering.
    bool holds() const;

private:
    struct Tag {
        int64_t count = -1;
        bool out = false; // its picture has come out
        uint64_t utcMs = 0;
        bool decodeOnly = false;
        int64_t serial = -1, timeMs = kNoTime;
        int intervalMs = 40;
    };

    bool open(const Packet& packet);
    bool mustOpen(const Packet& packet) const;
    void receive(const Sink& sink);

    const bool m_lowDelay;
    CodecPtr m_context;
    PacketPtr m_packet;
    FramePtr m_frame;
    AVCodecID m_codec = AV_CODEC_ID_NONE;
    StreamForm m_form;
    int m_threads = 1, m_openThreads = 1;
    bool m_needKey = true;
    int64_t m_in = 0;      // frames that went in
    int64_t m_firstIn = 0; // the first of them since the decoder was empty
    std::array<Tag, 64> m_tags;
};

} // namespace lumo
