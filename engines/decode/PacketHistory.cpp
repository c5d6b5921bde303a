#include "PacketHistory.h"

#include <algorithm>

namespace lumo
{

void PacketHistory::push(Packet&& packet)
{
    if (m_entries.empty()) {
        if (!packet.isKey())
            return; // nothing could be decoded from here
        m_first = packet.serial;
    }
    m_bytes += packet.wholeSize;
    m_entries.push_back({std::move(packet)});
    while (m_bytes > m_limit && !m_entries.empty())
        dropOldestGroup();
}

void PacketHistory::dropOldestGroup()
{
    do {
        m_bytes -= m_entries.front().packet.wholeSize;
        m_entries.pop_front();
        ++m_first;
    } while (!m_entries.empty() && !m_entries.front().packet.isKey());
}

const PacketHistory::Entry* PacketHistory::entry(int64_t serial) const
{
    const int64_t at = serial - m_first;
    return at >= 0 && at < int64_t(m_entries.size()) ? &m_entries[size_t(at)] : nullptr;
}

int64_t PacketHistory::orderOnOutput(int64_t serial)
{
    auto* found = const_cast<Entry*>(entry(serial));
    if (!found)
        return -1;
    if (found->order < 0)
        found->order = m_nextOrder++;
    return found->order;
}

void PacketHistory::countAnew(int64_t serial)
{
    for (int64_t at = std::max<int64_t>(0, serial - m_first); at < int64_t(m_entries.size()); ++at) {
        int64_t& order = m_entries[size_t(at)].order;
        if (order >= 0)
            m_nextOrder = std::min(m_nextOrder, order);
        order = -1;
    }
}

int64_t PacketHistory::orderOf(int64_t serial) const
{
    const Entry* found = entry(serial);
    return found ? found->order : -1;
}

/// The last key frame that is shown no later than the picture: pictures that are shown before their own key frame need
/// the group before.
std::optional<int64_t> PacketHistory::keyFor(int64_t order) const
{
    bool met = false;
    for (auto it = m_entries.rbegin(); it != m_entries.rend() && order >= 0; ++it) {
        met |= it->order == order;
        if (met && it->packet.isKey() && it->order >= 0 && it->order <= order)
            return it->packet.serial;
    }
    return std::nullopt;
}

const Packet* PacketHistory::frame(int64_t serial) const
{
    const Entry* found = entry(serial);
    return found ? &found->packet : nullptr;
}

} // namespace lumo
