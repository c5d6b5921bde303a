// Owners for FFmpeg's objects.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <new>

namespace lumo
{

struct FfmpegFree {
    void operator()(AVBufferRef* p) const { av_buffer_unref(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};

using BufferPtr = std::unique_ptr<AVBufferRef, FfmpegFree>;
using FramePtr = std::unique_ptr<AVFrame, FfmpegFree>;
using PacketPtr = std::unique_ptr<AVPacket, FfmpegFree>;
using CodecPtr = std::unique_ptr<AVCodecContext, FfmpegFree>;
using SwsPtr = std::unique_ptr<SwsContext, FfmpegFree>;

inline FramePtr newFrame()
{
    FramePtr frame(av_frame_alloc());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

} // namespace lumo
