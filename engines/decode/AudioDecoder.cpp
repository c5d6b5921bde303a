#include "AudioDecoder.h"

#include <algorithm>

namespace lumo
{
namespace
{

int16_t linearOfALaw(uint8_t code)
{
    code ^= 0x55;
    const int exponent = (code >> 4) & 7;
    const int mantissa = (code & 0x0F) << 4;
    const int value = exponent == 0 ? mantissa + 8 : (mantissa + 0x108) << (exponent - 1);
    return int16_t(code & 0x80 ? value : -value);
}

} // namespace

const Samples& AudioDecoder::decode(const Packet& packet)
{
    m_out.pcm.clear();
    if (!packet.form && packet.a.codec == AudioCodec::ALaw)
        decodeALaw(packet);
    else
        decodeCoded(packet);
    return m_out;
}

void AudioDecoder::flush()
{
    if (m_context)
        avcodec_flush_buffers(m_context.get());
}

void AudioDecoder::decodeALaw(const Packet& packet)
{
    m_out.rate = int(packet.a.sampleRate);
    m_out.channels = 1;
    m_out.pcm.resize(packet.payloadSize);
    std::transform(packet.payload(), packet.payload() + packet.payloadSize, m_out.pcm.begin(), linearOfALaw);
}

bool AudioDecoder::open(const Packet& packet)
{
    if (m_context && packet.form == m_form)
        return true;
    m_context.reset();
    const AVCodec* decoder = avcodec_find_decoder(packet.form ? packet.form->codec_id : AV_CODEC_ID_AAC);
    CodecPtr context(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!context || (packet.form && avcodec_parameters_to_context(context.get(), packet.form.get()) < 0))
        return false;
    context->thread_count = 1;
    if (avcodec_open2(context.get(), decoder, nullptr) < 0)
        return false;
    m_context = std::move(context);
    m_form = packet.form;
    if (!m_packet)
        m_packet = newAvPacket();
    if (!m_frame)
        m_frame = newFrame();
    return true;
}

void AudioDecoder::decodeCoded(const Packet& packet)
{
    if (!open(packet))
        return;
    referTo(packet, *m_packet);
    // A payload may hold several frames: each send takes what it decodes, the rest stays for the next receive.
    if (m_packet->size > 0)
        avcodec_send_packet(m_context.get(), m_packet.get());
    av_packet_unref(m_packet.get());
    while (avcodec_receive_frame(m_context.get(), m_frame.get()) >= 0)
        append(*m_frame);
}

/// To 16 bits, front left and right: surround is mixed down.
void AudioDecoder::append(const AVFrame& frame)
{
    const int from = frame.ch_layout.nb_channels;
    if (from < 1 || from > 8 || frame.sample_rate <= 0 || frame.nb_samples <= 0)
        return;
    const int channels = std::min(from, 2);
    if (!m_toPcm || m_format != frame.format || m_rate != frame.sample_rate || m_channels != from) {
        AVChannelLayout in = {}, out = {};
        av_channel_layout_default(&in, from);
        av_channel_layout_default(&out, channels);
        SwrContext* converter = nullptr;
        const int made = swr_alloc_set_opts2(&converter, &out, AV_SAMPLE_FMT_S16, frame.sample_rate, &in,
                                             AVSampleFormat(frame.format), frame.sample_rate, 0, nullptr);
        m_toPcm.reset(converter);
        if (made < 0 || swr_init(converter) < 0) {
            m_toPcm.reset();
            return;
        }
        m_format = frame.format;
        m_rate = frame.sample_rate;
        m_channels = from;
    }
    if (m_out.rate != frame.sample_rate || m_out.channels != channels)
        m_out.pcm.clear();
    m_out.rate = frame.sample_rate;
    m_out.channels = channels;
    const size_t before = m_out.pcm.size();
    m_out.pcm.resize(before + size_t(frame.nb_samples) * size_t(channels));
    auto* to = reinterpret_cast<uint8_t*>(m_out.pcm.data() + before);
    const int got = swr_convert(m_toPcm.get(), &to, frame.nb_samples, const_cast<const uint8_t**>(frame.extended_data),
                                frame.nb_samples);
    m_out.pcm.resize(before + size_t(std::max(got, 0)) * size_t(channels));
}

} // namespace lumo
