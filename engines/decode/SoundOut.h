// Sound out. All ports share one output device and are mixed into it; each has a stream of its own. The device opens
// with the first stream and closes behind the last.
#pragma once

#include "AudioDecoder.h"

#include <memory>

namespace lumo
{

/// How long sound without times may wait to be heard.
struct SoundLimits {
    int lateMs;     // when more than this waits,
    int keepMs;     // all but the newest of this length goes
    int startMs;    // gathered before the first is heard, so that jitter is not
    int patienceMs; // a sound too short for that is heard after this while
};

inline constexpr SoundLimits kPortSound{400, 150, 60, 120};
/// Speech is answered: with the device's own two blocks behind it, it stays below 150 ms.
inline constexpr SoundLimits kTalkSound{100, 60, 60, 60};

/// One port's sound. Thread: any.
class SoundStream
{
public:
    static constexpr int kLongestMs = 2000; // of sound with times: what waits at most, and the longest silence between

    virtual ~SoundStream() = default;
    /// To be heard as soon as may be, behind what waits.
    virtual void push(const Samples& samples) = 0;
    /// To be heard at this time of nowMs(), behind what waits: silence is put in, or a beginning left out.
    virtual void pushAt(const Samples& samples, int64_t heardMs) = 0;
    /// Forgets what waits to be heard.
    virtual void clear() = 0;
};

/// Null when there is no sound device.
std::unique_ptr<SoundStream> openSoundStream(const SoundLimits& limits);

} // namespace lumo
