#include "AviWriter.h"

#include "Adts.h"
#include "Clock.h"
#include "PictureSize.h"
#include "RiffBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace lumo
{
namespace
{

constexpr size_t kHeaderSize = 1024; // room for both streams' headers; the frames begin behind
constexpr int64_t kRoundMs = 2000;
constexpr int64_t kPauseMs = 1000; // between two pictures: a longer one is not the picture rate
constexpr uint32_t kKeyFrame = 0x10;
constexpr uint32_t kHasIndex = 0x10;

/// Players ask for these very tags; without its own, H.265 is silently not played.
const char* codecTag(VideoCodec codec)
{
    switch (codec) {
    case VideoCodec::Mjpeg:
        return "MJPG";
    case VideoCodec::H264:
        return "H264";
    case VideoCodec::H265:
        return "HEVC";
    }
    return "    ";
}

} // namespace

std::unique_ptr<AviWriter> AviWriter::create(const std::string& path)
{
    FilePtr file = createFile(path);
    return file ? std::make_unique<AviWriter>(std::move(file)) : nullptr;
}

bool AviWriter::write(const Packet& packet)
{
    if (!m_file)
        return false;
    if (!(packet.video ? writeVideo(packet) : writeSound(packet)))
        return false;
    // A long recording has a long index: it is written more rarely, so that it stays a small part of what is written.
    if (nowMs() - m_roundMs < kRoundMs * int64_t(1 + m_index.size() / 20000))
        return true;
    m_roundMs = nowMs();
    return writeRound();
}

bool AviWriter::writeVideo(const Packet& packet)
{
    if (m_pictures == 0) {
        m_form = packet.v;
        m_width = packet.v.width;
        m_height = packet.v.height;
        if (m_width == 0 || m_height == 0)
            readPictureSize(packet, m_width, m_height);
        const auto head = header();
        if (std::fwrite(head.data(), head.size(), 1, m_file.get()) != 1)
            return false;
    }
    measure(packet);
    ++m_pictures;
    m_largest = std::max(m_largest, uint32_t(packet.payloadSize));
    return writeChunk(true, packet.v.key, packet.payload(), packet.payloadSize);
}

bool AviWriter::writeSound(const Packet& packet)
{
    if (m_pictures == 0)
        return true;
    const uint8_t* data = packet.payload();
    size_t size = packet.payloadSize;
    const bool aac = packet.a.codec == AudioCodec::Aac;
    if (aac && !isAdts(data, size))
        return true;
    if (!m_hasSound) {
        m_hasSound = true;
        m_sound = packet.a;
        m_soundRate = packet.a.sampleRate;
        if (aac) { // AudioSpecificConfig of ISO/IEC 14496-3, from the ADTS header
            const int profile = data[2] >> 6, rate = (data[2] >> 2) & 15;
            m_soundChannels = (data[2] & 1) << 2 | data[3] >> 6;
            if (rate < int(std::size(kAacRates)))
                m_soundRate = kAacRates[rate];
            m_aacConfig = {uint8_t((profile + 1) << 3 | rate >> 1), uint8_t((rate & 1) << 7 | m_soundChannels << 3)};
        }
    }
    if (packet.a.codec != m_sound.codec || packet.a.sampleRate != m_sound.sampleRate)
        return true;
    if (!aac) {
        m_soundUnits += size;
        return writeChunk(false, true, data, size);
    }
    while (isAdts(data, size)) {
        const size_t whole = adtsSize(data), head = data[1] & 1 ? 7 : 9;
        if (whole <= head || whole > size)
            break;
        ++m_soundUnits;
        if (!writeChunk(false, true, data + head, whole - head))
            return false;
        data += whole;
        size -= whole;
    }
    return true;
}

bool AviWriter::writeChunk(bool video, bool key, const uint8_t* data, size_t size)
{
    const auto byte = [&](int i) { return uint8_t(size >> (8 * i)); };
    const uint8_t head[] = {'0',
                            uint8_t(video ? '0' : '1'),
                            uint8_t(video ? 'd' : 'w'),
                            uint8_t(video ? 'c' : 'b'),
                            byte(0),
                            byte(1),
                            byte(2),
                            byte(3)};
    const uint8_t pad = 0;
    if (std::fwrite(head, sizeof head, 1, m_file.get()) != 1 ||
        (size > 0 && std::fwrite(data, size, 1, m_file.get()) != 1) ||
        ((size & 1) && std::fwrite(&pad, 1, 1, m_file.get()) != 1))
        return false;
    m_index.push_back({video, key, 4 + m_end, uint32_t(size)}); // offsets count from the list's name "movi"
    m_end += uint32_t(8 + size + (size & 1));
    return true;
}

/// Counts the pictures and the time of whole groups: within one, pictures that are shown later may come earlier. A
/// group with a pause in it, or with a clock that jumps, says nothing about the rate.
void AviWriter::measure(const Packet& packet)
{
    const int64_t time = packet.timeMs;
    if (packet.isKey() || m_group.pictures == 0) {
        if (time != kNoTime && m_group.whole(time)) {
            m_measuredMs += uint64_t(time - m_group.firstMs);
            m_measuredSteps += m_group.pictures;
        }
        m_group = {time, time, 0, time != kNoTime};
    }
    ++m_group.pictures;
    if (time == kNoTime || time > m_group.lastMs + kPauseMs || time < m_group.firstMs - kPauseMs)
        m_group.steady = false;
    m_group.lastMs = std::max(m_group.lastMs, time);
}

AviWriter::Rate AviWriter::pictureRate() const
{
    const uint32_t said = m_form.fps ? m_form.fps : 25;
    uint32_t steps = m_measuredSteps;
    uint64_t ms = m_measuredMs;
    if (m_group.steady && m_group.lastMs > m_group.firstMs) { // the group that is not over yet
        steps += m_group.pictures - 1;
        ms += uint64_t(m_group.lastMs - m_group.firstMs);
    }
    if (steps < 5 || ms == 0)
        return {said, 1};
    const double real = steps * 1000.0 / double(ms);
    if (std::abs(real - said) < 0.02 * said)
        return {said, 1};
    if (std::abs(real - std::round(real)) < 0.02 * real && real >= 1)
        return {uint32_t(std::lround(real)), 1};
    return {uint32_t(std::lround(real * 1000)), 1000};
}

void AviWriter::videoList(RiffBuffer& b) const
{
    const Rate rate = pictureRate();
    const size_t list = b.open("LIST");
    b.tag("strl");
    const size_t strh = b.open("strh");
    b.tag("vids");
    b.tag(codecTag(m_form.codec));
    for (const uint32_t v : {0u, 0u, 0u, rate.scale, rate.rate, 0u, m_pictures, m_largest, 0xFFFFFFFFu, 0u})
        b.u32(v);
    for (const int v : {0, 0, m_width, m_height})
        b.u16(uint32_t(v));
    b.close(strh);
    const size_t strf = b.open("strf"); // BITMAPINFOHEADER
    for (const uint32_t v : {40u, uint32_t(m_width), uint32_t(m_height)})
        b.u32(v);
    b.u16(1);
    b.u16(24);
    b.tag(codecTag(m_form.codec));
    for (const uint32_t v : {uint32_t(m_width * m_height * 3), 0u, 0u, 0u, 0u})
        b.u32(v);
    b.close(strf);
    b.close(list);
}

void AviWriter::soundList(RiffBuffer& b) const
{
    const bool aac = m_sound.codec == AudioCodec::Aac;
    const size_t list = b.open("LIST");
    b.tag("strl");
    const size_t strh = b.open("strh");
    b.tag("auds");
    for (const uint32_t v :
         {0u, 0u, 0u, 0u, aac ? 1024u : 1u, m_soundRate, 0u, uint32_t(m_soundUnits), 4096u, 0xFFFFFFFFu, aac ? 0u : 1u})
        b.u32(v);
    b.u32(0);
    b.u32(0);
    b.close(strh);
    const size_t strf = b.open("strf"); // WAVEFORMATEX
    b.u16(aac ? 0x00FF : 0x0006);
    b.u16(uint32_t(aac ? m_soundChannels : 1));
    b.u32(m_soundRate);
    b.u32(m_soundRate);
    b.u16(aac ? 1024 : 1);
    b.u16(aac ? 16 : 8);
    b.u16(aac ? 2 : 0);
    if (aac)
        b.bytes(m_aacConfig.data(), m_aacConfig.size());
    b.close(strf);
    b.close(list);
}

std::vector<uint8_t> AviWriter::header() const
{
    const Rate rate = pictureRate();
    RiffBuffer b;
    b.tag("RIFF");
    b.u32(uint32_t(kHeaderSize - 8 + m_end + (m_index.empty() ? 0 : 8 + 16 * m_index.size())));
    b.tag("AVI ");
    const size_t headers = b.open("LIST");
    b.tag("hdrl");
    const size_t avih = b.open("avih");
    b.u32(uint32_t(1'000'000.0 * rate.scale / rate.rate));
    for (const uint32_t v : {0u, 0u, kHasIndex, m_pictures, 0u, m_hasSound ? 2u : 1u, m_largest, uint32_t(m_width),
                             uint32_t(m_height), 0u, 0u, 0u, 0u})
        b.u32(v);
    b.close(avih);

    videoList(b);
    if (m_hasSound)
        soundList(b);
    b.close(headers);

    const size_t junk = b.open("JUNK");
    while (b.size() < kHeaderSize - 12)
        b.bytes(reinterpret_cast<const uint8_t*>(""), 1);
    b.close(junk);
    b.tag("LIST");
    b.u32(4 + m_end);
    b.tag("movi");
    return b.take();
}

/// Index behind the frames, then the header with what is known now; then back to where the next frame goes.
bool AviWriter::writeRound()
{
    RiffBuffer b;
    const size_t idx1 = b.open("idx1");
    for (const Entry& entry : m_index) {
        b.tag(entry.video ? "00dc" : "01wb");
        b.u32(entry.key ? kKeyFrame : 0);
        b.u32(entry.offset);
        b.u32(entry.size);
    }
    b.close(idx1);
    const auto index = b.take();
    const auto head = header();
    std::FILE* file = m_file.get();
    const long framesEnd = long(kHeaderSize + m_end);
    return std::fseek(file, framesEnd, SEEK_SET) == 0 && std::fwrite(index.data(), index.size(), 1, file) == 1 &&
           std::fseek(file, 0, SEEK_SET) == 0 && std::fwrite(head.data(), head.size(), 1, file) == 1 &&
           std::fflush(file) == 0 && std::fseek(file, framesEnd, SEEK_SET) == 0;
}

bool AviWriter::finish()
{
    if (!m_file)
        return false;
    const bool good = m_pictures == 0 || writeRound();
    return std::fclose(m_file.release()) == 0 && good;
}

} // namespace lumo
