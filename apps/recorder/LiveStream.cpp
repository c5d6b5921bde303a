#include "LiveStream.h"

#include <glib.h>

namespace lumo::recorder
{

LiveStream::LiveStream(ClipStore& store, int channel, int stream)
    : channel(channel), stream(stream), m_store(store), m_loopFrames(store.loopFrames(channel, stream)),
      m_slots(std::make_unique<Slot[]>(static_cast<size_t>(m_loopFrames)))
{
}

FrameNote LiveStream::advance()
{
    if (m_jump.exchange(false)) {
        const int key = clip()->nextKey(m_position);
        m_loop += key < m_position ? 1 : 0;
        m_position = key;
    }
    const FrameNote now{m_position, m_loop, 0};
    if (++m_position >= m_loopFrames) {
        m_position = 0;
        ++m_loop;
    }
    return now;
}

// The time goes in last: a reader that sees it sees the loop that belongs to it or a newer one.
void LiveStream::noteLeft(const FrameNote& f)
{
    Slot& slot = m_slots[static_cast<size_t>(f.frame)];
    slot.loop = f.loop;
    slot.leftUs = g_get_real_time();
    m_newest = f.frame;
}

void LiveStream::setWaiting(const FrameNote& f)
{
    m_waitingLoop = f.loop;
    m_waiting = f.frame;
}

void LiveStream::noteWaitingLeft()
{
    const int frame = m_waiting.exchange(-1);
    if (frame >= 0) {
        noteLeft({frame, m_waitingLoop, 0});
    }
}

std::optional<FrameNote> LiveStream::lastLeft(int frame) const
{
    if (frame < 0 || frame >= m_loopFrames || m_slots[static_cast<size_t>(frame)].leftUs == 0) {
        return std::nullopt;
    }
    const Slot& slot = m_slots[static_cast<size_t>(frame)];
    return FrameNote{frame, slot.loop, slot.leftUs};
}

std::optional<FrameNote> LiveStream::newest() const
{
    return lastLeft(m_newest);
}

} // namespace lumo::recorder
