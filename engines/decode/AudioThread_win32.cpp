// A thread in the multithreaded apartment of COM. While it lives every thread of the process that has no apartment of
// its own is taken to be in that one too, so a device may be closed on any of them. SDL joins COM where it is started
// and leaves it where it is left; on a thread of the program that would take away what that thread has joined itself.
#include "AudioThread.h"

#include <objbase.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace lumo
{
namespace
{

class ComThread final : public AudioThread
{
public:
    ComThread() : m_thread(&ComThread::loop, this) {}
    ~ComThread() override
    {
        {
            std::lock_guard guard(m_lock);
            m_ends = true;
        }
        m_change.notify_all();
        m_thread.join();
    }

    void run(const std::function<void()>& work) override
    {
        std::unique_lock guard(m_lock);
        m_work = &work;
        m_change.notify_all();
        m_change.wait(guard, [this] { return !m_work; });
    }

private:
    void loop();

    std::mutex m_lock;
    std::condition_variable m_change;
    const std::function<void()>* m_work = nullptr; // null when it is done
    bool m_ends = false;
    std::thread m_thread; // last: it uses all of the others
};

void ComThread::loop()
{
    const bool joined = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    std::unique_lock guard(m_lock);
    for (;;) {
        m_change.wait(guard, [this] { return m_work || m_ends; });
        if (!m_work)
            break;
        (*m_work)();
        m_work = nullptr;
        m_change.notify_all();
    }
    if (joined)
        CoUninitialize();
}

} // namespace

std::shared_ptr<AudioThread> sharedAudioThread()
{
    static std::mutex lock;
    static std::weak_ptr<AudioThread> kept;
    std::lock_guard guard(lock);
    auto thread = kept.lock();
    if (!thread) {
        thread = std::make_shared<ComThread>();
        kept = thread;
    }
    return thread;
}

} // namespace lumo
