#include "RawFile.h"

#include "common/LocalText.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace lumo
{
namespace
{

constexpr int64_t kBeginWithin = 1 << 20; // of the file's bytes; a damaged beginning is longer in no recording
constexpr size_t kLookBytes = 64 << 10;

AVCodecID codecIdOf(VideoCodec codec)
{
    return codec == VideoCodec::H264   ? AV_CODEC_ID_H264
           : codec == VideoCodec::H265 ? AV_CODEC_ID_HEVC
                                       : AV_CODEC_ID_MJPEG;
}

} // namespace

std::unique_ptr<RawFile> RawFile::open(const std::string& path)
{
    AVIOContext* file = nullptr;
    if (avio_open(&file, ("file:" + utf8OfLocal(path)).c_str(), AVIO_FLAG_READ) < 0)
        return nullptr;
    std::unique_ptr<RawFile> raw(new RawFile(AvioPtr(file)));
    return raw->look() ? std::move(raw) : nullptr;
}

/// Whether there is a key frame, and what the frames around it say. Ends at the beginning of the file.
bool RawFile::look()
{
    constexpr int kLookedAt = 200; // frames behind the first key frame: sound comes that often
    FrameView frame;
    if (!findFirst(frame))
        return false;
    int behindKey = -1;
    while (behindKey < kLookedAt && findFrame(frame) && frame.wholeSize <= size_t(m_size - m_at)) {
        m_hasSound |= !frame.video;
        if (frame.video && frame.v.key && behindKey < 0) {
            behindKey = 0;
            m_intervalMs = 1000 / (frame.v.fps ? frame.v.fps : 25);
            m_soundTimes.restart(frame.v.utcMs ? int64_t(frame.v.utcMs) : kNoTime);
        }
        behindKey += behindKey >= 0;
        m_at += int64_t(frame.wholeSize);
    }
    m_at = 0;
    return behindKey >= 0;
}

/// A frame near the begin that another one follows, or the end: other files have bytes, too, that look like a header.
bool RawFile::findFirst(FrameView& frame)
{
    m_end = std::min(m_size, kBeginWithin);
    bool sure = false;
    while (!sure && findFrame(frame)) {
        const int64_t begin = m_at;
        const auto whole = int64_t(frame.wholeSize);
        uint8_t head[kVideoHeaderSize];
        if (begin + whole < m_size && avio_seek(m_file.get(), begin + whole, SEEK_SET) >= 0) {
            const int got = avio_read(m_file.get(), head, int(sizeof head));
            sure = got > 0 && frameAt(head, size_t(got)).has_value();
        } else {
            sure = begin + whole == m_size;
        }
        m_at = sure ? begin : begin + 1;
    }
    m_end = m_size;
    return sure;
}

/// The header of the frame at or behind m_at; moves m_at to it.
bool RawFile::findFrame(FrameView& frame)
{
    while (m_at < m_end) {
        uint8_t head[kVideoHeaderSize];
        if (avio_seek(m_file.get(), m_at, SEEK_SET) < 0)
            return false;
        const int got = avio_read(m_file.get(), head, int(sizeof head));
        if (got < int(kAudioHeaderSize))
            return false;
        if (const auto found = frameAt(head, size_t(got))) {
            frame = *found;
            return true;
        }
        ++m_at;
        if (!findMarker())
            return false;
    }
    return false;
}

/// Moves m_at to the next place where a frame may begin.
bool RawFile::findMarker()
{
    std::vector<uint8_t> bytes(kLookBytes);
    while (m_at < m_end) {
        if (avio_seek(m_file.get(), m_at, SEEK_SET) < 0)
            return false;
        const int got = avio_read(m_file.get(), bytes.data(), int(bytes.size()));
        if (got < 4)
            return false;
        for (int i = 0; i + 4 <= got; ++i) {
            const auto* zero = static_cast<const uint8_t*>(std::memchr(bytes.data() + i, 0, size_t(got - i - 3)));
            if (!zero)
                break;
            i = int(zero - bytes.data());
            if (zero[1] == 0 && zero[2] == 1 && (zero[3] == 0xF0 || zero[3] == 0xF1 || zero[3] == 0xFA)) {
                m_at += i;
                return true;
            }
        }
        m_at += got - 3;
    }
    return false;
}

bool RawFile::load(const FrameView& frame, Packet& packet)
{
    BufferPtr buffer = newFrameBuffer(frame.wholeSize);
    if (avio_seek(m_file.get(), m_at, SEEK_SET) < 0 ||
        avio_read(m_file.get(), buffer->data, int(frame.wholeSize)) != int(frame.wholeSize))
        return false;
    packet = Packet();
    packet.video = frame.video;
    packet.v = frame.v;
    packet.a = frame.a;
    packet.wholeSize = frame.wholeSize;
    packet.payloadSize = frame.payloadSize;
    packet.buffer = std::move(buffer);
    return true;
}

bool RawFile::next(Packet& packet)
{
    FrameView frame;
    if (!findFrame(frame) || frame.wholeSize > size_t(m_size - m_at) || !load(frame, packet))
        return false;
    m_at += int64_t(frame.wholeSize);
    if (packet.video) {
        if (packet.v.utcMs)
            packet.timeMs = int64_t(packet.v.utcMs);
        m_soundTimes.picture(packet.timeMs);
    } else {
        packet.timeMs = m_soundTimes.sound(packet);
    }
    return true;
}

bool RawFile::scan(IndexEntry& entry)
{
    FrameView frame;
    while (findFrame(frame) && frame.wholeSize <= size_t(m_size - m_at)) {
        const int64_t offset = m_at;
        if (!frame.video) {
            m_at += int64_t(frame.wholeSize);
            continue;
        }
        entry = {};
        entry.offset = offset;
        entry.key = frame.v.key;
        entry.hidden = (frame.v.flags & kFlagDecodeOnly) != 0;
        entry.size = uint32_t(frame.wholeSize);
        if (frame.v.utcMs) {
            entry.timeMs = entry.place = int64_t(frame.v.utcMs);
        } else { // only the picture itself tells
            Packet packet;
            if (!load(frame, packet))
                return false;
            if (!m_order || m_orderCodec != frame.v.codec)
                m_order = std::make_unique<PictureOrder>(codecIdOf(m_orderCodec = frame.v.codec));
            entry.place = m_order->placeOf(packet);
        }
        m_at = offset + int64_t(frame.wholeSize);
        return true;
    }
    return false;
}

bool RawFile::rewind(const MediaIndex& index, int64_t serial)
{
    m_at = index.entry(serial).offset;
    m_soundTimes.restart(index.entry(serial).timeMs);
    return true;
}

} // namespace lumo
