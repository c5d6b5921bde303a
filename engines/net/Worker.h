// The thread of a transfer: begins its work when the handle has been returned, and is joined when that is stopped.
//
// A call cannot see its own return, so the thread waits a moment after release(): whoever gets the first callback has
// the handle by then.
// Thread: release and stop from any, the worker's own included.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace lumo::net
{

class Worker
{
public:
    ~Worker() { stop(); }

    /// work keeps its owner alive: it may be let go from a callback.
    void start(int afterReleaseMs, std::function<void()> work)
    {
        m_thread = std::thread([this, afterReleaseMs, work = std::move(work)] {
            m_id = std::this_thread::get_id();
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [this] { return m_released || m_stopping; });
                m_changed.wait_for(lock, std::chrono::milliseconds(afterReleaseMs), [this] { return m_stopping; });
                if (m_stopping)
                    return;
            }
            work();
        });
    }
    void release()
    {
        std::lock_guard lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }
    void beginStop()
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }
    /// The work must have been told to end. A callback that stops its own transfer does not wait for itself.
    void stop()
    {
        beginStop();
        finish();
    }
    /// Waits until the work has come to its own end. It must have been released.
    void finish()
    {
        if (m_thread.joinable() && !isThisThread())
            m_thread.join();
        else if (m_thread.joinable())
            m_thread.detach();
    }
    bool isThisThread() const { return m_id.load() == std::this_thread::get_id(); }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_released = false, m_stopping = false; // m_mutex
    std::atomic<std::thread::id> m_id{};
    std::thread m_thread;
};

} // namespace lumo::net
