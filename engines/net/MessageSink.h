// Whom the program wants to be told of alarms: one callback for all logins, which may be set before the first.
// Thread: any.
#pragma once

#include "device/LumoNet.h"

#include <mutex>

namespace lumo::net
{

class MessageSink
{
public:
    /// When it returns, the former callback is not running and will not run again.
    void set(LumoMessageCallback fn, void* user)
    {
        std::lock_guard lock(m_mutex);
        m_fn = fn;
        m_user = user;
    }
    void tell(int login, LumoAlarmMessage message)
    {
        std::lock_guard lock(m_mutex);
        if (m_fn)
            m_fn(login, reinterpret_cast<char*>(&message), sizeof message, m_user, LUMO_MESSAGE_ALARM);
    }

private:
    std::recursive_mutex m_mutex; // held while the callback runs, which may set another
    LumoMessageCallback m_fn = nullptr;
    void* m_user = nullptr;
};

/// The library's one.
MessageSink& messageSink();

} // namespace lumo::net
