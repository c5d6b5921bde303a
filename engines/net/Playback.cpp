#include "Playback.h"

#include "Log.h"

#include <algorithm>

namespace lumo::net
{
namespace
{

constexpr int64_t kStallMs = 300;      // a callback that took longer was made to wait
constexpr int kStallsUntilRest = 20;   // so often in a row, and its window stands still
constexpr int kEnteredMs = 100;        // how long a callback of the old position may be under way after a seek
constexpr int kWaitMs = 1000;          // between two looks for nothing
constexpr int64_t kCountedBlockMs = 5; // a callback this quick did not wait

} // namespace

Playback::Playback(IoLoop& loop, int handle, ReplaySpan span, int64_t beginMs, const Timings& timings,
                   Callbacks callbacks, std::function<bool()> lost)
    : m_handle(handle), m_beginMs(beginMs), m_endMs(span.endMs), m_timings(timings), m_callbacks(callbacks),
      m_lost(lost), m_feed(std::make_shared<ReplayFeed>(loop, std::move(span), timings, lost))
{
}

Playback::~Playback()
{
    beginStop();
}

int Playback::open()
{
    const int error = m_feed->open();
    if (error == 0)
        m_worker.start(m_timings.handleReturnMs, [self = shared_from_this(), this] { work(); });
    return error;
}

void Playback::beginStop()
{
    if (m_stopped.exchange(true))
        return; // the loop may be gone by the second time
    m_worker.beginStop();
    m_feed->close();
}

void Playback::work()
{
    ReplayQueue& queue = m_feed->queue();
    while (!queue.closed()) {
        ReplayItem item;
        switch (queue.pop(item, kWaitMs)) {
        case ReplayQueue::Got::Item:
            m_feed->taken();
            deliver(item);
            break;
        case ReplayQueue::Got::End:
            if (!atEnd())
                break;
            if (queue.error() != 0)
                log("playback " + std::to_string(m_handle) + " ended early: " + errorText(queue.error()));
            if (m_callbacks.position) {
                const long total = long(std::max<int64_t>((m_endMs - m_beginMs) / 1000, 1));
                m_callbacks.position(m_handle, total, total, m_callbacks.positionUser);
            }
            break;
        case ReplayQueue::Got::Nothing:
            break;
        }
    }
}

/// Waits a part of what is left until the last picture has been shown; true once, when its time has passed.
bool Playback::atEnd()
{
    const uint64_t epoch = m_feed->queue().epoch();
    int64_t left = kWaitMs;
    {
        std::lock_guard lock(m_mutex);
        if (!m_ended) {
            left = m_clock.leftMs(IoLoop::nowMs());
            if (left == 0 && !m_feed->queue().closed() && epoch == m_feed->queue().epoch()) {
                m_ended = true;
                return true;
            }
        }
    }
    m_feed->queue().rest(int(left < 0 ? kWaitMs : std::clamp<int64_t>(left, 1, kWaitMs)));
    return false;
}

void Playback::deliver(const ReplayItem& item)
{
    {
        std::lock_guard lock(m_mutex);
        if (item.epoch != m_feed->queue().epoch() || m_feed->queue().closed())
            return; // of before a seek
        m_inCallback = true;
    }
    const int64_t before = IoLoop::nowMs();
    if (m_callbacks.data)
        m_callbacks.data(m_handle, item.type, const_cast<uint8_t*>(item.bytes.data()), long(item.bytes.size()),
                         m_callbacks.dataUser);
    const int64_t now = IoLoop::nowMs(), took = now - before;
    {
        std::lock_guard lock(m_mutex);
        m_inCallback = false;
        m_changed.notify_all();
        if (m_clockEpoch != item.epoch) {
            m_clockEpoch = item.epoch;
            m_clock.restart();
        }
        if (item.type != LUMO_FRAME_AUDIO && !item.decodeOnly)
            m_clock.picture(item.utcMs, now, took > kCountedBlockMs ? took : 0);
    }
    rest(took);
}

void Playback::rest(int64_t blockedMs)
{
    if (m_moved.exchange(false) || blockedMs < kStallMs) {
        m_stalls = 0;
        return;
    }
    if (++m_stalls < kStallsUntilRest)
        return;
    const int doublings = std::min(m_stalls - kStallsUntilRest, 8);
    m_feed->queue().rest(std::min(int(kStallMs) << doublings, m_timings.maxStallPauseMs));
    std::lock_guard lock(m_mutex);
    m_clock.skipTo(IoLoop::nowMs());
}

int Playback::control(int action, int value)
{
    if (m_lost())
        return LUMONET_ERR_TIMEOUT;
    const int64_t now = IoLoop::nowMs();
    if (action == LUMO_PLAY_PAUSE) {
        const int error = m_feed->pause();
        std::lock_guard lock(m_mutex);
        if (error == 0)
            m_clock.setPaused(true, now);
        return error;
    }
    if (action < LUMO_PLAY_PAUSE || action > LUMO_PLAY_SLOW || (action > LUMO_PLAY_SEEK && (value < 0 || value > 4)))
        return LUMONET_ERR_ARGUMENT;
    int error = 0;
    if (action == LUMO_PLAY_RESUME)
        error = m_feed->resume();
    else if (action == LUMO_PLAY_SEEK)
        error = seek(value);
    else
        error = setSpeed(action == LUMO_PLAY_FAST ? double(1 << value) : 1.0 / double(1 << value));
    if (error != 0)
        return error;
    {
        std::lock_guard lock(m_mutex);
        m_clock.setPaused(false, now);
    }
    m_moved = true;
    m_feed->queue().wake();
    return 0;
}

int Playback::setSpeed(double speed)
{
    const int error = m_feed->setScale(speed);
    std::lock_guard lock(m_mutex);
    if (error == 0)
        m_clock.setSpeed(speed, IoLoop::nowMs());
    return error;
}

int Playback::seek(int seconds)
{
    const int64_t to = m_beginMs + int64_t(seconds) * 1000;
    if (seconds < 0 || to >= m_endMs)
        return LUMONET_ERR_ARGUMENT;
    const int error = m_feed->seek(to);
    // A callback of the old position that has been called is waited for, as long as it is quick; none begins any more.
    std::unique_lock lock(m_mutex);
    if (error == 0)
        m_ended = false;
    if (!m_worker.isThisThread())
        m_changed.wait_for(lock, std::chrono::milliseconds(kEnteredMs), [this] { return !m_inCallback; });
    return error;
}

} // namespace lumo::net
