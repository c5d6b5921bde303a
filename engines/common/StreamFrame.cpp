#include "StreamFrame.h"

#include <algorithm>
#include <cstring>

namespace lumo
{
namespace
{

constexpr uint32_t kRates[] = {0, 4000, 8000, 11025, 16000, 20000, 22050, 32000, 44100, 48000};

template <typename T> void put(std::vector<uint8_t>& out, T value)
{
    for (size_t i = 0; i < sizeof(T); ++i)
        out.push_back(uint8_t(uint64_t(value) >> (8 * i)));
}

template <typename T> T get(const uint8_t* p)
{
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= uint64_t(p[i]) << (8 * i);
    return T(value);
}

bool isMarker(const uint8_t* p)
{
    return p[0] == 0 && p[1] == 0 && p[2] == 1 && (p[3] == 0xF0 || p[3] == 0xF1 || p[3] == 0xFA);
}

bool knownVideoCodec(uint8_t c)
{
    return c >= 1 && c <= 3;
}
bool knownAudioCodec(uint8_t c)
{
    return c == uint8_t(AudioCodec::ALaw) || c == uint8_t(AudioCodec::Aac);
}

/// Fills view's header from p (a marker with its full header behind it); false when the fields make no sense.
bool parseHeader(const uint8_t* p, FrameView& view)
{
    if (p[3] == 0xFA) {
        view.video = false;
        view.a = {AudioCodec(p[4]), rateOfCode(p[5]), get<uint16_t>(p + 6)};
        view.payloadSize = view.a.payloadSize;
        view.wholeSize = kAudioHeaderSize + view.payloadSize;
        return knownAudioCodec(p[4]) && view.a.sampleRate != 0;
    }
    view.video = true;
    view.v.key = p[3] == 0xF0;
    view.v.codec = VideoCodec(p[4]);
    view.v.fps = p[5];
    view.v.width = get<uint16_t>(p + 6);
    view.v.height = get<uint16_t>(p + 8);
    view.v.flags = get<uint16_t>(p + 10);
    view.v.payloadSize = get<uint32_t>(p + 12);
    view.v.utcMs = get<uint64_t>(p + 16);
    view.payloadSize = view.v.payloadSize;
    view.wholeSize = kVideoHeaderSize + view.payloadSize;
    return knownVideoCodec(p[4]) && view.payloadSize <= kMaxVideoPayload;
}

} // namespace

uint8_t rateCode(uint32_t hz)
{
    for (size_t i = 1; i < std::size(kRates); ++i)
        if (kRates[i] == hz)
            return uint8_t(i);
    return 0;
}

uint32_t rateOfCode(uint8_t code)
{
    return code < std::size(kRates) ? kRates[code] : 0;
}

void appendVideoHeader(std::vector<uint8_t>& out, const VideoFrameHeader& h, size_t size)
{
    const uint8_t marker[] = {0, 0, 1, uint8_t(h.key ? 0xF0 : 0xF1), uint8_t(h.codec), h.fps};
    out.insert(out.end(), std::begin(marker), std::end(marker));
    put(out, h.width);
    put(out, h.height);
    put(out, h.flags);
    put(out, uint32_t(size));
    put(out, h.utcMs);
}

void appendVideoFrame(std::vector<uint8_t>& out, VideoFrameHeader h, const uint8_t* payload, size_t size)
{
    out.reserve(out.size() + kVideoHeaderSize + size);
    appendVideoHeader(out, h, size);
    out.insert(out.end(), payload, payload + size);
}

void appendAudioFrame(std::vector<uint8_t>& out, AudioFrameHeader h, const uint8_t* payload, size_t size)
{
    size = std::min<size_t>(size, 0xFFFF);
    const uint8_t marker[] = {0, 0, 1, 0xFA, uint8_t(h.codec), rateCode(h.sampleRate)};
    out.insert(out.end(), std::begin(marker), std::end(marker));
    put(out, uint16_t(size));
    out.insert(out.end(), payload, payload + size);
}

std::optional<FrameView> frameAt(const uint8_t* data, size_t size)
{
    if (size < 4 || !isMarker(data) || size < (data[3] == 0xFA ? kAudioHeaderSize : kVideoHeaderSize))
        return std::nullopt;
    FrameView view;
    if (!parseHeader(data, view))
        return std::nullopt;
    view.whole = data;
    view.payload = data + (view.wholeSize - view.payloadSize);
    return view;
}

void FrameReader::push(const uint8_t* data, size_t size)
{
    if (m_read == m_buffer.size()) {
        m_buffer.clear();
        m_read = 0;
    } else if (m_read > 0 && m_read >= m_buffer.size() / 2) {
        m_buffer.erase(m_buffer.begin(), m_buffer.begin() + ptrdiff_t(m_read));
        m_read = 0;
    }
    m_buffer.insert(m_buffer.end(), data, data + size);
}

std::optional<FrameView> FrameReader::next()
{
    while (m_buffer.size() - m_read >= 4) {
        const uint8_t* p = m_buffer.data() + m_read;
        const size_t left = m_buffer.size() - m_read;
        if (!isMarker(p)) {
            // The next zero byte is the first place where a marker can begin.
            const void* zero = std::memchr(p + 1, 0, left - 1);
            const size_t step = zero ? size_t(static_cast<const uint8_t*>(zero) - p) : left;
            m_read += step;
            m_skipped += step;
            continue;
        }
        const size_t headerSize = p[3] == 0xFA ? kAudioHeaderSize : kVideoHeaderSize;
        if (left < headerSize)
            return std::nullopt;
        FrameView view;
        if (!parseHeader(p, view)) {
            m_read += 4;
            m_skipped += 4;
            continue;
        }
        if (left < view.wholeSize)
            return std::nullopt;
        view.payload = p + headerSize;
        view.whole = p;
        m_read += view.wholeSize;
        return view;
    }
    return std::nullopt;
}

void FrameReader::clear()
{
    m_buffer.clear();
    m_read = 0;
}

} // namespace lumo
