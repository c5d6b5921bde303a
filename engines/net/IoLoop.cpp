#include "IoLoop.h"

#include <algorithm>
#include <chrono>

namespace lumo::net
{
namespace
{

// Room for the largest RTSP message, or a key frame's worth of interleaved packets in one call.
constexpr size_t kScratchSize = 512 * 1024;

} // namespace

IoLoop::IoLoop() : m_scratch(kScratchSize)
{
    initSockets();
    const size_t slot = m_poll.add(m_waker.handle(), true, false);
    m_handlers.resize(slot + 1, nullptr);
    m_handles.resize(slot + 1, -1);
    m_thread = std::thread([this] { run(); });
}

IoLoop::~IoLoop()
{
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_waker.wake();
    m_thread.join();
}

int64_t IoLoop::nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void IoLoop::post(std::function<void()> task)
{
    {
        std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(task));
    }
    m_waker.wake();
}

size_t IoLoop::watch(intptr_t handle, bool read, bool write, IoHandler* handler)
{
    const size_t slot = m_poll.add(handle, read, write);
    if (slot >= m_handlers.size()) {
        m_handlers.resize(slot + 1, nullptr);
        m_handles.resize(slot + 1, -1);
    }
    m_handlers[slot] = handler;
    m_handles[slot] = handle;
    return slot;
}

void IoLoop::unwatch(size_t slot)
{
    m_poll.remove(slot);
    m_handlers[slot] = nullptr;
}

void IoLoop::addTimed(std::shared_ptr<IoTimed> timed)
{
    wakeBy(timed->due());
    m_timed.push_back(std::move(timed));
}

void IoLoop::removeTimed(const IoTimed* timed)
{
    const auto found = std::find_if(m_timed.begin(), m_timed.end(), [&](const auto& t) { return t.get() == timed; });
    if (found == m_timed.end())
        return;
    m_released.push_back(std::move(*found));
    m_timed.erase(found);
}

void IoLoop::wakeBy(int64_t dueMs)
{
    if (dueMs >= 0 && (m_nextDue < 0 || dueMs < m_nextDue))
        m_nextDue = dueMs;
}

void IoLoop::runPosted()
{
    std::vector<std::function<void()>> tasks;
    {
        std::lock_guard lock(m_mutex);
        tasks.swap(m_posted);
    }
    for (const auto& task : tasks)
        task();
}

void IoLoop::runTimed(int64_t now)
{
    if (m_nextDue < 0 || now < m_nextDue)
        return;
    m_nextDue = -1;
    const auto timed = m_timed; // a deadline may end its owner
    for (const auto& t : timed)
        if (const int64_t due = t->due(); due >= 0 && due <= now)
            t->onTime(now);
    for (const auto& t : m_timed)
        wakeBy(t->due());
}

void IoLoop::runSockets(int64_t now)
{
    if (m_poll.readable(0)) {
        m_waker.drain();
        runPosted();
    }
    const size_t count = m_poll.size();
    for (size_t slot = 1; slot < count; ++slot) {
        const bool readable = m_poll.readable(slot), writable = m_poll.writable(slot);
        if (m_handlers[slot] && (readable || writable))
            m_handlers[slot]->onIo(m_handles[slot], readable, writable, now);
    }
}

void IoLoop::run()
{
    while (true) {
        {
            std::lock_guard lock(m_mutex);
            if (m_stop)
                break;
        }
        int timeout = -1;
        if (m_nextDue >= 0)
            timeout = int(std::clamp<int64_t>(m_nextDue - nowMs(), 0, 60000));
        if (m_poll.wait(timeout))
            runSockets(nowMs());
        runTimed(nowMs());
        m_released.clear();
    }
    // What was posted last ends sessions; their sockets must go before the loop does.
    runPosted();
    m_timed.clear();
    m_released.clear();
}

} // namespace lumo::net
