#include "Session.h"

#include "Clock.h"

#include <algorithm>
#include <exception>

namespace lumo
{
namespace
{

constexpr int64_t kInputWaitMs = 500;
constexpr int64_t kDrainMs = 500;
constexpr size_t kPlaybackBytes = 64u << 20; // what a paused playback port takes at most
constexpr int64_t kGapMs = 2000;             // a wider gap between two pictures is not waited for

} // namespace

Session::Session(const Setup& setup, PortSettings& settings, SoundSlot& sound)
    : m_playback(setup.playback), m_settings(settings), m_sound(sound), m_queue(setup.bufferBytes),
      m_decoder(!setup.playback), m_screen(setup.port, settings, setup.window, [this] { wake(); })
{
    m_thread = std::thread(&Session::run, this);
    m_threadId = m_thread.get_id();
}

Session::~Session()
{
    end();
}

void Session::end()
{
    {
        std::lock_guard guard(m_lock);
        m_stop = true;
        m_work.notify_all();
        m_room.notify_all();
    }
    if (!m_thread.joinable())
        return;
    m_thread.join();
    std::lock_guard guard(m_sound.lock);
    if (m_sound.stream)
        m_sound.stream->clear();
}

void Session::pause(bool paused)
{
    std::lock_guard guard(m_lock);
    m_paused = paused;
    m_showOne = false;
    m_work.notify_all();
}

void Session::refresh()
{
    std::lock_guard guard(m_lock);
    if (m_playback) {
        m_queue.clear();
        ++m_refreshes;
        m_showOne = m_paused;
    }
    m_woken = true;
    m_work.notify_all();
    m_room.notify_all();
}

void Session::wake()
{
    std::lock_guard guard(m_lock);
    m_woken = true;
    m_work.notify_all();
}

int Session::waitingBytes()
{
    std::lock_guard guard(m_lock);
    return int(std::min<size_t>(m_queue.bytes(), INT32_MAX));
}

// ---- input

void Session::input(const uint8_t* data, size_t size)
{
    std::lock_guard inputGuard(m_inputLock);
    unsigned refreshes = 0;
    {
        std::lock_guard guard(m_lock);
        if (m_stop)
            return;
        refreshes = m_refreshes;
    }
    if (refreshes != m_parsed)
        m_parser.clear(); // a half frame from before
    m_parsed = refreshes;
    m_parser.push(data, size, [&](Packet&& packet) { enqueue(std::move(packet), refreshes); });
}

void Session::enqueue(Packet&& packet, unsigned refreshes)
{
    std::unique_lock guard(m_lock);
    if (m_playback && !m_queue.hasRoom(packet.wholeSize)) {
        const auto room = [&] { return m_stop || m_refreshes != refreshes || m_queue.hasRoom(packet.wholeSize); };
        m_room.wait_for(guard, std::chrono::milliseconds(kInputWaitMs), room);
    }
    if (m_stop || m_refreshes != refreshes)
        return; // the rest of this block belongs to the old position
    m_lastInputMs = nowMs();
    if (m_playback)
        m_queue.push(std::move(packet), kPlaybackBytes);
    else
        m_queue.push(std::move(packet));
    m_work.notify_all();
}

// ---- the port's thread

void Session::run()
{
    // Memory may run out anywhere in here; the port then stands still, the process lives.
    try {
        std::unique_lock guard(m_lock);
        while (!m_stop)
            step(guard);
    } catch (const std::exception&) {
        std::lock_guard guard(m_lock);
        m_stop = true;
        m_room.notify_all();
    }
}

void Session::step(std::unique_lock<std::mutex>& guard)
{
    if (m_refreshes != m_refreshed) {
        m_refreshed = m_refreshes;
        m_decoder.flush();
        m_rule.reset();
        m_baseMs = 0;
    } else if (m_woken) {
        m_woken = false;
        guard.unlock();
        m_screen.update();
        guard.lock();
    } else if (mayTake()) {
        take(guard);
    } else {
        idle(guard);
    }
}

void Session::take(std::unique_lock<std::mutex>& guard)
{
    Packet packet = *m_queue.pop();
    auto verdict = LiveRule::Verdict::Show;
    if (!m_playback && packet.video)
        verdict = m_rule.judge(packet.isKey(), m_queue.backlogMs(packet, nowMs()), !m_queue.hasVideo());
    if (m_paused && !m_playback && verdict == LiveRule::Verdict::Show)
        verdict = LiveRule::Verdict::DecodeOnly; // a paused live port holds its picture and stays up to date
    m_room.notify_all();
    guard.unlock();
    record(packet);
    if (packet.video)
        handleVideo(packet, verdict);
    else
        handleSound(packet);
    guard.lock();
}

/// Waits for something to do; when the input has been idle for a while, what the decoder holds back comes out.
void Session::idle(std::unique_lock<std::mutex>& guard)
{
    const auto something = [&] { return m_stop || m_woken || m_refreshes != m_refreshed || mayTake(); };
    if (!m_decoder.holds() || m_paused) {
        const bool paused = m_paused;
        m_work.wait(guard, [&] { return something() || m_paused != paused; });
        return;
    }
    const auto left = std::chrono::milliseconds(std::max<int64_t>(0, m_lastInputMs + kDrainMs - nowMs()));
    if (m_work.wait_for(guard, left, something) || nowMs() - m_lastInputMs < kDrainMs)
        return;
    guard.unlock();
    m_showing = true;
    m_decoder.drain([&](Picture&& picture) { present(std::move(picture)); });
    guard.lock();
}

void Session::handleVideo(const Packet& packet, LiveRule::Verdict verdict)
{
    if (verdict == LiveRule::Verdict::Skip)
        return;
    m_showing = verdict == LiveRule::Verdict::Show;
    m_decoder.decode(packet, [&](Picture&& picture) { present(std::move(picture)); });
}

void Session::handleSound(const Packet& packet)
{
    std::lock_guard guard(m_sound.lock);
    if (m_sound.stream)
        m_sound.stream->push(m_audio.decode(packet));
}

void Session::present(Picture&& picture)
{
    if (picture.decodeOnly || !m_showing)
        return;
    if (m_playback && !waitUntilDue(picture))
        return;
    m_screen.show(std::move(picture));
}

/// False when the picture must not be shown any more.
bool Session::waitUntilDue(const Picture& picture)
{
    const int64_t sinceBase = int64_t(picture.utcMs - m_baseUtcMs);
    const int64_t ahead = m_baseMs + sinceBase - nowMs();
    if (m_baseMs == 0 || picture.utcMs == 0 || ahead > kGapMs || ahead < -kGapMs) {
        m_baseMs = nowMs();
        m_baseUtcMs = picture.utcMs;
    }
    int64_t due = m_baseMs + int64_t(picture.utcMs - m_baseUtcMs);
    std::unique_lock guard(m_lock);
    m_pending = 1;
    while (!m_stop && m_refreshes == m_refreshed) {
        if (m_woken) {
            m_woken = false;
            guard.unlock();
            m_screen.update();
            guard.lock();
        } else if (m_showOne) {
            m_showOne = false;
            break;
        } else if (m_paused) {
            m_work.wait(guard,
                        [&] { return m_stop || m_woken || m_showOne || !m_paused || m_refreshes != m_refreshed; });
            m_baseMs = due = nowMs(); // the clock stood still
            m_baseUtcMs = picture.utcMs;
        } else if (nowMs() >= due) {
            break;
        } else {
            m_work.wait_for(guard, std::chrono::milliseconds(due - nowMs()));
        }
    }
    m_pending = 0;
    return !m_stop && m_refreshes == m_refreshed;
}

// ---- recording

bool Session::startRecord(const std::string& path, int type)
{
    std::lock_guard guard(m_recordLock);
    if (m_recorder)
        return false;
    m_recorder = startRecorder(path, type);
    m_recording = m_recorder != nullptr;
    return m_recording;
}

bool Session::stopRecord()
{
    std::lock_guard guard(m_recordLock);
    if (m_recorder)
        m_recorder->finish();
    m_recorder.reset();
    return std::exchange(m_recording, false);
}

void Session::record(const Packet& packet)
{
    std::lock_guard guard(m_recordLock);
    if (!m_recorder || m_recorder->write(packet))
        return;
    m_recorder->finish(); // no room left, or the folder is gone
    m_recorder.reset();
}

} // namespace lumo
