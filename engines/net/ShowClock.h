// When the last picture that was handed on will have been shown: pictures follow each other at the speed that was set,
// gaps in the recording are jumped over, and time in which the callback was made to wait does not count.
//
// Thread: one at a time. Units: milliseconds; now is any steady clock.
#pragma once

#include <algorithm>
#include <cstdint>

namespace lumo::net
{

class ShowClock
{
public:
    void restart()
    {
        m_started = false;
        m_last = m_shown = 0;
    }
    /// A picture was handed on; blockedMs of the time until now its callback took.
    void picture(int64_t utcMs, int64_t nowMs, int64_t blockedMs)
    {
        advance(nowMs - blockedMs);
        m_now = nowMs;
        if (!m_started) {
            m_started = true;
            m_last = m_shown = 0;
        } else {
            const int64_t step = utcMs - m_utc;
            m_step = step > 0 && step < kGap ? step : m_step;
            m_last += step > 0 && step < kGap ? step : m_step;
        }
        m_utc = utcMs;
    }
    /// Time in which nothing was handed on, for the callback had been made to wait before.
    void skipTo(int64_t nowMs) { m_now = std::max(m_now, nowMs); }
    void setSpeed(double speed, int64_t nowMs)
    {
        advance(nowMs);
        m_speed = speed;
    }
    void setPaused(bool paused, int64_t nowMs)
    {
        advance(nowMs);
        m_paused = paused;
    }
    /// Until the last picture has been shown for its time; 0 when it has, or there was none; below 0: never, paused.
    int64_t leftMs(int64_t nowMs)
    {
        advance(nowMs);
        if (!m_started)
            return 0;
        const double left = double(m_last + m_step) - m_shown;
        return left <= 0 ? 0 : m_paused ? -1 : int64_t(left / m_speed) + 1;
    }

private:
    static constexpr int64_t kGap = 1000;
    void advance(int64_t nowMs)
    {
        if (m_started && !m_paused && nowMs > m_now)
            m_shown = std::min(m_shown + double(nowMs - m_now) * m_speed, double(m_last + m_step));
        m_now = std::max(m_now, nowMs);
    }

    bool m_started = false, m_paused = false;
    double m_speed = 1.0, m_shown = 0; // shown: of the same count as last
    int64_t m_last = 0, m_step = 40;   // playing time of the last picture; one picture's
    int64_t m_utc = 0, m_now = 0;
};

} // namespace lumo::net
