// H.264 (RFC 6184: single NAL unit, STAP-A, FU-A) and H.265 (RFC 7798: single NAL unit, aggregation, fragmentation).
// An access unit ends at the marker bit or where the timestamp changes.
#include "Depacketizer.h"

#include "Digest.h"
#include "Text.h"

#include <map>

namespace lumo::net
{
namespace
{

enum class Kind { Slice, KeySlice, ParameterSet, Delimiter, Other };

/// What the common code must know of a codec.
struct CodecRules {
    VideoCodec codec;
    size_t headerSize; // bytes of a NAL unit header
    int (*type)(const uint8_t* nal);
    Kind (*kind)(int type);
    bool (*isSps)(int type);
    bool (*firstSlice)(const uint8_t* nal, size_t size);
    std::optional<PictureFormat> (*parseSps)(const uint8_t* nal, size_t size);
    std::vector<int> sets; // types of the parameter sets, in the order in which they must stand
};

const CodecRules& h264Rules()
{
    static const CodecRules rules{VideoCodec::H264,
                                  1,
                                  [](const uint8_t* nal) { return nal[0] & 31; },
                                  [](int t) {
                                      return t == 5               ? Kind::KeySlice
                                             : (t >= 1 && t <= 4) ? Kind::Slice
                                             : (t == 7 || t == 8) ? Kind::ParameterSet
                                             : (t == 9 || t == 0) ? Kind::Delimiter
                                                                  : Kind::Other;
                                  },
                                  [](int t) { return t == 7; },
                                  [](const uint8_t* nal, size_t size) { return size > 1 && (nal[1] & 0x80); },
                                  parseH264Sps,
                                  {7, 8}};
    return rules;
}

const CodecRules& h265Rules()
{
    static const CodecRules rules{VideoCodec::H265,
                                  2,
                                  [](const uint8_t* nal) { return (nal[0] >> 1) & 63; },
                                  [](int t) {
                                      return t >= 16 && t <= 23   ? Kind::KeySlice
                                             : t < 16             ? Kind::Slice
                                             : t >= 32 && t <= 34 ? Kind::ParameterSet
                                             : t == 35            ? Kind::Delimiter
                                                                  : Kind::Other;
                                  },
                                  [](int t) { return t == 33; },
                                  [](const uint8_t* nal, size_t size) { return size > 2 && (nal[2] & 0x80); },
                                  parseH265Sps,
                                  {32, 33, 34}};
    return rules;
}

/// The id of a parameter set, so that a device with several of a kind keeps them all.
uint32_t setId(const CodecRules& rules, int type, const uint8_t* nal, size_t size)
{
    if (size <= rules.headerSize + 4)
        return 0;
    if (rules.codec == VideoCodec::H265 && type == 33)
        return 0; // stands behind the profile; devices send one
    if (type == 32)
        return nal[rules.headerSize] >> 4;
    BitReader r(nal + rules.headerSize, size - rules.headerSize);
    if (type == 7)
        r.skip(24);
    return r.ue() & 31;
}

class H26xDepacketizer : public Depacketizer
{
public:
    H26xDepacketizer(const CodecRules& rules, const SdpMedia& media, Sink sink)
        : Depacketizer(std::move(sink)), m_rules(rules), m_fps(media.fps)
    {
        m_format.width = media.width;
        m_format.height = media.height;
    }

    void push(const RtpPacket& packet, bool lostBefore) override
    {
        if (m_open && packet.timestamp != m_time) {
            m_damaged = m_damaged || lostBefore; // what was lost may have been its end
            finish();
        }
        if (lostBefore)
            noteLoss();
        if (!m_open) {
            m_open = true;
            m_time = packet.timestamp;
        }
        if (packet.size > m_rules.headerSize)
            takePayload(packet.payload, packet.size);
        if (packet.marker)
            finish();
    }

    /// Parameter sets of the session description.
    void rememberSets(std::string_view list)
    {
        for (const auto item : split(list, ',')) {
            const auto nal = fromBase64(trim(item));
            if (nal.size() > m_rules.headerSize && m_rules.kind(m_rules.type(nal.data())) == Kind::ParameterSet)
                rememberSet(nal.data(), nal.size());
        }
    }

protected:
    virtual void takePayload(const uint8_t* p, size_t size) = 0;

    void addNal(const uint8_t* nal, size_t size)
    {
        if (size <= m_rules.headerSize || !beginNal(nal, size))
            return;
        append(nal, size);
        endNal();
    }

    /// A part of a fragmented unit. flags: bit 7 the first, bit 6 the last; header: the unit's, as it would stand
    /// alone.
    void takeFragment(uint8_t flags, const uint8_t* header, const uint8_t* p, size_t size)
    {
        if (flags & 0x80)
            beginFragment(header, p, size);
        else
            continueFragment(p, size);
        if ((flags & 0x40) && m_inFragment) {
            m_inFragment = false;
            endNal();
        }
    }

    void markDamaged() { m_damaged = true; }

private:
    void beginFragment(const uint8_t* header, const uint8_t* p, size_t size)
    {
        dropFragment();
        uint8_t head[6] = {};
        std::copy(header, header + m_rules.headerSize, head);
        const size_t peek = std::min<size_t>(size, 2);
        std::copy(p, p + peek, head + m_rules.headerSize);
        if (!beginNal(head, m_rules.headerSize + peek))
            return;
        append(header, m_rules.headerSize);
        append(p, size);
        m_inFragment = true;
    }

    void continueFragment(const uint8_t* p, size_t size)
    {
        if (m_inFragment)
            append(p, size);
        else
            m_damaged = true; // its beginning was lost
    }

    void noteLoss()
    {
        m_waitKey = true;
        if (m_open || m_inFragment)
            m_damaged = true;
        dropFragment();
        m_lossAtStart = true;
    }

    void dropFragment()
    {
        if (!m_inFragment)
            return;
        m_inFragment = false;
        m_damaged = true;
    }

    bool beginNal(const uint8_t* nal, size_t size)
    {
        const int type = m_rules.type(nal);
        const Kind kind = m_rules.kind(type);
        if (kind == Kind::Delimiter)
            return false;
        if (kind == Kind::KeySlice || kind == Kind::Slice)
            noteSlice(kind, nal, size);
        m_nalKind = kind;
        m_nalType = type;
        static const uint8_t start[] = {0, 0, 0, 1};
        append(start, sizeof start);
        m_nalStart = m_unit.size();
        return true;
    }

    void noteSlice(Kind kind, const uint8_t* nal, size_t size)
    {
        // After a loss between two units the next one is whole only if it begins with its first slice.
        if (!m_hasSlice && m_lossAtStart && !m_rules.firstSlice(nal, size))
            m_damaged = true;
        if (!m_hasSlice && kind == Kind::Slice && m_rules.codec == VideoCodec::H264 && m_setsInUnit &&
            isIntra(nal, size))
            m_key = true; // an intra picture behind its own parameter sets: a place to begin, if not an IDR picture
        m_hasSlice = true;
        m_key = m_key || kind == Kind::KeySlice;
    }

    static bool isIntra(const uint8_t* nal, size_t size)
    {
        BitReader r(nal + 1, size - 1);
        r.ue();
        const uint32_t type = r.ue() % 5;
        return !r.overrun() && (type == 2 || type == 4);
    }

    void append(const uint8_t* p, size_t size)
    {
        if (m_unit.size() + size > kMaxFrame) {
            m_damaged = true;
            return;
        }
        m_unit.insert(m_unit.end(), p, p + size);
    }

    void endNal()
    {
        if (m_nalKind == Kind::ParameterSet && m_unit.size() > m_nalStart) {
            rememberSet(m_unit.data() + m_nalStart, m_unit.size() - m_nalStart);
            m_setsInUnit |= 1u << (m_nalType & 31);
        }
    }

    void rememberSet(const uint8_t* nal, size_t size)
    {
        const int type = m_rules.type(nal);
        auto& kept = m_sets[{type, setId(m_rules, type, nal, size)}];
        if (kept.size() == size && std::equal(kept.begin(), kept.end(), nal))
            return;
        kept.assign(nal, nal + size);
        if (!m_rules.isSps(type))
            return;
        if (const auto format = m_rules.parseSps(nal, size))
            m_format = *format;
    }

    void finish()
    {
        if (m_inFragment)
            dropFragment();
        const bool deliverable = m_hasSlice && !m_damaged && (m_key || !m_waitKey);
        if (m_hasSlice && m_damaged)
            m_waitKey = true;
        if (deliverable) {
            m_waitKey = false;
            deliver();
        }
        // Parameter sets alone in a unit of their own belong to the next picture; they are remembered.
        m_unit.clear();
        m_open = m_damaged = m_hasSlice = m_key = m_lossAtStart = false;
        m_setsInUnit = 0;
    }

    void deliver()
    {
        MediaFrame f;
        f.video = true;
        f.key = m_key;
        f.videoCodec = m_rules.codec;
        f.format = m_format;
        f.format.fps = m_fps ? m_fps : m_format.fps;
        f.rtpTime = m_time;
        f.data = m_unit.data();
        f.size = m_unit.size();
        if (m_key && prependMissingSets()) {
            f.data = m_withSets.data();
            f.size = m_withSets.size();
        }
        if (f.size <= kMaxFrame)
            m_sink(f);
    }

    bool prependMissingSets()
    {
        m_withSets.clear();
        for (const int type : m_rules.sets) {
            if (m_setsInUnit & (1u << (type & 31)))
                continue;
            for (const auto& [key, nal] : m_sets) {
                if (key.first != type)
                    continue;
                m_withSets.insert(m_withSets.end(), {0, 0, 0, 1});
                m_withSets.insert(m_withSets.end(), nal.begin(), nal.end());
            }
        }
        if (m_withSets.empty())
            return false;
        m_withSets.insert(m_withSets.end(), m_unit.begin(), m_unit.end());
        return true;
    }

    const CodecRules& m_rules;
    PictureFormat m_format;
    uint8_t m_fps;
    std::map<std::pair<int, uint32_t>, std::vector<uint8_t>> m_sets; // by type and id
    std::vector<uint8_t> m_unit, m_withSets;                         // Annex B
    uint32_t m_time = 0;
    uint32_t m_setsInUnit = 0; // one bit per type, modulo 32
    size_t m_nalStart = 0;
    Kind m_nalKind = Kind::Other;
    int m_nalType = 0;
    bool m_open = false, m_inFragment = false, m_damaged = false, m_hasSlice = false, m_key = false;
    bool m_lossAtStart = false;
    bool m_waitKey = true;
};

size_t get16(const uint8_t* p)
{
    return size_t(p[0]) << 8 | p[1];
}

class H264Depacketizer final : public H26xDepacketizer
{
public:
    H264Depacketizer(const SdpMedia& media, Sink sink) : H26xDepacketizer(h264Rules(), media, std::move(sink))
    {
        rememberSets(media.parameter("sprop-parameter-sets"));
    }

private:
    void takePayload(const uint8_t* p, size_t size) override
    {
        const int type = p[0] & 31;
        if (type >= 1 && type <= 23) {
            addNal(p, size);
        } else if (type == 24) {
            for (size_t at = 1; at + 2 < size;) {
                const size_t length = get16(p + at);
                if (length == 0 || at + 2 + length > size) {
                    markDamaged();
                    return;
                }
                addNal(p + at + 2, length);
                at += 2 + length;
            }
        } else if (type == 28 && size > 2) {
            const uint8_t header = uint8_t((p[0] & 0xE0) | (p[1] & 31));
            takeFragment(p[1], &header, p + 2, size - 2);
        } else {
            markDamaged();
        }
    }
};

class H265Depacketizer final : public H26xDepacketizer
{
public:
    H265Depacketizer(const SdpMedia& media, Sink sink)
        : H26xDepacketizer(h265Rules(), media, std::move(sink)),
          m_orderNumbers(toNumber(media.parameter("sprop-max-don-diff"), 0) > 0)
    {
        rememberSets(media.parameter("sprop-vps"));
        rememberSets(media.parameter("sprop-sps"));
        rememberSets(media.parameter("sprop-pps"));
    }

private:
    void takePayload(const uint8_t* p, size_t size) override
    {
        const int type = (p[0] >> 1) & 63;
        const size_t order = m_orderNumbers ? 2 : 0;
        if (type < 48) {
            if (order == 0) {
                addNal(p, size);
            } else if (size > 4) { // the order number stands between header and payload
                m_plain.assign(p, p + 2);
                m_plain.insert(m_plain.end(), p + 4, p + size);
                addNal(m_plain.data(), m_plain.size());
            }
        } else if (type == 48) {
            takeAggregate(p, size, order);
        } else if (type == 49 && size > 3) {
            const uint8_t header[2] = {uint8_t((p[0] & 0x81) | ((p[2] & 63) << 1)), p[1]};
            const size_t at = std::min(size, 3 + (p[2] & 0x80 ? order : 0));
            takeFragment(p[2], header, p + at, size - at);
        } else {
            markDamaged();
        }
    }

    void takeAggregate(const uint8_t* p, size_t size, size_t order)
    {
        size_t at = 2 + order;
        while (at + 2 < size) {
            const size_t length = get16(p + at);
            if (length == 0 || at + 2 + length > size) {
                markDamaged();
                return;
            }
            addNal(p + at + 2, length);
            at += 2 + length + (order ? 1 : 0);
        }
    }

    bool m_orderNumbers;
    std::vector<uint8_t> m_plain;
};

} // namespace

std::unique_ptr<Depacketizer> makeH264Depacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    return std::make_unique<H264Depacketizer>(media, std::move(sink));
}

std::unique_ptr<Depacketizer> makeH265Depacketizer(const SdpMedia& media, Depacketizer::Sink sink)
{
    return std::make_unique<H265Depacketizer>(media, std::move(sink));
}

} // namespace lumo::net
