#include "VideoDecoder.h"

#include "AnnexB.h"

#include <algorithm>

namespace lumo
{
namespace
{

// The largest picture that is taken: 8K. What claims to be larger is damage, or meant to exhaust the memory.
constexpr int64_t kMaxPixels = 7680 * 4320;

AVCodecID codecId(const Packet& packet)
{
    if (packet.foreign)
        return packet.form->codec_id;
    switch (packet.v.codec) {
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

bool VideoDecoder::open(const Packet& packet)
{
    av_log_set_level(AV_LOG_QUIET); // a damaged stream would fill the process's debug stream
    m_context.reset();
    m_needKey = true;
    const AVCodec* decoder = avcodec_find_decoder(codecId(packet));
    if (!decoder)
        return false;
    CodecPtr context(avcodec_alloc_context3(decoder));
    if (!context || (packet.form && avcodec_parameters_to_context(context.get(), packet.form.get()) < 0))
        return false;
    // One thread as a rule: frame threads each add a picture of delay, and a wall of cells has its threads already.
    context->thread_count = m_threads;
    context->thread_type = FF_THREAD_FRAME;
    context->max_pixels = kMaxPixels;
    if (m_lowDelay)
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    if (avcodec_open2(context.get(), decoder, nullptr) < 0)
        return false;
    m_context = std::move(context);
    m_codec = codecId(packet);
    m_form = packet.form;
    m_openThreads = m_threads;
    m_firstIn = m_in;
    if (!m_packet)
        m_packet = newAvPacket();
    if (!m_frame)
        m_frame = newFrame();
    return true;
}

bool VideoDecoder::mustOpen(const Packet& packet) const
{
    if (!m_context || codecId(packet) != m_codec || packet.form != m_form)
        return true;
    if (m_threads == m_openThreads || !packet.isKey())
        return false;
    // More threads are wanted at once; fewer can wait for a place where the change costs no picture.
    return m_needKey || m_threads > m_openThreads ||
           (!packet.foreign && standsAlone(packet.v.codec, packet.payload(), packet.payloadSize));
}

void VideoDecoder::decode(const Packet& packet, const Sink& sink)
{
    if (mustOpen(packet)) {
        if (m_context && !m_needKey)
            drain(sink); // what the last one still holds
        if (!open(packet))
            return;
    }
    if (m_needKey && !packet.isKey())
        return;
    m_needKey = false;

    const int64_t count = m_in++;
    const int said = packet.v.fps ? 1000 / packet.v.fps : 40;
    const int interval = packet.intervalMs > 0 ? packet.intervalMs : said;
    Tag& tag = m_tags[size_t(count) % m_tags.size()];
    tag = {count, false, packet.v.utcMs, (packet.v.flags & kFlagDecodeOnly) != 0};
    tag.serial = packet.serial;
    tag.timeMs = packet.timeMs;
    tag.intervalMs = interval;

    referTo(packet, *m_packet);
    m_packet->pts = count;
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
        const int64_t count = m_frame->pts;
        if (count >= 0) {
            Tag& tag = m_tags[size_t(count) % m_tags.size()];
            if (tag.count == count) {
                tag.out = true;
                picture.utcMs = tag.utcMs;
                picture.decodeOnly = tag.decodeOnly;
                picture.serial = tag.serial;
                picture.timeMs = tag.timeMs;
                picture.intervalMs = tag.intervalMs;
            }
        }
        picture.frame = std::move(m_frame);
        m_frame = newFrame();
        sink(std::move(picture));
    }
}

/// A frame that is still missing when so many came behind it was damaged.
bool VideoDecoder::holds() const
{
    if (!m_context || (m_context->has_b_frames == 0 && m_openThreads == 1))
        return false;
    const int64_t most = m_context->has_b_frames + m_openThreads + 1;
    for (int64_t count = std::max(m_firstIn, m_in - most); count < m_in; ++count)
        if (!m_tags[size_t(count) % m_tags.size()].out)
            return true;
    return false;
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
    m_firstIn = m_in;
}

} // namespace lumo
