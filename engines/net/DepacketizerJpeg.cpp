// MJPEG (RFC 2435): the headers that the sender left out are made anew, from the tables of ISO/IEC 10918-1 Annex K.
#include "Depacketizer.h"

#include <algorithm>
#include <array>
#include <map>

namespace lumo::net
{
namespace
{

// Annex K.1, in zigzag order as DQT wants it.
constexpr std::array<uint8_t, 64> kLuma = {16, 11, 12,  14,  12,  10, 16, 14,  13,  14,  18,  17,  16, 19,  24,  40,
                                           26, 24, 22,  22,  24,  49, 35, 37,  29,  40,  58,  51,  61, 60,  57,  51,
                                           56, 55, 64,  72,  92,  78, 64, 68,  87,  69,  55,  56,  80, 109, 81,  87,
                                           95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};
constexpr std::array<uint8_t, 64> kChroma = {17, 18, 18, 24, 21, 24, 47, 26, 26, 47, 99, 66, 56, 66, 99, 99,
                                             99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                             99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                             99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Annex K.3: how many codes of each length, then the values.
constexpr std::array<uint8_t, 16> kDcLumaBits = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
constexpr std::array<uint8_t, 16> kDcChromaBits = {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0};
constexpr std::array<uint8_t, 12> kDcValues = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
constexpr std::array<uint8_t, 16> kAcLumaBits = {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D};
constexpr std::array<uint8_t, 162> kAcLumaValues = {
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
    0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72,
    0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37,
    0x38, 0x39, 0x3A, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
    0x5A, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
    0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A, 0xA2, 0xA3,
    0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3,
    0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2,
    0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA};
constexpr std::array<uint8_t, 16> kAcChromaBits = {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 0x77};
constexpr std::array<uint8_t, 162> kAcChromaValues = {
    0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71, 0x13, 0x22,
    0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xA1, 0xB1, 0xC1, 0x09, 0x23, 0x33, 0x52, 0xF0, 0x15, 0x62, 0x72, 0xD1,
    0x0A, 0x16, 0x24, 0x34, 0xE1, 0x25, 0xF1, 0x17, 0x18, 0x19, 0x1A, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x35, 0x36,
    0x37, 0x38, 0x39, 0x3A, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58,
    0x59, 0x5A, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A,
    0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A,
    0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA,
    0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA,
    0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA};

using Bytes = std::vector<uint8_t>;

/// Quantisation tables as they go into DQT: two of 64 bytes, or (16 bits an entry) two of 128.
Bytes tablesForQuality(int q)
{
    const int factor = q < 50 ? 5000 / std::max(q, 1) : 200 - 2 * q;
    Bytes out;
    for (const auto& table : {kLuma, kChroma})
        for (const uint8_t v : table)
            out.push_back(uint8_t(std::clamp((v * factor + 50) / 100, 1, 255)));
    return out;
}

void putMarker(Bytes& out, uint8_t marker, size_t length)
{
    out.insert(out.end(), {0xFF, marker, uint8_t((length + 2) >> 8), uint8_t(length + 2)});
}

template <size_t N>
void putHuffman(Bytes& out, uint8_t id, const std::array<uint8_t, 16>& bits, const std::array<uint8_t, N>& values)
{
    putMarker(out, 0xC4, 1 + 16 + N);
    out.push_back(id);
    out.insert(out.end(), bits.begin(), bits.end());
    out.insert(out.end(), values.begin(), values.end());
}

struct JpegHeader {
    uint8_t type = 0;
    uint16_t width = 0, height = 0; // pixels
    uint16_t restart = 0;
    uint8_t precision = 0; // bit n: table n has 16 bits an entry
};

void putQuantisation(Bytes& out, const JpegHeader& h, const Bytes& tables)
{
    size_t at = 0;
    for (uint8_t id = 0; at < tables.size() && id < 4; ++id) {
        const bool wide = (h.precision >> id) & 1;
        const size_t size = wide ? 128 : 64;
        if (at + size > tables.size())
            return;
        putMarker(out, 0xDB, 1 + size);
        out.push_back(uint8_t((wide ? 0x10 : 0) | id));
        out.insert(out.end(), tables.begin() + ptrdiff_t(at), tables.begin() + ptrdiff_t(at + size));
        at += size;
    }
}

void putHeaders(Bytes& out, const JpegHeader& h, const Bytes& tables)
{
    const uint8_t chromaTable = tables.size() > 64 ? 1 : 0;
    const uint8_t lumaSampling = (h.type & 63) == 0 ? 0x21 : 0x22; // type 0: 4:2:2, 1: 4:2:0
    out = {0xFF, 0xD8};
    putQuantisation(out, h, tables);
    if (h.restart != 0) {
        putMarker(out, 0xDD, 2);
        out.insert(out.end(), {uint8_t(h.restart >> 8), uint8_t(h.restart)});
    }
    putMarker(out, 0xC0, 15);
    out.insert(out.end(), {8, uint8_t(h.height >> 8), uint8_t(h.height), uint8_t(h.width >> 8), uint8_t(h.width), 3});
    out.insert(out.end(), {1, lumaSampling, 0, 2, 0x11, chromaTable, 3, 0x11, chromaTable});
    putHuffman(out, 0x00, kDcLumaBits, kDcValues);
    putHuffman(out, 0x10, kAcLumaBits, kAcLumaValues);
    putHuffman(out, 0x01, kDcChromaBits, kDcValues);
    putHuffman(out, 0x11, kAcChromaBits, kAcChromaValues);
    putMarker(out, 0xDA, 10);
    out.insert(out.end(), {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0});
}

class JpegDepacketizer final : public Depacketizer
{
public:
    JpegDepacketizer(const SdpMedia& media, Sink sink)
        : Depacketizer(std::move(sink)), m_fps(media.fps), m_width(media.width), m_height(media.height)
    {
    }

    void push(const RtpPacket& packet, bool lostBefore) override
    {
        if (lostBefore || (m_open && packet.timestamp != m_time))
            m_open = false;
        const uint8_t* p = packet.payload;
        size_t size = packet.size;
        if (size < 8)
            return;
        const size_t offset = size_t(p[1]) << 16 | size_t(p[2]) << 8 | p[3];
        JpegHeader h;
        h.type = p[4];
        const uint8_t q = p[5];
        h.width = p[6] ? uint16_t(p[6] * 8) : m_width;
        h.height = p[7] ? uint16_t(p[7] * 8) : m_height;
        p += 8;
        size -= 8;
        if (h.type >= 64 && h.type <= 127) {
            if (size < 4)
                return;
            h.restart = uint16_t(p[0] << 8 | p[1]);
            p += 4;
            size -= 4;
        }
        if (offset == 0 && !begin(h, q, p, size, packet.timestamp))
            return;
        if (!m_open || offset != m_received || m_picture.size() + size > kMaxFrame) {
            m_open = false;
            return;
        }
        m_picture.insert(m_picture.end(), p, p + size);
        m_received += size;
        if (packet.marker)
            deliver();
    }

private:
    /// Starts a picture; p and size are moved past tables that stand in the packet.
    bool begin(JpegHeader h, uint8_t q, const uint8_t*& p, size_t& size, uint32_t time)
    {
        m_open = false;
        if ((h.type & 63) > 1 || h.type > 127 || h.width == 0 || h.height == 0 || q == 0)
            return false;
        const Bytes* tables = nullptr;
        if (q < 128) {
            auto& kept = m_tables[q];
            if (kept.tables.empty())
                kept.tables = tablesForQuality(std::min<int>(q, 99));
            tables = &kept.tables;
        } else {
            tables = takeTables(q, p, size, h.precision);
        }
        if (!tables || tables->empty())
            return false;
        putHeaders(m_picture, h, *tables);
        m_format = {h.width, h.height, m_fps};
        m_time = time;
        m_received = 0;
        m_open = true;
        return true;
    }

    const Bytes* takeTables(uint8_t q, const uint8_t*& p, size_t& size, uint8_t& precision)
    {
        if (size < 4)
            return nullptr;
        const size_t length = size_t(p[2]) << 8 | p[3];
        auto& kept = m_tables[q];
        if (4 + length > size || length > 512)
            return nullptr;
        if (length > 0) {
            kept.tables.assign(p + 4, p + 4 + length);
            kept.precision = p[1];
        } else if (q == 255) {
            return nullptr; // such tables hold for one picture only
        }
        precision = kept.precision;
        p += 4 + length;
        size -= 4 + length;
        return &kept.tables;
    }

    void deliver()
    {
        m_open = false;
        const size_t n = m_picture.size();
        if (m_picture[n - 2] != 0xFF || m_picture[n - 1] != 0xD9)
            m_picture.insert(m_picture.end(), {0xFF, 0xD9});
        MediaFrame f;
        f.video = f.key = true;
        f.videoCodec = VideoCodec::Mjpeg;
        f.format = m_format;
        f.rtpTime = m_time;
        f.data = m_picture.data();
        f.size = m_picture.size();
        m_sink(f);
    }

    struct Kept {
        Bytes tables;
        uint8_t precision = 0;
    };
    uint8_t m_fps;
    uint16_t m_width, m_height;       // of the session description, for pictures too large for the payload header
    std::map<uint8_t, Kept> m_tables; // by Q
    Bytes m_picture;
    PictureFormat m_format;
    uint32_t m_time = 0;
    size_t m_received = 0; // bytes of scan data
    bool m_open = false;
};

} // namespace

std::unique_ptr<Depacketizer> makeJpegDepacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    return std::make_unique<JpegDepacketizer>(media, std::move(sink));
}

} // namespace lumo::net
