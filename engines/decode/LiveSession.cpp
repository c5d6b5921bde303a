#include "LiveSession.h"

#include "Clock.h"

#include <algorithm>

namespace lumo
{
LiveSession::LiveSession(const Setup& setup, size_t bufferBytes, PortSettings& settings, SoundSlot& sound)
    : Playing(setup, settings, sound), m_queue(bufferBytes)
{
    start();
}

void LiveSession::pause(bool paused)
{
    std::lock_guard guard(m_lock);
    m_paused = paused;
    m_work.notify_all();
}

int LiveSession::waitingBytes()
{
    std::lock_guard guard(m_lock);
    return int(std::min<size_t>(m_queue.bytes(), INT32_MAX));
}

// ---- input

void LiveSession::input(const uint8_t* data, size_t size)
{
    std::lock_guard inputGuard(m_inputLock);
    if (stopped())
        return;
    m_parser.push(data, size, [&](Packet&& packet) { enqueue(std::move(packet)); });
}

void LiveSession::enqueue(Packet&& packet)
{
    std::lock_guard guard(m_lock);
    if (m_stop)
        return;
    m_lastInputMs = nowMs();
    m_queue.push(std::move(packet));
    m_work.notify_all();
}

// ---- the port's thread

bool LiveSession::turn()
{
    std::unique_lock guard(m_lock);
    if (m_woken) {
        m_woken = false;
        guard.unlock();
        m_screen.update();
    } else if (!m_queue.empty()) {
        take(guard);
    } else {
        idle(guard);
    }
    return true;
}

void LiveSession::take(std::unique_lock<std::mutex>& guard)
{
    Packet packet = *m_queue.pop();
    auto verdict = LiveRule::Verdict::Show;
    if (packet.video)
        verdict = m_rule.judge(packet.isKey(), m_queue.backlogMs(packet, nowMs()), !m_queue.hasVideo());
    if (m_paused && verdict == LiveRule::Verdict::Show)
        verdict = LiveRule::Verdict::DecodeOnly; // a paused port holds its picture and stays up to date
    guard.unlock();
    record(packet);
    if (packet.video)
        handleVideo(packet, verdict);
    else
        handleSound(packet);
}

/// Waits for something to do; when the input has been idle for a while, what the decoder holds back comes out.
void LiveSession::idle(std::unique_lock<std::mutex>& guard)
{
    const bool paused = m_paused;
    const auto something = [&] { return m_stop || m_woken || !m_queue.empty() || m_paused != paused; };
    if (!m_decoder.holds() || m_paused) {
        m_work.wait(guard, something);
        return;
    }
    const auto left = std::chrono::milliseconds(std::max<int64_t>(0, m_lastInputMs + kDrainMs - nowMs()));
    if (m_work.wait_for(guard, left, something) || nowMs() - m_lastInputMs < kDrainMs)
        return;
    guard.unlock();
    m_decoder.drain([&](Picture&& picture) {
        if (!picture.decodeOnly)
            m_screen.show(std::move(picture));
    });
}

void LiveSession::handleVideo(const Packet& packet, LiveRule::Verdict verdict)
{
    if (verdict == LiveRule::Verdict::Skip)
        return;
    m_decoder.decode(packet, [&](Picture&& picture) {
        if (verdict == LiveRule::Verdict::Show && !picture.decodeOnly)
            m_screen.show(std::move(picture));
    });
}

void LiveSession::handleSound(const Packet& packet)
{
    onSound([&](SoundStream& stream) { stream.push(m_audio.decode(packet)); });
}

} // namespace lumo
