// G.711 (A-law as it comes; mu-law is turned into A-law) and AAC (RFC 3640, AAC-hbr), which leaves as ADTS frames.
#include "Depacketizer.h"

#include "G711.h"
#include "Text.h"

#include <algorithm>
#include <array>

namespace lumo::net
{
namespace
{

const std::array<uint8_t, 256>& muToA()
{
    static const auto table = [] {
        std::array<uint8_t, 256> t{};
        for (int i = 0; i < 256; ++i)
            t[size_t(i)] = aLawOfLinear(linearOfMuLaw(uint8_t(i)));
        return t;
    }();
    return table;
}

class G711Depacketizer final : public Depacketizer
{
public:
    G711Depacketizer(const SdpMedia& media, Sink sink)
        : Depacketizer(std::move(sink)), m_muLaw(media.encoding == "PCMU"), m_rate(media.clockRate)
    {
    }

    void push(const RtpPacket& packet, bool) override
    {
        if (packet.size == 0)
            return;
        MediaFrame f;
        f.audioCodec = AudioCodec::ALaw;
        f.sampleRate = m_rate;
        f.rtpTime = packet.timestamp;
        f.data = packet.payload;
        f.size = packet.size;
        if (m_muLaw) {
            m_samples.resize(packet.size);
            std::transform(packet.payload, packet.payload + packet.size, m_samples.begin(),
                           [](uint8_t c) { return muToA()[c]; });
            f.data = m_samples.data();
        }
        m_sink(f);
    }

private:
    bool m_muLaw;
    uint32_t m_rate;
    std::vector<uint8_t> m_samples;
};

constexpr uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};

/// What of an AudioSpecificConfig (ISO/IEC 14496-3) an ADTS header repeats.
struct AacConfig {
    uint32_t objectType = 2; // 2: low complexity
    uint32_t rateIndex = 11;
    uint32_t channels = 1;
    uint32_t rate() const { return kAacRates[rateIndex]; }
};

std::vector<uint8_t> fromHex(std::string_view text)
{
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        unsigned value = 0;
        if (std::from_chars(text.data() + i, text.data() + i + 2, value, 16).ptr != text.data() + i + 2)
            break;
        out.push_back(uint8_t(value));
    }
    return out;
}

std::optional<AacConfig> parseConfig(const SdpMedia& media)
{
    const auto bytes = fromHex(media.parameter("config"));
    if (bytes.size() < 2)
        return std::nullopt;
    BitReader r(bytes.data(), bytes.size());
    AacConfig c;
    c.objectType = r.bits(5);
    c.rateIndex = r.bits(4);
    if (c.rateIndex == 15) {
        const uint32_t rate = r.bits(24);
        const auto found = std::find(std::begin(kAacRates), std::end(kAacRates), rate);
        c.rateIndex = uint32_t(found - std::begin(kAacRates));
    }
    c.channels = r.bits(4);
    // ADTS has two bits for the type; what extends low complexity is signalled in the stream itself.
    if (c.objectType == 5 || c.objectType == 29)
        c.objectType = 2;
    if (c.rateIndex >= std::size(kAacRates) || c.objectType < 1 || c.objectType > 4 || c.channels > 7 || r.overrun())
        return std::nullopt;
    return c;
}

class AacDepacketizer final : public Depacketizer
{
public:
    AacDepacketizer(const SdpMedia& media, AacConfig config, Sink sink)
        : Depacketizer(std::move(sink)), m_config(config), m_sizeBits(int(toNumber(media.parameter("sizelength"), 13))),
          m_indexBits(int(toNumber(media.parameter("indexlength"), 3))),
          m_deltaBits(int(toNumber(media.parameter("indexdeltalength"), 3)))
    {
    }

    void push(const RtpPacket& packet, bool lostBefore) override
    {
        if (lostBefore)
            m_part.clear();
        if (packet.size < 2 || m_sizeBits < 1 || m_sizeBits > 16 || m_indexBits < 0 || m_indexBits > 16 ||
            m_deltaBits < 0 || m_deltaBits > 16)
            return;
        const size_t headerBits = size_t(packet.payload[0]) << 8 | packet.payload[1];
        const size_t headerBytes = (headerBits + 7) / 8;
        if (2 + headerBytes > packet.size)
            return;
        BitReader r(packet.payload + 2, headerBytes);
        const uint8_t* p = packet.payload + 2 + headerBytes;
        size_t left = packet.size - 2 - headerBytes;
        size_t used = 0;
        for (int n = 0; used + size_t(m_sizeBits) <= headerBits && left > 0; ++n) {
            const size_t size = r.bits(m_sizeBits);
            const int index = n == 0 ? m_indexBits : m_deltaBits;
            r.skip(size_t(index));
            used += size_t(m_sizeBits + index);
            if (size > left) {
                takePart(p, left, size, packet);
                return;
            }
            m_part.clear();
            deliver(p, size, packet.timestamp + uint32_t(n) * 1024);
            p += size;
            left -= size;
        }
    }

private:
    /// A frame larger than a packet comes in parts; each part tells the size of the whole.
    void takePart(const uint8_t* p, size_t size, size_t whole, const RtpPacket& packet)
    {
        if (m_part.size() + size > whole)
            m_part.clear();
        m_part.insert(m_part.end(), p, p + size);
        if (m_part.size() == whole)
            deliver(m_part.data(), m_part.size(), packet.timestamp);
        if (packet.marker)
            m_part.clear();
    }

    void deliver(const uint8_t* p, size_t size, uint32_t time)
    {
        const size_t whole = size + 7;
        if (size == 0 || whole > 0x1FFF) // the length field has 13 bits
            return;
        m_frame.assign({0xFF, 0xF1,
                        uint8_t((m_config.objectType - 1) << 6 | m_config.rateIndex << 2 | m_config.channels >> 2),
                        uint8_t((m_config.channels & 3) << 6 | whole >> 11), uint8_t(whole >> 3),
                        uint8_t((whole & 7) << 5 | 0x1F), 0xFC});
        m_frame.insert(m_frame.end(), p, p + size);
        MediaFrame f;
        f.audioCodec = AudioCodec::Aac;
        f.sampleRate = m_config.rate();
        f.rtpTime = time;
        f.data = m_frame.data();
        f.size = m_frame.size();
        m_sink(f);
    }

    AacConfig m_config;
    int m_sizeBits, m_indexBits, m_deltaBits;
    std::vector<uint8_t> m_part, m_frame;
};

} // namespace

std::unique_ptr<Depacketizer> makeG711Depacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    if (media.channels != 1 || rateCode(media.clockRate) == 0)
        return nullptr;
    return std::make_unique<G711Depacketizer>(media, std::move(sink));
}

std::unique_ptr<Depacketizer> makeAacDepacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    const auto config = parseConfig(media);
    if (!config || rateCode(config->rate()) == 0 || !sameText(media.parameter("mode"), "AAC-hbr"))
        return nullptr;
    return std::make_unique<AacDepacketizer>(media, *config, std::move(sink));
}

std::unique_ptr<Depacketizer> makeDepacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    if (media.type == "video" && media.encoding == "H264")
        return makeH264Depacketizer(media, std::move(sink));
    if (media.type == "video" && media.encoding == "H265")
        return makeH265Depacketizer(media, std::move(sink));
    if (media.type == "video" && media.encoding == "JPEG")
        return makeJpegDepacketizer(media, std::move(sink));
    if (media.type == "audio" && (media.encoding == "PCMA" || media.encoding == "PCMU"))
        return makeG711Depacketizer(media, std::move(sink));
    if (media.type == "audio" && media.encoding == "MPEG4-GENERIC")
        return makeAacDepacketizer(media, std::move(sink));
    return nullptr;
}

} // namespace lumo::net
