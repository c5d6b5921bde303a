// Sound frames to 16-bit samples: G.711 A-law (ITU-T G.711), AAC in ADTS frames.
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

private:
    void decodeALaw(const Packet& packet);
    void decodeAac(const Packet& packet);
    void append(const AVFrame& frame);

    Samples m_out;
    CodecPtr m_aac;
    PacketPtr m_packet;
    FramePtr m_frame;
};

} // namespace lumo
