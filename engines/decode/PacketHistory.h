// What a pushed playback has given to its decoder lately, so that it can be decoded once more: whole groups of
// pictures, bounded in bytes, and in which order their pictures came out.
// Thread: the owner's lock guards it.
#pragma once

#include "Packet.h"

#include <deque>
#include <optional>

namespace lumo
{

class PacketHistory
{
public:
    explicit PacketHistory(size_t limitBytes = 16u << 20) : m_limit(limitBytes) {}

    /// A picture's frame; its serial is one above the last one's.
    void push(Packet&& packet);
    void clear() { *this = PacketHistory(m_limit); }

    /// The picture's place among those that came out; the next one when it comes out for the first time. -1 when its
    /// frame is gone.
    int64_t orderOnOutput(int64_t serial);
    /// The pictures from this frame on count as not come out yet.
    void countAnew(int64_t serial);
    /// -1 when it did not come out yet or is gone.
    int64_t orderOf(int64_t serial) const;
    std::optional<int64_t> keyFor(int64_t order) const;

    /// Null when it is gone, or not there yet.
    const Packet* frame(int64_t serial) const;

private:
    struct Entry {
        Packet packet;
        int64_t order = -1;
    };
    const Entry* entry(int64_t serial) const;
    void dropOldestGroup();

    std::deque<Entry> m_entries;
    size_t m_limit;
    size_t m_bytes = 0;
    int64_t m_first = 0; // serial of the oldest
    int64_t m_nextOrder = 0;
};

} // namespace lumo
