#include "AnnexB.h"

#include <algorithm>
#include <cstring>

namespace lumo
{
namespace
{

/// Offset of the next 00 00 01 at or after from, or size.
size_t findStartCode(const uint8_t* data, size_t size, size_t from)
{
    while (from + 3 <= size) {
        const void* one = std::memchr(data + from + 2, 1, size - from - 2);
        if (!one)
            return size;
        const size_t at = size_t(static_cast<const uint8_t*>(one) - data);
        if (data[at - 1] == 0 && data[at - 2] == 0)
            return at - 2;
        from = at - 1;
    }
    return size;
}

} // namespace

bool detectBareCodec(const uint8_t* data, size_t size, VideoCodec& codec)
{
    for (size_t at = findStartCode(data, size, 0); at + 5 <= size; at = findStartCode(data, size, at + 3)) {
        const uint8_t head = data[at + 3];
        if (head & 0x80)
            continue;
        // VPS and SPS of H.265 have a second header byte of 1: layer 0, first temporal layer.
        if ((head == 0x40 || head == 0x42) && data[at + 4] == 1) {
            codec = VideoCodec::H265;
            return true;
        }
        if ((head & 0x1F) == 7 && (head & 0x60)) {
            codec = VideoCodec::H264;
            return true;
        }
    }
    return false;
}

bool mayBeginWith(VideoCodec codec, const uint8_t* unit, size_t size)
{
    if (codec == VideoCodec::Mjpeg)
        return true;
    for (size_t at = findStartCode(unit, size, 0); at + 4 <= size; at = findStartCode(unit, size, at + 3)) {
        const uint8_t head = unit[at + 3];
        const int type = codec == VideoCodec::H264 ? head & 0x1F : (head >> 1) & 0x3F;
        if (codec == VideoCodec::H264 ? type == 5 || type == 7 : type >= 16 && type <= 21)
            return true;
        if (codec == VideoCodec::H264 ? type >= 1 && type <= 4 : type < 16)
            return false;
    }
    return false;
}

bool standsAlone(VideoCodec codec, const uint8_t* unit, size_t size)
{
    if (codec == VideoCodec::Mjpeg)
        return true;
    for (size_t at = findStartCode(unit, size, 0); at + 4 <= size; at = findStartCode(unit, size, at + 3)) {
        const uint8_t head = unit[at + 3];
        const int type = codec == VideoCodec::H264 ? head & 0x1F : (head >> 1) & 0x3F;
        const bool slice = codec == VideoCodec::H264 ? type >= 1 && type <= 5 : type <= 31;
        if (slice) // IDR: 5 in H.264; 19 and 20 in H.265
            return codec == VideoCodec::H264 ? type == 5 : type == 19 || type == 20;
    }
    return false;
}

void AnnexBSplitter::clear()
{
    *this = {};
}

void AnnexBSplitter::push(const uint8_t* data, size_t size, const Sink& sink)
{
    if (m_buffer.size() + size > kMaxVideoPayload)
        clear(); // no access unit is that long
    if (size > kMaxVideoPayload)
        return;
    m_buffer.insert(m_buffer.end(), data, data + size);
    if (!m_known) {
        m_known = detectBareCodec(m_buffer.data(), m_buffer.size(), m_codec);
        if (!m_known)
            return;
    }
    scan(sink);
}

AnnexBSplitter::Nal AnnexBSplitter::classify(const uint8_t* nal) const
{
    Nal kind;
    if (m_codec == VideoCodec::H264) {
        const int type = nal[0] & 0x1F;
        kind.vcl = type >= 1 && type <= 5;
        kind.firstSlice = kind.vcl && (nal[1] & 0x80); // first_mb_in_slice is 0
        kind.startsUnit = type >= 6 && type <= 9;
        kind.key = type == 5 || type == 7;
    } else {
        const int type = (nal[0] >> 1) & 0x3F;
        kind.vcl = type <= 31;
        kind.firstSlice = kind.vcl && (nal[2] & 0x80); // first_slice_segment_in_pic_flag
        kind.startsUnit = (type >= 32 && type <= 35) || type == 39;
        kind.key = type >= 16 && type <= 21;
    }
    return kind;
}

void AnnexBSplitter::scan(const Sink& sink)
{
    for (;;) {
        const size_t at = findStartCode(m_buffer.data(), m_buffer.size(), m_scanned);
        if (at + 6 > m_buffer.size()) { // start code and the three bytes that classify looks at
            m_scanned = std::min(at, m_buffer.size() > 2 ? m_buffer.size() - 2 : 0);
            return;
        }
        const Nal kind = classify(m_buffer.data() + at + 3);
        if (m_sawVcl && (kind.startsUnit || kind.firstSlice)) {
            // A fourth zero byte belongs to the start code behind it.
            emit(at > 0 && m_buffer[at - 1] == 0 ? at - 1 : at, sink);
            continue;
        }
        m_sawVcl |= kind.vcl;
        m_sawKey |= kind.key;
        m_scanned = at + 3;
    }
}

void AnnexBSplitter::emit(size_t end, const Sink& sink)
{
    sink(m_codec, m_sawKey, m_buffer.data(), end);
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + ptrdiff_t(end));
    m_scanned = 0;
    m_sawVcl = m_sawKey = false;
    VideoCodec codec;
    // A stream may change its codec at its parameter sets only.
    const size_t head = std::min<size_t>(m_buffer.size(), 64);
    if (detectBareCodec(m_buffer.data(), head, codec) && m_buffer.size() >= 6)
        m_codec = codec;
}

} // namespace lumo
