#include "VideoFile.h"

#include "VideoEncoder.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace lumo::recorder
{
namespace
{

constexpr double kMostSeconds = 60.0;

struct Input {
    AVFormatContext* format = nullptr;
    AVStream* stream = nullptr;

    explicit Input(const std::string& path)
    {
        if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
            throw std::runtime_error("--video: '" + path + "' is no video file");
        }
        const int index = avformat_find_stream_info(format, nullptr) < 0
                              ? -1
                              : av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (index < 0) {
            avformat_close_input(&format);
            throw std::runtime_error("--video: '" + path + "' has no video");
        }
        stream = format->streams[index];
    }
    ~Input() { avformat_close_input(&format); }

    double fps() const
    {
        const double value = av_q2d(stream->avg_frame_rate);
        return value > 0.5 && value < 240 ? value : 25.0;
    }
    size_t mostFrames() const { return static_cast<size_t>(std::min(65535.0, kMostSeconds * fps())); }
};

struct PacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct ContextFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FilterFree {
    void operator()(AVBSFContext* c) const { av_bsf_free(&c); }
};
using Packet = std::unique_ptr<AVPacket, PacketFree>;

// The filter that puts parameter sets before each key frame; nothing for other codecs.
std::unique_ptr<AVBSFContext, FilterFree> annexB(const Input& input)
{
    const auto id = input.stream->codecpar->codec_id;
    const char* name = id == AV_CODEC_ID_H264   ? "h264_mp4toannexb"
                       : id == AV_CODEC_ID_HEVC ? "hevc_mp4toannexb"
                                                : nullptr;
    AVBSFContext* context = nullptr;
    if (!name || av_bsf_alloc(av_bsf_get_by_name(name), &context) < 0) {
        return nullptr;
    }
    avcodec_parameters_copy(context->par_in, input.stream->codecpar);
    context->time_base_in = input.stream->time_base;
    std::unique_ptr<AVBSFContext, FilterFree> owned(context);
    return av_bsf_init(context) < 0 ? nullptr : std::move(owned);
}

// The file's own access units; an empty clip when they cannot be looped as they are.
Clip copyUnits(const std::string& path)
{
    Input input(path);
    const auto filter = annexB(input);
    Clip clip;
    clip.codec = input.stream->codecpar->codec_id == AV_CODEC_ID_HEVC ? Codec::H265 : Codec::H264;
    clip.size = {input.stream->codecpar->width, input.stream->codecpar->height};
    clip.fps = input.fps();
    Packet packet(av_packet_alloc());
    while (filter && clip.frames.size() < input.mostFrames() && av_read_frame(input.format, packet.get()) >= 0) {
        const bool ours = packet->stream_index == input.stream->index;
        if (!ours || av_bsf_send_packet(filter.get(), packet.get()) < 0) {
            av_packet_unref(packet.get());
            continue;
        }
        while (av_bsf_receive_packet(filter.get(), packet.get()) == 0) {
            // Pictures out of order cannot be paced by arrival.
            const bool reordered = packet->pts != AV_NOPTS_VALUE && packet->pts != packet->dts;
            const bool key = packet->flags & AV_PKT_FLAG_KEY;
            if (reordered || (clip.frames.empty() && !key)) {
                return {};
            }
            clip.append(packet->data, static_cast<size_t>(packet->size), key);
            av_packet_unref(packet.get());
        }
    }
    return clip;
}

class Reencoder
{
public:
    Reencoder(const Input& input, Codec codec, PictureSize size)
        : m_encoder(codec, size, input.fps()), m_size(size),
          m_pixels(static_cast<size_t>(av_image_get_buffer_size(AV_PIX_FMT_YUV420P, size.width, size.height, 1)))
    {
        av_image_fill_arrays(m_planes, m_strides, m_pixels.data(), AV_PIX_FMT_YUV420P, size.width, size.height, 1);
    }
    ~Reencoder() { sws_freeContext(m_scaler); }

    void take(const AVFrame& f)
    {
        m_scaler = sws_getCachedContext(m_scaler, f.width, f.height, static_cast<AVPixelFormat>(f.format), m_size.width,
                                        m_size.height, AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
        if (!m_scaler) {
            throw std::runtime_error("--video: pictures of this form cannot be converted");
        }
        sws_scale(m_scaler, f.data, f.linesize, 0, f.height, m_planes, m_strides);
        m_encoder.encode(m_planes, m_strides);
        ++m_count;
    }
    size_t count() const { return m_count; }
    Clip finish() { return m_encoder.finish(); }

private:
    VideoEncoder m_encoder;
    PictureSize m_size;
    std::vector<uint8_t> m_pixels;
    uint8_t* m_planes[4] = {};
    int m_strides[4] = {};
    SwsContext* m_scaler = nullptr;
    size_t m_count = 0;
};

Clip encodeAgain(const std::string& path, Codec codec, PictureSize wanted)
{
    Input input(path);
    const AVCodec* decoder = avcodec_find_decoder(input.stream->codecpar->codec_id);
    std::unique_ptr<AVCodecContext, ContextFree> context(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!context || avcodec_parameters_to_context(context.get(), input.stream->codecpar) < 0 ||
        avcodec_open2(context.get(), decoder, nullptr) < 0) {
        throw std::runtime_error("--video: no decoder for '" + path + "'");
    }
    const PictureSize own{context->width & ~1, context->height & ~1};
    Reencoder out(input, codec, wanted.width ? wanted : own);
    Packet packet(av_packet_alloc());
    std::unique_ptr<AVFrame, FrameFree> frame(av_frame_alloc());
    bool more = true;
    while (more && out.count() < input.mostFrames()) {
        more = av_read_frame(input.format, packet.get()) >= 0;
        if (more && packet->stream_index != input.stream->index) {
            av_packet_unref(packet.get());
            continue;
        }
        avcodec_send_packet(context.get(), more ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        while (out.count() < input.mostFrames() && avcodec_receive_frame(context.get(), frame.get()) == 0) {
            out.take(*frame);
            av_frame_unref(frame.get());
        }
    }
    return out.finish();
}

} // namespace

Clip readVideoFile(const Options& options, int stream)
{
    const Codec codec = options.codec.value_or(Codec::H264);
    if (stream == 1) {
        return encodeAgain(options.videoFile, codec, options.subSize);
    }
    Clip copy = copyUnits(options.videoFile);
    return copy.frames.empty() ? encodeAgain(options.videoFile, codec, {}) : std::move(copy);
}

} // namespace lumo::recorder
