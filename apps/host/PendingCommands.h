// How much of one page's commands waits between the websocket and the process.
#pragma once

#include <atomic>
#include <cstddef>

namespace lumo::host
{

/// Counted up by the I/O thread when a command arrives, down by the Qt thread when its frame leaves.
struct PendingCommands {
    std::atomic<size_t> count{0};
    std::atomic<size_t> bytes{0};
};

} // namespace lumo::host
