// From RTP packets to whole frames. One class per payload format; frames come out in the order of the packets, damaged
// video is held back until the next key frame.
//
// Thread: one at a time. Memory: at most one frame of kMaxFrame bytes.
#pragma once

#include "ParameterSets.h"
#include "Rtp.h"
#include "Sdp.h"

#include "common/StreamFrame.h"

#include <functional>
#include <memory>

namespace lumo::net
{

struct MediaFrame {
    bool video = false;
    bool key = false;
    VideoCodec videoCodec = VideoCodec::H264;
    AudioCodec audioCodec = AudioCodec::ALaw;
    PictureFormat format;    // of video; zero while unknown
    uint32_t sampleRate = 0; // of audio, Hz
    uint32_t rtpTime = 0;
    const uint8_t* data = nullptr; // valid during the call
    size_t size = 0;
};

/// The header under which a picture travels on; utcMs: its time.
inline VideoFrameHeader videoHeader(const MediaFrame& frame, int64_t utcMs)
{
    VideoFrameHeader header;
    header.key = frame.key;
    header.codec = frame.videoCodec;
    header.fps = frame.format.fps;
    header.width = frame.format.width;
    header.height = frame.format.height;
    header.utcMs = uint64_t(utcMs);
    return header;
}

class Depacketizer
{
public:
    using Sink = std::function<void(const MediaFrame&)>;

    explicit Depacketizer(Sink sink) : m_sink(std::move(sink)) {}
    virtual ~Depacketizer() = default;
    virtual void push(const RtpPacket& packet, bool lostBefore) = 0;

    static constexpr size_t kMaxFrame = kMaxVideoPayload;

protected:
    Sink m_sink;
};

/// RFC 6184, RFC 7798, RFC 2435, G.711, RFC 3640 (AAC-hbr); null for any other format.
std::unique_ptr<Depacketizer> makeDepacketizer(const SdpMedia& media, Depacketizer::Sink sink);

std::unique_ptr<Depacketizer> makeH264Depacketizer(const SdpMedia& media, Depacketizer::Sink sink);
std::unique_ptr<Depacketizer> makeH265Depacketizer(const SdpMedia& media, Depacketizer::Sink sink);
std::unique_ptr<Depacketizer> makeJpegDepacketizer(const SdpMedia& media, Depacketizer::Sink sink);
std::unique_ptr<Depacketizer> makeG711Depacketizer(const SdpMedia& media, Depacketizer::Sink sink);
std::unique_ptr<Depacketizer> makeAacDepacketizer(const SdpMedia& media, Depacketizer::Sink sink);

} // namespace lumo::net
