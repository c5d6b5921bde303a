#include "Clip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <stdexcept>

namespace clip
{
namespace
{

void must(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(what);
}

const AVCodec* encoderOf(lumo::VideoCodec codec)
{
    switch (codec) {
    case lumo::VideoCodec::Mjpeg:
        return avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    case lumo::VideoCodec::H264:
        return avcodec_find_encoder_by_name("libx264");
    case lumo::VideoCodec::H265:
        return avcodec_find_encoder_by_name("libx265");
    }
    return nullptr;
}

AVCodecContext* openEncoder(const Spec& spec)
{
    const AVCodec* encoder = encoderOf(spec.codec);
    must(encoder, "no encoder");
    AVCodecContext* context = avcodec_alloc_context3(encoder);
    context->width = spec.width;
    context->height = spec.height;
    context->time_base = {1, spec.fps};
    context->framerate = {spec.fps, 1};
    context->gop_size = spec.keyEvery;
    context->max_b_frames = spec.bFrames;
    context->thread_count = 1;
    context->pix_fmt = AVPixelFormat(spec.pixelFormat);
    context->colorspace = AVColorSpace(spec.colorSpace);
    context->color_range = spec.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    context->sample_aspect_ratio = {spec.sarNum, spec.sarDen};
    if (spec.codec == lumo::VideoCodec::Mjpeg) {
        if (context->pix_fmt == AV_PIX_FMT_YUV420P)
            context->pix_fmt = AV_PIX_FMT_YUVJ420P;
        context->color_range = AVCOL_RANGE_JPEG;
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * 2;
    } else {
        av_opt_set(context->priv_data, "preset", "ultrafast", 0);
        if (spec.bFrames == 0)
            av_opt_set(context->priv_data, "tune", "zerolatency", 0);
        av_opt_set(context->priv_data, "crf", "10", 0);
        av_opt_set(context->priv_data, "forced-idr", "1", 0);
        if (spec.codec == lumo::VideoCodec::H265)
            av_opt_set(context->priv_data, "x265-params", "log-level=none:pools=1:frame-threads=1", 0);
        else
            av_opt_set(context->priv_data, "x264-params", "scenecut=0", 0);
    }
    must(avcodec_open2(context, encoder, nullptr) >= 0, "encoder does not open");
    return context;
}

AVFrame* videoFrame(const AVCodecContext& context)
{
    AVFrame* frame = av_frame_alloc();
    frame->width = context.width;
    frame->height = context.height;
    frame->format = context.pix_fmt;
    frame->color_range = context.color_range;
    frame->colorspace = context.colorspace;
    must(av_frame_get_buffer(frame, 0) >= 0, "no frame");
    return frame;
}

} // namespace

Bytes wrap(bool key, lumo::VideoCodec codec, uint64_t utcMs, const Bytes& payload, uint8_t fps)
{
    lumo::VideoFrameHeader header;
    header.key = key;
    header.codec = codec;
    header.fps = fps;
    header.utcMs = utcMs;
    Bytes out;
    lumo::appendVideoFrame(out, header, payload.data(), payload.size());
    return out;
}

std::vector<Unit> encode(const Spec& spec, const std::function<void(int, AVFrame&)>& paint)
{
    AVCodecContext* context = openEncoder(spec);
    AVFrame* frame = videoFrame(*context);
    AVPacket* packet = av_packet_alloc();
    std::vector<Unit> units;
    for (int i = 0; i <= spec.frames; ++i) {
        if (i < spec.frames) {
            must(av_frame_make_writable(frame) >= 0, "frame");
            paint(i, *frame);
            frame->pts = i;
            frame->quality = context->global_quality;
            frame->pict_type = i % spec.keyEvery == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
        }
        must(avcodec_send_frame(context, i < spec.frames ? frame : nullptr) >= 0, "encode");
        while (avcodec_receive_packet(context, packet) >= 0) {
            lumo::VideoFrameHeader header;
            header.key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
            header.codec = spec.codec;
            header.fps = spec.saidFps;
            header.width = uint16_t(spec.width);
            header.height = uint16_t(spec.height);
            header.flags = spec.flags;
            header.utcMs = spec.utcMs ? spec.utcMs + uint64_t(packet->pts) * 1000 / uint64_t(spec.fps) : 0;
            Unit unit;
            unit.key = header.key;
            unit.payload.assign(packet->data, packet->data + packet->size);
            lumo::appendVideoFrame(unit.frame, header, packet->data, size_t(packet->size));
            units.push_back(std::move(unit));
            av_packet_unref(packet);
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return units;
}

/// Where JPEG is the codec of all clips, their colours are told in a JPEG's full range, and look as they do elsewhere.
Yuv inRange(Yuv color)
{
    if (lumo::VideoCodec::LUMO_CLIP_CODEC != lumo::VideoCodec::Mjpeg)
        return color;
    const auto stretch = [](int value, int middle, int span) {
        return std::clamp((value - middle) * 255 / span + (middle == 16 ? 0 : 128), 0, 255);
    };
    return {uint8_t(stretch(color.y, 16, 219)), uint8_t(stretch(color.u, 128, 224)),
            uint8_t(stretch(color.v, 128, 224))};
}

void fill(AVFrame& frame, int x, int y, int w, int h, Yuv color)
{
    color = inRange(color);
    const bool wide = frame.format == AV_PIX_FMT_YUV420P10LE;
    const bool chromaWide = frame.format == AV_PIX_FMT_YUVJ444P || frame.format == AV_PIX_FMT_YUV444P;
    const bool tall = frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUV422P || chromaWide;
    const uint8_t values[] = {color.y, color.u, color.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int sx = plane && !chromaWide ? 1 : 0, sy = plane && !tall ? 1 : 0;
        const int x0 = x >> sx, x1 = (x + w + sx) >> sx;
        for (int row = y >> sy; row < (y + h + sy) >> sy; ++row) {
            uint8_t* line = frame.data[plane] + ptrdiff_t(row) * frame.linesize[plane];
            if (wide)
                std::fill(reinterpret_cast<uint16_t*>(line) + x0, reinterpret_cast<uint16_t*>(line) + x1,
                          uint16_t(values[plane] << 2));
            else
                std::fill(line + x0, line + x1, values[plane]);
        }
    }
}

std::vector<Unit> quarters(const Spec& spec, Yuv a, Yuv b, Yuv c, Yuv d)
{
    const int w = spec.width / 2, h = spec.height / 2;
    return encode(spec, [&](int, AVFrame& frame) {
        fill(frame, 0, 0, w, h, a);
        fill(frame, w, 0, spec.width - w, h, b);
        fill(frame, 0, h, w, spec.height - h, c);
        fill(frame, w, h, spec.width - w, spec.height - h, d);
    });
}

std::vector<Unit> solid(const Spec& spec, Yuv color)
{
    return quarters(spec, color, color, color, color);
}

std::vector<Unit> numbered(const Spec& spec)
{
    return encode(spec, [&](int number, AVFrame& frame) {
        const int bar = spec.width / 16;
        for (int bit = 0; bit < 16; ++bit)
            fill(frame, bit * bar, 0, bar, spec.height, number >> (15 - bit) & 1 ? kWhite : kBlack);
    });
}

std::vector<Bytes> aLawTone(int rate, double hz, int ms, int frameMs)
{
    const auto encodeSample = [](int sample) {
        const int sign = sample >= 0 ? 0x80 : 0;
        int magnitude = std::min(std::abs(sample), 32635);
        int exponent = 0;
        for (int limit = 0x1FF; exponent < 7 && magnitude > limit; limit = limit * 2 + 1)
            ++exponent;
        const int mantissa = exponent == 0 ? magnitude >> 4 : magnitude >> (exponent + 3);
        return uint8_t((sign | exponent << 4 | (mantissa & 15)) ^ 0x55);
    };
    std::vector<Bytes> frames;
    Bytes samples;
    for (int i = 0; i < rate * ms / 1000; ++i) {
        samples.push_back(encodeSample(int(12000 * std::sin(2 * std::numbers::pi * hz * i / rate))));
        if (int(samples.size()) == rate * frameMs / 1000) {
            lumo::AudioFrameHeader header;
            header.sampleRate = uint32_t(rate);
            lumo::appendAudioFrame(frames.emplace_back(), header, samples.data(), samples.size());
            samples.clear();
        }
    }
    return frames;
}

std::vector<Bytes> aacTone(int rate, double hz, int ms)
{
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
    must(encoder, "no AAC encoder");
    AVCodecContext* context = avcodec_alloc_context3(encoder);
    context->sample_rate = rate;
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->bit_rate = 64000;
    av_channel_layout_default(&context->ch_layout, 1);
    must(avcodec_open2(context, encoder, nullptr) >= 0, "AAC encoder does not open");
    AVFrame* frame = av_frame_alloc();
    frame->nb_samples = context->frame_size;
    frame->format = context->sample_fmt;
    av_channel_layout_copy(&frame->ch_layout, &context->ch_layout);
    must(av_frame_get_buffer(frame, 0) >= 0, "no frame");
    AVPacket* packet = av_packet_alloc();
    static constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000};
    const int rateIndex = int(std::find(std::begin(kRates), std::end(kRates), rate) - std::begin(kRates));
    std::vector<Bytes> frames;
    for (int at = 0; at < rate * ms / 1000; at += context->frame_size) {
        must(av_frame_make_writable(frame) >= 0, "frame");
        for (int i = 0; i < context->frame_size; ++i)
            reinterpret_cast<float*>(frame->data[0])[i] =
                float(0.4 * std::sin(2 * std::numbers::pi * hz * (at + i) / rate));
        frame->pts = at;
        must(avcodec_send_frame(context, frame) >= 0, "encode");
        while (avcodec_receive_packet(context, packet) >= 0) {
            const int whole = packet->size + 7;
            Bytes adts = {0xFF,
                          0xF1,
                          uint8_t(1 << 6 | rateIndex << 2),
                          uint8_t(1 << 6 | whole >> 11),
                          uint8_t(whole >> 3),
                          uint8_t((whole & 7) << 5 | 0x1F),
                          0xFC};
            adts.insert(adts.end(), packet->data, packet->data + packet->size);
            lumo::AudioFrameHeader header;
            header.codec = lumo::AudioCodec::Aac;
            header.sampleRate = uint32_t(rate);
            lumo::appendAudioFrame(frames.emplace_back(), header, adts.data(), adts.size());
            av_packet_unref(packet);
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return frames;
}

} // namespace clip

// What the sanitizers are told. FFmpeg's frame threads hand pictures on by atomics that the thread sanitizer does not
// see in a library that was built without it, and the sound server's client does so with what it sends. The H.265
// encoder that makes the tests' clips locks in ways the thread sanitizer cannot see, and leaks, as does the message bus
// that SDL looks for; neither is part of the library. Memory that was given back counts as given back only when
// the address sanitizer does not keep it in quarantine: some tests watch the size of the process.
#define CLIP_SANITIZER_HOOK extern "C" __attribute__((visibility("default")))
CLIP_SANITIZER_HOOK const char* __tsan_default_suppressions();
CLIP_SANITIZER_HOOK const char* __lsan_default_suppressions();
CLIP_SANITIZER_HOOK const char* __asan_default_options();
const char* __tsan_default_suppressions()
{
    return "called_from_lib:libx265.so\nrace:libx265.so\nrace:libavcodec.so\nrace:libavutil.so\nrace:libpulse\n";
}
const char* __lsan_default_suppressions()
{
    return "leak:libx265.so\nleak:libdbus-1.so\n";
}
const char* __asan_default_options()
{
    return "quarantine_size_mb=1";
}
