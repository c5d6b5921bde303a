// Where the sound system is started, opened and left. On Windows its components belong to the thread that started them,
// and only threads that have joined them may use them: so all of this happens on one thread of ours. Elsewhere any
// thread will do.
// Thread: any, one call at a time.
#pragma once

#include <functional>
#include <memory>

namespace lumo
{

class AudioThread
{
public:
    virtual ~AudioThread() = default;
    /// Runs work there and waits for its end. Work may not wait for another call.
    virtual void run(const std::function<void()>& work) = 0;
};

/// The one that serves all; it ends with its last user.
std::shared_ptr<AudioThread> sharedAudioThread();

} // namespace lumo
