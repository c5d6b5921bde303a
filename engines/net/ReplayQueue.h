// Frames between the I/O loop, which must not wait, and a replay's own thread, which may be made to. The loop asks how
// full it is and stops reading; the queue itself turns nothing away.
//
// Thread: any; everything is behind one lock.
#pragma once

#include "device/LumoNet.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace lumo::net
{

struct ReplayItem {
    std::vector<uint8_t> bytes; // one whole frame
    int type = LUMO_FRAME_OTHER;
    int64_t utcMs = 0;       // the device's
    bool decodeOnly = false; // before the instant that was asked for
    uint64_t epoch = 0;      // set by pop(): how often the queue had been cleared
};

class ReplayQueue
{
public:
    enum class Got { Item, End, Nothing };

    void push(ReplayItem&& item)
    {
        std::lock_guard lock(m_mutex);
        m_bytes += item.bytes.size();
        m_items.push_back(std::move(item));
        m_changed.notify_all();
    }
    /// Nothing comes after what is in it. error: 0, or why.
    void end(int error)
    {
        std::lock_guard lock(m_mutex);
        m_ended = true;
        m_error = error;
        m_changed.notify_all();
    }
    /// Throws all away, the end too.
    void clear()
    {
        std::lock_guard lock(m_mutex);
        m_items.clear();
        m_bytes = 0;
        m_ended = false;
        ++m_epoch;
        ++m_wakes; // whoever waits for the end's time does so in vain
        m_changed.notify_all();
    }
    uint64_t epoch() const
    {
        std::lock_guard lock(m_mutex);
        return m_epoch;
    }
    /// Wakes whoever waits, now and later.
    void close()
    {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        m_items.clear();
        m_changed.notify_all();
    }
    void wake()
    {
        std::lock_guard lock(m_mutex);
        ++m_wakes;
        m_changed.notify_all();
    }
    bool closed() const
    {
        std::lock_guard lock(m_mutex);
        return m_closed;
    }
    size_t bytes() const
    {
        std::lock_guard lock(m_mutex);
        return m_bytes;
    }
    size_t count() const
    {
        std::lock_guard lock(m_mutex);
        return m_items.size();
    }
    int error() const
    {
        std::lock_guard lock(m_mutex);
        return m_error;
    }
    /// Waits for the next item. End comes again and again until clear().
    Got pop(ReplayItem& item, int waitMs)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(waitMs),
                           [this] { return m_closed || m_ended || !m_items.empty(); });
        if (m_closed || (m_items.empty() && !m_ended))
            return Got::Nothing;
        if (m_items.empty())
            return Got::End;
        item = std::move(m_items.front());
        m_items.pop_front();
        m_bytes -= item.bytes.size();
        item.epoch = m_epoch;
        return Got::Item;
    }
    /// Waits unless woken or closed: for a pause between two items, or the time after the last one.
    void rest(int waitMs)
    {
        std::unique_lock lock(m_mutex);
        const int before = m_wakes;
        m_changed.wait_for(lock, std::chrono::milliseconds(waitMs), [&] { return m_closed || m_wakes != before; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<ReplayItem> m_items;
    size_t m_bytes = 0;
    uint64_t m_epoch = 0;
    int m_error = 0, m_wakes = 0;
    bool m_ended = false, m_closed = false;
};

} // namespace lumo::net
