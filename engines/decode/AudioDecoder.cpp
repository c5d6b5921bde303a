#include "AudioDecoder.h"

#include <algorithm>
#include <cmath>

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
    if (packet.a.codec == AudioCodec::ALaw)
        decodeALaw(packet);
    else
        decodeAac(packet);
    return m_out;
}

void AudioDecoder::decodeALaw(const Packet& packet)
{
    m_out.rate = int(packet.a.sampleRate);
    m_out.channels = 1;
    m_out.pcm.resize(packet.payloadSize);
    std::transform(packet.payload(), packet.payload() + packet.payloadSize, m_out.pcm.begin(), linearOfALaw);
}

void AudioDecoder::decodeAac(const Packet& packet)
{
    if (!m_aac) {
        const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_AAC);
        CodecPtr context(decoder ? avcodec_alloc_context3(decoder) : nullptr);
        if (!context)
            return;
        context->thread_count = 1;
        if (avcodec_open2(context.get(), decoder, nullptr) < 0)
            return;
        m_aac = std::move(context);
        m_packet.reset(av_packet_alloc());
        m_frame = newFrame();
        if (!m_packet)
            throw std::bad_alloc();
    }
    av_packet_unref(m_packet.get());
    m_packet->buf = av_buffer_ref(packet.buffer.get());
    if (!m_packet->buf)
        throw std::bad_alloc();
    m_packet->data = const_cast<uint8_t*>(packet.payload());
    m_packet->size = int(packet.payloadSize);
    // A payload may hold several ADTS frames: each send takes what it decodes, the rest stays for the next receive.
    if (m_packet->size > 0)
        avcodec_send_packet(m_aac.get(), m_packet.get());
    av_packet_unref(m_packet.get());
    while (avcodec_receive_frame(m_aac.get(), m_frame.get()) >= 0)
        append(*m_frame);
}

void AudioDecoder::append(const AVFrame& frame)
{
    const int channels = frame.ch_layout.nb_channels;
    if (frame.format != AV_SAMPLE_FMT_FLTP || channels < 1 || channels > 8 || frame.sample_rate <= 0)
        return;
    const int used = std::min(channels, 2); // front left and right; surround is not mixed down
    if (m_out.rate != frame.sample_rate || m_out.channels != used)
        m_out.pcm.clear();
    m_out.rate = frame.sample_rate;
    m_out.channels = used;
    for (int i = 0; i < frame.nb_samples; ++i) {
        for (int c = 0; c < used; ++c) {
            const float value = reinterpret_cast<const float*>(frame.extended_data[c])[i] * 32768.0f;
            m_out.pcm.push_back(int16_t(std::lrint(std::clamp(value, -32768.0f, 32767.0f))));
        }
    }
}

} // namespace lumo
