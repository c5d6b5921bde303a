// The times of sound frames, which carry none: they lie among the pictures where they belong, and each follows the one
// before without a gap. Thread: one at a time.
#pragma once

#include "Packet.h"

namespace lumo
{

class SoundTimes
{
public:
    /// The next frame belongs to this time.
    void restart(int64_t timeMs)
    {
        m_pictureMs = timeMs;
        m_nextUs = kNoTime;
    }
    void picture(int64_t timeMs)
    {
        if (timeMs != kNoTime)
            m_pictureMs = timeMs;
    }
    /// When this frame begins; kNoTime before the first picture.
    int64_t sound(const Packet& packet);

private:
    int64_t m_pictureMs = kNoTime;
    int64_t m_nextUs = kNoTime;
};

} // namespace lumo
