// A short RTSP conversation for its result only: is the device there, does it know this user and address.
#pragma once

#include "LiveStream.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace lumo::net
{

/// Blocks the calling thread (never the I/O loop's) until the answer or the time-out: 0 or LUMONET_ERROR.
/// With Goal::Options every answer counts as success, a refused one too. backChannel: does it describe one?
int probeRtsp(IoLoop& loop, const StreamSource& source, RtspOptions::Goal goal, int timeoutMs,
              bool backChannel = false);

} // namespace lumo::net
