#include "Sending.h"

namespace lumo::net
{

int BackgroundTask::open()
{
    std::lock_guard lock(m_startMutex);
    if (m_silent || m_logoutError != 0)
        return LUMONET_ERR_NOT_LOGGED_IN;
    m_worker.start(m_handleReturnMs, [self = shared_from_this(), this] { work(); });
    return 0;
}

/// A device that is lost is left to the transfer itself: one that writes its firmware answers nobody else.
void BackgroundTask::cancelOpen(int error)
{
    std::lock_guard lock(m_startMutex);
    if (error != LUMONET_ERR_NOT_LOGGED_IN)
        return;
    m_logoutError = error;
    *m_cancel = true;
}

void BackgroundTask::beginStop()
{
    std::lock_guard lock(m_startMutex);
    *m_cancel = true;
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

Sending::Sending(int handle, int handleReturnMs, LumoSendFileCallback fnEnd, intptr_t user, Run run,
                 std::function<void(int)> finished)
    : BackgroundTask(handleReturnMs), m_handle(handle), m_end(fnEnd), m_user(user), m_run(std::move(run)),
      m_finished(std::move(finished))
{
}

void Sending::work()
{
    const int error = errorAfter(m_run(m_cancel));
    if (m_end && !silent())
        m_end(m_handle, error == 0 ? 1 : 0, error, 0, m_user);
    if (!silent())
        m_finished(m_handle);
}

} // namespace lumo::net
