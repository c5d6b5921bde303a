// Sound out. All ports share one output device and are mixed into it; each has a stream of its own. The device opens
// with the first stream and closes behind the last.
#pragma once

#include "AudioDecoder.h"

#include <memory>

namespace lumo
{

/// One port's sound. Its memory is bounded: when more than kLateMs wait to be heard, all but the newest kKeepMs go.
/// Thread: any.
class SoundStream
{
public:
    static constexpr int kLateMs = 400;
    static constexpr int kKeepMs = 150;
    static constexpr int kStartMs = 60;     // gathered before the first is heard, so that jitter is not
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
std::unique_ptr<SoundStream> openSoundStream();

} // namespace lumo
