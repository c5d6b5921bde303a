#include "InputParser.h"

#include "Clock.h"

#include <cstring>

namespace lumo
{
namespace
{

bool containsFrameMarker(const uint8_t* data, size_t size)
{
    for (size_t i = 0; i + 4 <= size; ++i) {
        const void* zero = std::memchr(data + i, 0, size - i - 3);
        if (!zero)
            return false;
        i = size_t(static_cast<const uint8_t*>(zero) - data);
        if (data[i + 1] == 0 && data[i + 2] == 1 && (data[i + 3] == 0xF0 || data[i + 3] == 0xF1 || data[i + 3] == 0xFA))
            return true;
    }
    return false;
}

} // namespace

void InputParser::clear()
{
    m_reader.clear();
    m_bare.clear();
}

void InputParser::push(const uint8_t* data, size_t size, const Sink& sink)
{
    if (takeWholeFrames(data, size, sink))
        return;
    VideoCodec codec;
    if (m_reader.buffered() < 4 && !containsFrameMarker(data, size) &&
        (m_bare.active() || detectBareCodec(data, size, codec))) {
        m_reader.clear();
        takeBare(data, size, sink);
        return;
    }
    m_bare.clear();
    m_reader.push(data, size);
    const int64_t now = nowMs();
    while (auto frame = m_reader.next())
        sink(makePacket(*frame, now));
}

/// The usual case: a block is one or more whole frames, cut without a copy in between. What a damaged block left
/// half read is thrown away, for a sound block cannot be its continuation.
bool InputParser::takeWholeFrames(const uint8_t* data, size_t size, const Sink& sink)
{
    size_t at = 0;
    while (at < size) {
        const auto frame = frameAt(data + at, size - at);
        if (!frame || frame->wholeSize > size - at)
            return false;
        at += frame->wholeSize;
    }
    clear();
    const int64_t now = nowMs();
    for (at = 0; at < size;) {
        const auto frame = frameAt(data + at, size - at);
        at += frame->wholeSize;
        sink(makePacket(*frame, now));
    }
    return true;
}

void InputParser::takeBare(const uint8_t* data, size_t size, const Sink& sink)
{
    m_bare.push(data, size, [&](VideoCodec unitCodec, bool key, const uint8_t* unit, size_t unitSize) {
        VideoFrameHeader header;
        header.key = key;
        header.codec = unitCodec;
        std::vector<uint8_t> whole;
        appendVideoFrame(whole, header, unit, unitSize);
        if (const auto frame = frameAt(whole.data(), whole.size()))
            sink(makePacket(*frame, nowMs()));
    });
}

} // namespace lumo
