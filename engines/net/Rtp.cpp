#include "Rtp.h"

namespace lumo::net
{
namespace
{

uint32_t get32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

constexpr int kRestartAfter = 4;
constexpr uint16_t kReplayExtension = 0xABAC;
constexpr int64_t kNtpOf1970 = 2208988800; // seconds

} // namespace

std::optional<RtpPacket> parseRtp(const uint8_t* data, size_t size)
{
    if (size < 12 || data[0] >> 6 != 2)
        return std::nullopt;
    size_t at = 12 + 4u * (data[0] & 15);
    RtpPacket p;
    if (data[0] & 0x10) {
        if (at + 4 > size)
            return std::nullopt;
        p.extensionId = uint16_t(data[at] << 8 | data[at + 1]);
        p.extensionSize = 4 * (size_t(data[at + 2]) << 8 | data[at + 3]);
        p.extension = data + at + 4;
        at += 4 + p.extensionSize;
    }
    size_t padding = 0;
    if (data[0] & 0x20) {
        padding = data[size - 1];
        if (padding == 0)
            return std::nullopt;
    }
    if (at + padding > size)
        return std::nullopt;
    p.marker = (data[1] & 0x80) != 0;
    p.payloadType = data[1] & 0x7F;
    p.sequence = uint16_t(data[2] << 8 | data[3]);
    p.timestamp = get32(data + 4);
    p.source = get32(data + 8);
    p.payload = data + at;
    p.size = size - at - padding;
    return p;
}

std::optional<ReplayTime> replayTimeOf(const RtpPacket& p)
{
    if (p.extensionId != kReplayExtension || p.extensionSize < 8)
        return std::nullopt;
    const int64_t seconds = int64_t(get32(p.extension)) - kNtpOf1970;
    const uint64_t fraction = get32(p.extension + 4);
    return ReplayTime{seconds * 1000 + int64_t((fraction * 1000 + (1u << 31)) >> 32)};
}

bool hasRtcpBye(const uint8_t* data, size_t size)
{
    while (size >= 4 && data[0] >> 6 == 2) {
        if (data[1] == 203)
            return true;
        const size_t length = 4 * (1 + (size_t(data[2]) << 8 | data[3]));
        if (length > size)
            return false;
        data += length;
        size -= length;
    }
    return false;
}

void ReorderBuffer::deliver(const RtpPacket& packet)
{
    const bool lost = m_lost;
    m_lost = false;
    m_next = uint16_t(packet.sequence + 1);
    m_late = 0;
    m_sink(packet, lost);
}

void ReorderBuffer::drainRun()
{
    while (!m_held.empty()) {
        const auto first = m_held.begin();
        if (first->second.packet.sequence != m_next)
            return;
        auto node = m_held.extract(first);
        deliver(node.mapped().packet);
    }
}

void ReorderBuffer::skipGap()
{
    m_lost = true;
    m_next = m_held.begin()->second.packet.sequence;
    drainRun();
}

void ReorderBuffer::push(const RtpPacket& packet, int64_t nowMs)
{
    if (!m_started || packet.source != m_source) {
        m_lost = m_started;
        m_started = true;
        m_source = packet.source;
        m_held.clear();
        deliver(packet);
        return;
    }
    const int16_t ahead = int16_t(packet.sequence - m_next);
    if (ahead == 0) {
        deliver(packet);
        drainRun();
        if (!m_held.empty())
            m_since = nowMs;
        return;
    }
    if (ahead < 0) { // a duplicate, or too late; a sender that counts anew is followed after a few
        if (++m_late < kRestartAfter)
            return;
        m_held.clear();
        m_lost = true;
        deliver(packet);
        return;
    }
    if (m_maxWaitMs == 0) {
        m_lost = true;
        deliver(packet);
        return;
    }
    if (m_held.empty()) {
        m_base = m_next;
        m_since = nowMs;
    }
    Held held{packet, std::vector<uint8_t>(packet.payload, packet.payload + packet.size)};
    const auto [slot, isNew] = m_held.try_emplace(uint16_t(packet.sequence - m_base), std::move(held));
    if (isNew)
        slot->second.packet.payload = slot->second.bytes.data();
    slot->second.packet.extension = nullptr;
    slot->second.packet.extensionSize = 0;
    while (m_held.size() > kMaxHeld)
        skipGap();
    expire(nowMs);
}

void ReorderBuffer::expire(int64_t nowMs)
{
    while (!m_held.empty() && nowMs - m_since >= m_maxWaitMs) {
        skipGap();
        m_since = nowMs;
    }
}

} // namespace lumo::net
