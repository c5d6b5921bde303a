#include "Sending.h"

namespace lumo::net
{

Sending::Sending(int handle, int handleReturnMs, LumoSendFileCallback fnEnd, intptr_t user, Run run,
                 std::function<void(int)> finished)
    : BackgroundTask(handleReturnMs), m_handle(handle), m_end(fnEnd), m_user(user), m_run(std::move(run)),
      m_finished(std::move(finished))
{
}

void Sending::work()
{
    const int error = errorAfter(m_run(cancelFlag()));
    if (m_end && !silent())
        m_end(m_handle, error == 0 ? 1 : 0, error, 0, m_user);
    if (!silent())
        m_finished(m_handle);
}

} // namespace lumo::net
