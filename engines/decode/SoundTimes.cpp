#include "SoundTimes.h"

#include "Adts.h"

#include <cstdlib>

namespace lumo
{
namespace
{

// Where the running time and the pictures around are further apart, frames are missing or a clock was set.
constexpr int64_t kApartMs = 500;

int64_t durationUs(const Packet& packet)
{
    const int64_t rate = packet.a.sampleRate ? packet.a.sampleRate : 8000;
    if (packet.a.codec == AudioCodec::ALaw)
        return int64_t(packet.payloadSize) * 1'000'000 / rate;
    return int64_t(adtsFrames(packet.payload(), packet.payloadSize)) * kAdtsSamples * 1'000'000 / rate;
}

} // namespace

int64_t SoundTimes::sound(const Packet& packet)
{
    if (m_pictureMs == kNoTime)
        return kNoTime;
    if (m_nextUs == kNoTime || std::llabs(m_nextUs / 1000 - m_pictureMs) > kApartMs)
        m_nextUs = m_pictureMs * 1000;
    const int64_t begin = m_nextUs;
    m_nextUs += durationUs(packet);
    return begin / 1000;
}

} // namespace lumo
