// The opening of an RTSP stream, as live streams, replays and talks share it: who waits for it, and how often a device
// that is busy is asked again. Devices answer 503 for a moment while they take down the last session of the same
// stream.
//
// Thread: any; askAgainAt on the I/O loop.
#pragma once

#include "IoLoop.h"
#include "RtspSession.h"
#include "Timings.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lumo::net
{

/// Where a stream comes from.
struct StreamSource {
    RtspUrl url;
    Address address;
    std::string user, password;
    bool udp = false;
};

/// What a session to it begins with; timeoutMs as in RtspOptions.
RtspOptions optionsFor(const StreamSource& source, int timeoutMs);
/// Lets a session go from within its own calls; it may be none.
void release(IoLoop& loop, std::shared_ptr<RtspSession>& session);

class Opening
{
public:
    explicit Opening(const Timings& timings) : m_tries(timings.busyTries), m_pauseMs(timings.busyRetryMs) {}

    /// Blocks until it is finished: 0 or LUMONET_ERROR.
    int wait();
    /// The first result is the one that counts.
    void finish(int error);
    bool pending() const;
    /// When the next attempt is due after one that ended so; below 0: there is none.
    int64_t askAgainAt(int rtspStatus);

private:
    int m_tries; // I/O loop only
    const int m_pauseMs;
    mutable std::mutex m_mutex;
    std::condition_variable m_finished;
    std::optional<int> m_result; // m_mutex
};

} // namespace lumo::net
