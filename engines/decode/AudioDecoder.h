// Sound frames to 16-bit samples: G.711 A-law (ITU-T G.711), AAC in ADTS frames, and what a container says of its own.
// Thread: one at a time.
#pragma once

#include "FfmpegPtr.h"
#include "Packet.h"

#include <vector>

namespace lumo
{

struct Samples {
    int rate = 0;
    int channels = 0;
    std::vector<int16_t> pcm; // interleaved
};

class AudioDecoder
{
public:
    /// Empty when nothing came out.
    const Samples& decode(const Packet& packet);
    /// The next frame is not the continuation of the last.
    void flush();

private:
    void decodeALaw(const Packet& packet);
    void decodeCoded(const Packet& packet);
    bool open(const Packet& packet);
    void append(const AVFrame& frame);

    Samples m_out;
    CodecPtr m_context; // of m_form; AAC in ADTS frames without one
    StreamForm m_form;
    SwrPtr m_toPcm; // from m_context's form of samples, for this many channels at this rate
    int m_format = -1, m_rate = 0, m_channels = 0;
    PacketPtr m_packet;
    FramePtr m_frame;
};

} // namespace lumo
