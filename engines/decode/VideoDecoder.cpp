#include "VideoDecoder.h"

#include <algorithm>

namespace lumo
{
namespace
{

// The largest picture that is taken: 8K. What claims to be larger is damage, or meant to exhaust the memory.
constexpr int64_t kMaxPixels = 7680 * 4320;

AVCodecID codecId(VideoCodec codec)
{
    switch (codec) {
    case VideoCodec::Mjpeg:
        return AV_CODEC_ID_MJPEG;
    case VideoCodec::H264:
        return AV_CODEC_ID_H264;
    case VideoCodec::H265:
        return AV_CODEC_ID_HEVC;
    }
    return AV_CODEC_ID_NONE;
}

} // namespace

bool VideoDecoder::open(VideoCodec codec)
{
    av_log_set_level(AV_LOG_QUIET); // a damaged stream would fill the process's debug stream
    m_context.reset();
    m_needKey = true;
    const AVCodec* decoder = avcodec_find_decoder(codecId(codec));
    if (!decoder)
        return false;
    CodecPtr context(avcodec_alloc_context3(decoder));
    if (!context)
        return false;
    // One thread: frame threads would each add a picture of delay, and a wall of cells has its threads already.
    context->thread_count = 1;
    context->max_pixels = kMaxPixels;
    if (m_lowDelay)
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    if (avcodec_open2(context.get(), decoder, nullptr) < 0)
        return false;
    m_context = std::move(context);
    m_codec = codec;
    if (!m_packet)
        m_packet.reset(av_packet_alloc());
    if (!m_frame)
        m_frame = newFrame();
    return m_packet != nullptr;
}

void VideoDecoder::decode(const Packet& packet, const Sink& sink)
{
    if ((!m_context || packet.v.codec != m_codec) && !open(packet.v.codec))
        return;
    if (m_needKey && !packet.isKey())
        return;
    m_needKey = false;

    const int64_t serial = m_serial++;
    m_tags[size_t(serial) % m_tags.size()] = {serial, packet.v.utcMs, (packet.v.flags & kFlagDecodeOnly) != 0};

    av_packet_unref(m_packet.get());
    m_packet->buf = av_buffer_ref(packet.buffer.get());
    if (!m_packet->buf)
        throw std::bad_alloc();
    m_packet->data = const_cast<uint8_t*>(packet.payload());
    m_packet->size = int(packet.payloadSize);
    m_packet->pts = serial;
    if (packet.isKey())
        m_packet->flags |= AV_PKT_FLAG_KEY;
    if (m_packet->size > 0)
        avcodec_send_packet(m_context.get(), m_packet.get()); // errors are damage: what comes out tells
    av_packet_unref(m_packet.get());
    receive(sink);
}

void VideoDecoder::receive(const Sink& sink)
{
    while (avcodec_receive_frame(m_context.get(), m_frame.get()) >= 0) {
        Picture picture;
        const int64_t serial = m_frame->pts;
        if (serial >= 0) {
            const Tag& tag = m_tags[size_t(serial) % m_tags.size()];
            m_lastOut = std::max(m_lastOut, serial);
            if (tag.serial == serial) {
                picture.utcMs = tag.utcMs;
                picture.decodeOnly = tag.decodeOnly;
            }
        }
        picture.frame = std::move(m_frame);
        m_frame = newFrame();
        sink(std::move(picture));
    }
}

bool VideoDecoder::holds() const
{
    return m_context && m_context->has_b_frames > 0 && m_lastOut + 1 < m_serial;
}

void VideoDecoder::drain(const Sink& sink)
{
    if (!m_context)
        return;
    avcodec_send_packet(m_context.get(), nullptr);
    receive(sink);
    flush();
}

void VideoDecoder::flush()
{
    if (m_context)
        avcodec_flush_buffers(m_context.get());
    m_needKey = true;
    m_lastOut = m_serial - 1;
}

} // namespace lumo
