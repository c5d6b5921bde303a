// Owners for FFmpeg's objects.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
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
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
    void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
    void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVIOContext* p) const { avio_closep(&p); }
    void operator()(SwrContext* p) const { swr_free(&p); }
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};

using BufferPtr = std::unique_ptr<AVBufferRef, FfmpegFree>;
using FramePtr = std::unique_ptr<AVFrame, FfmpegFree>;
using PacketPtr = std::unique_ptr<AVPacket, FfmpegFree>;
using CodecPtr = std::unique_ptr<AVCodecContext, FfmpegFree>;
using ParserPtr = std::unique_ptr<AVCodecParserContext, FfmpegFree>;
using FilterPtr = std::unique_ptr<AVBSFContext, FfmpegFree>;
using FormatPtr = std::unique_ptr<AVFormatContext, FfmpegFree>;
using AvioPtr = std::unique_ptr<AVIOContext, FfmpegFree>;
using SwrPtr = std::unique_ptr<SwrContext, FfmpegFree>;
using SwsPtr = std::unique_ptr<SwsContext, FfmpegFree>;

inline FramePtr newFrame()
{
    FramePtr frame(av_frame_alloc());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

inline PacketPtr newAvPacket()
{
    PacketPtr packet(av_packet_alloc());
    if (!packet)
        throw std::bad_alloc();
    return packet;
}

} // namespace lumo
