#include "VideoEncoder.h"

#include <cmath>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

namespace lumo::recorder
{
namespace
{

const char* encoderName(Codec codec)
{
    return codec == Codec::H264 ? "libx264" : codec == Codec::H265 ? "libx265" : "mjpeg";
}

// About 2.5 Mbit/s at 720p25, in proportion to area and rate; H.265 needs less, as it does in cameras.
int64_t bitRate(Codec codec, PictureSize size, double fps)
{
    const double base = codec == Codec::H265 ? 1.6e6 : 2.5e6;
    return static_cast<int64_t>(base * (0.2 + 0.8 * size.width * size.height / (1280.0 * 720.0)) * fps / 25.0);
}

void setH264(AVCodecContext* c, const std::string& gop)
{
    av_opt_set(c->priv_data, "preset", "superfast", 0);
    av_opt_set(c->priv_data, "tune", "zerolatency", 0);
    av_opt_set(
        c->priv_data, "x264-params",
        ("keyint=" + gop + ":min-keyint=" + gop + ":scenecut=0:repeat-headers=1:sliced-threads=0:threads=1").c_str(),
        0);
    c->profile = FF_PROFILE_H264_MAIN;
}

// Long and mostly still: constant quality, nothing looked for twice.
void setRecording(AVCodecContext* c, const std::string& gop)
{
    av_opt_set(c->priv_data, "preset", "ultrafast", 0);
    av_opt_set(c->priv_data, "tune", "zerolatency", 0);
    av_opt_set(c->priv_data, "crf", "27", 0);
    av_opt_set(
        c->priv_data, "x264-params",
        ("keyint=" + gop + ":min-keyint=" + gop + ":scenecut=0:repeat-headers=1:sliced-threads=0:threads=1").c_str(),
        0);
}

void setH265(AVCodecContext* c, const std::string& gop)
{
    av_opt_set(c->priv_data, "preset", "ultrafast", 0);
    av_opt_set(c->priv_data, "tune", "zerolatency", 0);
    av_opt_set(c->priv_data, "x265-params",
               ("keyint=" + gop + ":min-keyint=" + gop +
                ":scenecut=0:repeat-headers=1:open-gop=0:bframes=0:info=0:rc-lookahead=0:rd=1:max-merge=1:pools=none:"
                "frame-threads=1:log-level=none")
                   .c_str(),
               0);
}

// RTP's JPEG form carries no Huffman tables: both ends use the standard's own.
void setMjpeg(AVCodecContext* c)
{
    c->pix_fmt = AV_PIX_FMT_YUVJ420P;
    c->color_range = AVCOL_RANGE_JPEG;
    c->flags |= AV_CODEC_FLAG_QSCALE;
    c->global_quality = 5 * FF_QP2LAMBDA;
    av_opt_set(c->priv_data, "huffman", "default", 0);
}

} // namespace

VideoEncoder::VideoEncoder(Codec codec, PictureSize size, double fps, Effort effort)
{
    m_clip.codec = codec;
    m_clip.size = size;
    m_clip.fps = fps;
    m_frame = av_frame_alloc();
    m_packet = av_packet_alloc();
    open(codec, size, fps, effort);
}

VideoEncoder::~VideoEncoder()
{
    avcodec_free_context(&m_context);
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
}

void VideoEncoder::open(Codec codec, PictureSize size, double fps, Effort effort)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name(encoderName(codec));
    m_context = encoder ? avcodec_alloc_context3(encoder) : nullptr;
    if (!m_context || !m_frame || !m_packet) {
        throw std::runtime_error(std::string("no encoder ") + encoderName(codec));
    }
    m_context->width = size.width;
    m_context->height = size.height;
    m_context->pix_fmt = AV_PIX_FMT_YUV420P;
    m_context->framerate = av_d2q(fps, 1000);
    m_context->time_base = av_inv_q(m_context->framerate);
    m_context->gop_size = static_cast<int>(std::lround(fps)) * (effort == Effort::Recording ? 2 : 1);
    m_context->max_b_frames = 0;
    m_context->thread_count = 1;                            // clips are made side by side
    if (codec != Codec::Mjpeg && effort == Effort::Scene) { // the others' quality is fixed
        m_context->bit_rate = bitRate(codec, size, fps);
        m_context->rc_max_rate = m_context->bit_rate;
        m_context->rc_buffer_size = static_cast<int>(m_context->bit_rate);
    }
    m_context->color_range = AVCOL_RANGE_MPEG;
    m_context->colorspace = size.height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    const std::string gop = std::to_string(m_context->gop_size);
    effort == Effort::Recording ? setRecording(m_context, gop)
    : codec == Codec::H264      ? setH264(m_context, gop)
    : codec == Codec::H265      ? setH265(m_context, gop)
                                : setMjpeg(m_context);
    if (avcodec_open2(m_context, encoder, nullptr) < 0) {
        throw std::runtime_error(std::string("cannot open encoder ") + encoderName(codec));
    }
    m_frame->format = m_context->pix_fmt;
    m_frame->width = size.width;
    m_frame->height = size.height;
    m_frame->color_range = m_context->color_range;
    m_frame->quality = m_context->global_quality;
    if (av_frame_get_buffer(m_frame, 0) < 0) {
        throw std::runtime_error("out of memory for a picture");
    }
}

void VideoEncoder::encode(const uint8_t* const planes[3], const int strides[3])
{
    av_frame_make_writable(m_frame);
    const uint8_t* source[4] = {planes[0], planes[1], planes[2], nullptr};
    const int lines[4] = {strides[0], strides[1], strides[2], 0};
    av_image_copy(m_frame->data, m_frame->linesize, source, lines, AV_PIX_FMT_YUV420P, m_frame->width, m_frame->height);
    m_frame->pts = m_count;
    m_frame->pict_type = m_count % m_context->gop_size == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    ++m_count;
    if (avcodec_send_frame(m_context, m_frame) < 0) {
        throw std::runtime_error("encoding failed");
    }
    drain();
}

void VideoEncoder::drain()
{
    while (avcodec_receive_packet(m_context, m_packet) == 0) {
        m_clip.append(m_packet->data, static_cast<size_t>(m_packet->size), m_packet->flags & AV_PKT_FLAG_KEY);
        av_packet_unref(m_packet);
    }
}

Clip VideoEncoder::finish()
{
    avcodec_send_frame(m_context, nullptr);
    drain();
    if (m_clip.frames.empty() || !m_clip.frames[0].key) {
        throw std::runtime_error("the encoder gave no key frame");
    }
    return std::move(m_clip);
}

} // namespace lumo::recorder
