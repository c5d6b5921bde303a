#include "Snapshot.h"

#include "VideoEncoder.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace lumo::recorder
{
namespace
{

struct ContextFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
using Frame = std::unique_ptr<AVFrame, FrameFree>;

Frame decodeOne(const Clip& clip, const ClipFrame& unit)
{
    const AVCodec* decoder = avcodec_find_decoder(clip.codec == Codec::H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC);
    std::unique_ptr<AVCodecContext, ContextFree> context(avcodec_alloc_context3(decoder));
    std::unique_ptr<AVPacket, PacketFree> packet(av_packet_alloc());
    Frame frame(av_frame_alloc());
    context->thread_count = 1;
    if (avcodec_open2(context.get(), decoder, nullptr) < 0 ||
        av_new_packet(packet.get(), static_cast<int>(unit.size)) < 0) {
        return nullptr;
    }
    std::copy_n(clip.data.begin() + static_cast<ptrdiff_t>(unit.offset), unit.size, packet->data);
    avcodec_send_packet(context.get(), packet.get());
    avcodec_send_packet(context.get(), nullptr);
    const bool good = avcodec_receive_frame(context.get(), frame.get()) == 0 &&
                      (frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_YUVJ420P);
    return good ? std::move(frame) : nullptr;
}

} // namespace

std::optional<std::string> jpegOf(const Clip& clip, const ClipFrame& unit)
{
    const auto* bytes = reinterpret_cast<const char*>(clip.data.data() + unit.offset);
    if (clip.codec == Codec::Mjpeg) {
        return std::string(bytes, unit.size);
    }
    const Frame frame = decodeOne(clip, unit);
    if (!frame) {
        return std::nullopt;
    }
    VideoEncoder encoder(Codec::Mjpeg, {frame->width, frame->height}, 25);
    const uint8_t* planes[3] = {frame->data[0], frame->data[1], frame->data[2]};
    encoder.encode(planes, frame->linesize);
    const Clip jpeg = encoder.finish();
    return std::string(jpeg.data.begin(), jpeg.data.end());
}

std::optional<std::string> makeSnapshot(const LiveStream& stream)
{
    try {
        const ClipPtr clip = stream.clip();
        const auto newest = stream.newest();
        return jpegOf(*clip, clip->frames[static_cast<size_t>(clip->lastKey(newest ? newest->frame : 0))]);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "lumo-recorder: snapshot: %s\n", e.what());
        return std::nullopt;
    }
}

} // namespace lumo::recorder
