#include "PushedSource.h"

#include "Clock.h"

#include <algorithm>
#include <utility>

namespace lumo
{
namespace
{

constexpr int64_t kInputWaitMs = 500;
constexpr size_t kMostBytes = 64u << 20; // what a paused port takes

} // namespace

// ---- input

void PushedSource::input(const uint8_t* data, size_t size)
{
    std::lock_guard inputGuard(m_inputLock);
    unsigned generation = 0;
    {
        std::lock_guard guard(m_lock);
        if (m_stop)
            return;
        generation = m_generation;
    }
    if (generation != m_parsed) {
        m_parser.clear(); // a half frame from before
        m_times.restart(kNoTime);
    }
    m_parsed = generation;
    m_parser.push(data, size, [&](Packet&& packet) {
        if (packet.video && packet.v.flags & kFlagNewPosition)
            m_times.restart(kNoTime);
        if (packet.video)
            m_times.picture(packet.timeMs);
        else
            packet.timeMs = m_times.sound(packet);
        enqueue(std::move(packet), generation);
    });
}

void PushedSource::enqueue(Packet&& packet, unsigned generation)
{
    {
        std::unique_lock guard(m_lock);
        const bool begins = packet.video && (packet.v.flags & kFlagNewPosition) != 0;
        const auto gone = [&] { return m_stop || m_generation != generation; };
        if (begins) {
            m_begun = m_generation == generation; // else the room was made while this block was on its way
            throwAway();
        } else if (!m_queue.hasRoom(packet.wholeSize)) {
            m_room.wait_for(guard, std::chrono::milliseconds(kInputWaitMs),
                            [&] { return gone() || m_queue.hasRoom(packet.wholeSize); });
        }
        if (m_stop || (gone() && !begins))
            return; // the rest of this block belongs to the old position
        m_lastInputMs = nowMs();
        m_queue.push(std::move(packet), kMostBytes);
    }
    m_news();
}

int64_t PushedSource::lastInputMs()
{
    std::lock_guard guard(m_lock);
    return m_lastInputMs;
}

int PushedSource::waitingBytes()
{
    std::lock_guard guard(m_lock);
    return int(std::min<size_t>(m_queue.bytes(), INT32_MAX));
}

/// After a seek the first pictures of the new position may be here before this call: they stay.
bool PushedSource::forget()
{
    std::lock_guard guard(m_lock);
    if (std::exchange(m_begun, false))
        return true;
    throwAway();
    ++m_generation;
    m_room.notify_all();
    return true;
}

/// Under m_lock.
void PushedSource::throwAway()
{
    m_queue.clear();
    m_history.clear();
    m_replay = -1;
    m_forgotten = true;
}

void PushedSource::stop()
{
    std::lock_guard guard(m_lock);
    m_stop = true;
    m_room.notify_all();
}

// ---- the port's thread

MediaSource::Got PushedSource::next(Packet& packet)
{
    std::lock_guard guard(m_lock);
    if (m_forgotten)
        return Got::Later; // what is in the decoder belongs to the old position still
    if (m_replay >= 0) {
        if (const Packet* again = m_history.frame(m_replay)) {
            packet = sharePacket(*again);
            ++m_replay;
            return Got::Frame;
        }
        m_replay = -1;
    }
    auto fresh = m_queue.pop();
    if (!fresh)
        return Got::Later;
    m_room.notify_all();
    packet = std::move(*fresh);
    if (packet.video) {
        packet.serial = m_nextSerial++;
        m_history.push(sharePacket(packet));
    }
    return Got::Frame;
}

void PushedSource::countAnew(int64_t serial)
{
    std::lock_guard guard(m_lock);
    m_history.countAnew(serial);
}

bool PushedSource::takeForgotten()
{
    std::lock_guard guard(m_lock);
    return std::exchange(m_forgotten, false);
}

std::optional<Packet> PushedSource::soundAhead(int64_t untilMs)
{
    std::lock_guard guard(m_lock);
    return m_queue.soundAhead(untilMs);
}

void PushedSource::complete(Picture& picture)
{
    std::lock_guard guard(m_lock);
    picture.order = m_history.orderOnOutput(picture.serial);
}

std::optional<int64_t> PushedSource::keyFor(int64_t order)
{
    std::lock_guard guard(m_lock);
    return m_history.keyFor(order);
}

int64_t PushedSource::orderOf(int64_t serial)
{
    std::lock_guard guard(m_lock);
    return m_history.orderOf(serial);
}

bool PushedSource::rewind(int64_t serial)
{
    std::lock_guard guard(m_lock);
    if (!m_history.frame(serial))
        return false;
    m_replay = serial;
    return true;
}

} // namespace lumo
