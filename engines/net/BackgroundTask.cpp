#include "BackgroundTask.h"

#include <chrono>

namespace lumo::net
{

int BackgroundTask::open()
{
    std::lock_guard lock(m_mutex);
    if (m_silent || m_logoutError != 0)
        return LUMONET_ERR_NOT_LOGGED_IN;
    m_worker.start(m_handleReturnMs, [self = shared_from_this(), this] { work(); });
    return 0;
}

/// A device that is lost is left to the transfer itself: one that writes its firmware answers nobody else.
void BackgroundTask::cancelOpen(int error)
{
    std::lock_guard lock(m_mutex);
    if (error != LUMONET_ERR_NOT_LOGGED_IN)
        return;
    m_logoutError = error;
    raiseCancel();
}

void BackgroundTask::beginStop()
{
    std::lock_guard lock(m_mutex);
    raiseCancel();
    if (m_logoutError != 0) {
        m_worker.release(); // its last callback is still to come
        return;
    }
    m_silent = true;
    m_worker.beginStop();
}

void BackgroundTask::finishStop()
{
    if (m_logoutError != 0)
        m_worker.finish();
    else
        m_worker.stop();
}

void BackgroundTask::raiseCancel()
{
    *m_cancel = true;
    m_raised.notify_all();
}

bool BackgroundTask::wait(int ms)
{
    std::unique_lock lock(m_mutex);
    return !m_raised.wait_for(lock, std::chrono::milliseconds(ms), [this] { return canceled(); });
}

} // namespace lumo::net
