#include "Faults.h"

namespace lumo::recorder
{

void Faults::setSilent(bool on)
{
    std::lock_guard lock(m_mutex);
    m_silent = on;
    m_changed.notify_all();
}

void Faults::waitWhileSilent()
{
    if (!m_silent) {
        return;
    }
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_silent.load(); });
}

void Faults::clear()
{
    for (auto& frozen : m_frozen) {
        frozen = false;
    }
    m_refuse = false;
    setSilent(false);
}

} // namespace lumo::recorder
