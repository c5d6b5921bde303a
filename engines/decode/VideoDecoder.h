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
};

class VideoDecoder
{
public:
    using Sink = std::function<void(Picture&&)>;

    /// Low delay: pictures come out as they go in. Without it, the stream's own reordering is kept.
    explicit VideoDecoder(bool lowDelay) : m_lowDelay(lowDelay) {}

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
        int64_t serial = -1;
        uint64_t utcMs = 0;
        bool decodeOnly = false;
    };

    bool open(VideoCodec codec);
    void receive(const Sink& sink);

    const bool m_lowDelay;
    CodecPtr m_context;
    PacketPtr m_packet;
    FramePtr m_frame;
    VideoCodec m_codec = VideoCodec::H264;
    bool m_needKey = true;
    int64_t m_serial = 0;
    int64_t m_lastOut = -1; // serial of the last picture that came out
    std::array<Tag, 64> m_tags;
};

} // namespace lumo
