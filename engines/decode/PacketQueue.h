// The frames of one port that wait to be decoded, in order, bounded in bytes.
// Thread: the owner's lock guards it.
#pragma once

#include "Packet.h"

#include <deque>
#include <optional>

namespace lumo
{

class PacketQueue
{
public:
    explicit PacketQueue(size_t limitBytes) : m_limit(limitBytes) {}

    /// Whether size more bytes stay within bytes.
    bool hasRoom(size_t size, size_t bytes) const { return m_frames.empty() || m_cost + size + kOverhead <= bytes; }
    bool hasRoom(size_t size) const { return hasRoom(size, m_limit); }

    /// Takes the frame. When it does not fit within bytes, the oldest groups of pictures go; when nothing is left of
    /// them, everything up to the next key frame does.
    void push(Packet&& packet, size_t bytes);
    void push(Packet&& packet) { push(std::move(packet), m_limit); }

    std::optional<Packet> pop();
    /// The first sound that was not asked for yet, when it begins up to untilMs or nobody knows when; it stays.
    std::optional<Packet> soundAhead(int64_t untilMs);
    void clear();

    bool hasVideo() const;
    bool empty() const { return m_frames.empty(); }
    size_t bytes() const { return m_bytes; }

    /// How far a frame with this arrival and time lies behind the newest one that waits: by the time it waited, and by
    /// the time that lies between the pictures, whichever is longer.
    int64_t backlogMs(const Packet& packet, int64_t nowMs) const;

private:
    static constexpr size_t kOverhead =
        256; // what an entry costs beside its bytes: a flood of empty frames is bounded, too

    void dropFront();
    void dropOldestGroup();

    std::deque<Packet> m_frames;
    size_t m_limit;
    size_t m_bytes = 0; // as received
    size_t m_cost = 0;  // with what each entry costs
    size_t m_heard = 0; // frames at the front whose sound was asked for
    bool m_needKey = false;
};

} // namespace lumo
