#include "PacketQueue.h"

#include <algorithm>

namespace lumo
{
namespace
{

// Device clocks jump; a wider gap between two waiting pictures is such a jump, not a backlog.
constexpr int64_t kLongestSpanMs = 60'000;

} // namespace

void PacketQueue::push(Packet&& packet, size_t bytes)
{
    while (!m_frames.empty() && !hasRoom(packet.wholeSize, bytes))
        dropOldestGroup();
    if (packet.video && m_needKey && !packet.isKey())
        return;
    if (packet.video)
        m_needKey = false;
    m_bytes += packet.wholeSize;
    m_cost += packet.wholeSize + kOverhead;
    m_frames.push_back(std::move(packet));
}

std::optional<Packet> PacketQueue::pop()
{
    if (m_frames.empty())
        return std::nullopt;
    std::optional<Packet> packet(std::move(m_frames.front()));
    packet->heard = m_heard > 0;
    dropFront();
    return packet;
}

void PacketQueue::dropFront()
{
    m_bytes -= m_frames.front().wholeSize;
    m_cost -= m_frames.front().wholeSize + kOverhead;
    m_frames.pop_front();
    m_heard -= m_heard > 0;
}

std::optional<Packet> PacketQueue::soundAhead(int64_t untilMs)
{
    for (; m_heard < m_frames.size(); ++m_heard) {
        const Packet& frame = m_frames[m_heard];
        if (frame.video)
            continue;
        if (frame.timeMs != kNoTime && frame.timeMs > untilMs)
            return std::nullopt;
        ++m_heard;
        return sharePacket(frame);
    }
    return std::nullopt;
}

void PacketQueue::dropOldestGroup()
{
    do
        dropFront();
    while (!m_frames.empty() && !m_frames.front().isKey());
    m_needKey = m_frames.empty();
}

void PacketQueue::clear()
{
    m_frames.clear();
    m_bytes = m_cost = m_heard = 0;
    m_needKey = false;
}

bool PacketQueue::hasVideo() const
{
    return std::any_of(m_frames.rbegin(), m_frames.rend(), [](const Packet& p) { return p.video; });
}

int64_t PacketQueue::backlogMs(const Packet& packet, int64_t nowMs) const
{
    const int64_t waited = nowMs - packet.arrivalMs;
    if (!packet.video)
        return waited;
    const auto newest = std::find_if(m_frames.rbegin(), m_frames.rend(), [](const Packet& p) { return p.video; });
    if (newest == m_frames.rend())
        return waited;
    int64_t span = 0;
    if (newest->v.utcMs && packet.v.utcMs)
        span = int64_t(newest->v.utcMs - packet.v.utcMs);
    else
        span = int64_t(m_frames.size()) * 1000 / (packet.v.fps ? packet.v.fps : 25);
    return std::max(waited, span >= 0 && span <= kLongestSpanMs ? span : 0);
}

} // namespace lumo
