// Turns I420 pictures into the access units of a clip: no B-frames, no delay, a key frame every second (a
// recording: every other) with its parameter sets before it. Throws std::runtime_error when the encoder cannot be had.
#pragma once

#include "Clip.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace lumo::recorder
{

/// How long the encoder may take: a live scene is short and must not waste the network, a recording is long.
enum class Effort { Scene, Recording };

class VideoEncoder
{
public:
    VideoEncoder(Codec codec, PictureSize size, double fps, Effort effort = Effort::Scene);
    ~VideoEncoder();
    VideoEncoder(const VideoEncoder&) = delete;
    VideoEncoder& operator=(const VideoEncoder&) = delete;

    /// Planes in I420. Strides in bytes.
    void encode(const uint8_t* const planes[3], const int strides[3]);
    /// Flushes and hands over what was encoded; the encoder is then used up.
    Clip finish();

private:
    void open(Codec codec, PictureSize size, double fps, Effort effort);
    void drain();

    Clip m_clip;
    AVCodecContext* m_context = nullptr;
    AVFrame* m_frame = nullptr;
    AVPacket* m_packet = nullptr;
    int64_t m_count = 0;
};

} // namespace lumo::recorder
