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

void Faults::setReplayFault(ReplayFault fault, int afterPictures)
{
    m_replayLeft = fault == ReplayFault::None ? -1 : afterPictures;
    m_replayFault = fault;
}

Faults::ReplayFault Faults::notePicture()
{
    for (int left = m_replayLeft; left > 0;) {
        if (m_replayLeft.compare_exchange_weak(left, left - 1)) {
            return ReplayFault::None;
        }
    }
    return replayFault();
}

void Faults::clear()
{
    setReplayFault(ReplayFault::None, -1);
    m_commandFault = CommandFault::None;
    m_uploadFault = UploadFault::None;
    m_eventFault = EventFault::None;
    m_answerDelayMs = 0;
    for (auto& frozen : m_frozen) {
        frozen = false;
    }
    m_refuse = false;
    setSilent(false);
}

} // namespace lumo::recorder
