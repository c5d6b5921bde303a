// What is spoken, on its way to the device: short pieces, half a second of them at most. Who speaks is never made to
// wait; when it is too much, the oldest goes, for speech that comes late is worse than speech that is missing.
// Thread: any; one that takes.
#pragma once

#include "common/StreamFrame.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

namespace lumo::net
{

struct SpeechPiece {
    uint32_t rate = 8000; // Hz
    std::vector<uint8_t> codes;
    int64_t lengthUs() const { return int64_t(codes.size()) * 1000000 / rate; }
};

class SpeechQueue
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int64_t kMaxUs = 500000;
    static constexpr int kPieceMs = 20;

    void push(const FrameView& frame)
    {
        const size_t step = frame.a.sampleRate * kPieceMs / 1000;
        std::lock_guard lock(m_mutex);
        if (m_closed)
            return;
        for (size_t at = 0; at < frame.payloadSize; at += step) {
            const uint8_t* from = frame.payload + at;
            m_pieces.push_back({frame.a.sampleRate, {from, from + std::min(step, frame.payloadSize - at)}});
            m_lengthUs += m_pieces.back().lengthUs();
        }
        while (m_lengthUs > kMaxUs)
            dropFront();
        m_changed.notify_all();
    }
    enum class Got { Piece, Nothing, End };
    /// Waits for a piece, until that time at most.
    Got pop(SpeechPiece& piece, Clock::time_point until)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_until(lock, until, [this] { return m_closed || !m_pieces.empty(); });
        if (m_closed)
            return Got::End;
        if (m_pieces.empty())
            return Got::Nothing;
        piece = std::move(m_pieces.front());
        m_lengthUs -= piece.lengthUs();
        m_pieces.pop_front();
        return Got::Piece;
    }
    /// False when the queue was closed before.
    bool waitUntil(Clock::time_point time)
    {
        std::unique_lock lock(m_mutex);
        return !m_changed.wait_until(lock, time, [this] { return m_closed; });
    }
    void close()
    {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        m_changed.notify_all();
    }

private:
    void dropFront()
    {
        m_lengthUs -= m_pieces.front().lengthUs();
        m_pieces.pop_front();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<SpeechPiece> m_pieces; // m_mutex, as all of these
    int64_t m_lengthUs = 0;
    bool m_closed = false;
};

} // namespace lumo::net
