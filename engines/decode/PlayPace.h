// When the pictures of a recording are due: each so long after the one before as their times say, at the speed that is
// set. Plain arithmetic; all times of the wall are nowUs(). Thread: one at a time.
#pragma once

#include "Packet.h"

#include <algorithm>
#include <cstdint>

namespace lumo
{

class PlayPace
{
public:
    static constexpr int kSteps = 4; // 16 times, or a sixteenth

    /// 0 is normal speed, 1 to 4 are 2, 4, 8, 16 times, -1 to -4 are 1/2 to 1/16.
    void setLevel(int level) { m_level = std::clamp(level, -kSteps, kSteps); }
    int level() const { return m_level; }

    /// From one picture's time to the next one's. Where a time is missing, goes back, or jumps over more than can be
    /// a pause between two pictures (the device's clock was set, or nothing was recorded), the usual interval.
    static int64_t stepMs(int64_t fromMs, int64_t toMs, int intervalMs)
    {
        if (fromMs == kNoTime || toMs == kNoTime)
            return intervalMs;
        const int64_t step = toMs - fromMs;
        return step < 0 || step > std::max<int64_t>(kGapMs, 4 * int64_t(intervalMs)) ? intervalMs : step;
    }

    /// The shown picture counts as shown now.
    void restart(int64_t nowUs) { m_dueUs = nowUs; }
    /// When a picture stepMs behind the shown one is due.
    int64_t dueUs(int64_t stepMs) const { return m_dueUs + wallUs(stepMs * 1000); }
    /// The picture that was due then is shown. One that comes far too late is not caught up with.
    void shown(int64_t dueUs, int64_t nowUs) { m_dueUs = nowUs - dueUs > kGapMs * 1000 ? nowUs : dueUs; }
    /// How much of the recording's time has gone by since the shown picture was due.
    int64_t sinceShownMs(int64_t nowUs) const
    {
        const int64_t us = std::max<int64_t>(0, nowUs - m_dueUs);
        return (m_level >= 0 ? us << m_level : us >> -m_level) / 1000;
    }

private:
    static constexpr int64_t kGapMs = 2000;
    /// Above normal speed a hair is cut off each step: what painting and waking up cost must not make it slower than
    /// said.
    int64_t wallUs(int64_t us) const
    {
        if (m_level <= 0)
            return us << -m_level;
        return (us >> m_level) * 63 / 64;
    }

    int m_level = 0;
    int64_t m_dueUs = 0; // when the shown picture was due
};

} // namespace lumo
