#include "Opening.h"

namespace lumo::net
{

RtspOptions optionsFor(const StreamSource& source, int timeoutMs)
{
    RtspOptions options;
    options.url = source.url;
    options.address = source.address;
    options.user = source.user;
    options.password = source.password;
    options.udp = source.udp;
    options.timeoutMs = timeoutMs;
    return options;
}

void release(IoLoop& loop, std::shared_ptr<RtspSession>& session)
{
    if (session)
        loop.releaseLater(std::move(session));
    session.reset();
}

int Opening::wait()
{
    std::unique_lock lock(m_mutex);
    m_finished.wait(lock, [this] { return m_result.has_value(); });
    return *m_result;
}

void Opening::finish(int error)
{
    std::lock_guard lock(m_mutex);
    if (m_result)
        return;
    m_result = error;
    m_finished.notify_all();
}

bool Opening::pending() const
{
    std::lock_guard lock(m_mutex);
    return !m_result;
}

int64_t Opening::askAgainAt(int rtspStatus)
{
    if (rtspStatus != 503 || !pending() || --m_tries < 0)
        return -1;
    return IoLoop::nowMs() + m_pauseMs;
}

} // namespace lumo::net
