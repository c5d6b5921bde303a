// The RTSP server of recordings, /replay/<channel>: plain sockets and a thread for each connection.
//
// Live streams go through gst-rtsp-server; a replay is paced, held back, sought and cut for tests picture by picture,
// which is simpler without a pipeline between.
// Thread: start() on the main loop's thread; connections on their own. Lives until the process ends.
#pragma once

#include "Faults.h"
#include "Options.h"
#include "RecordingStore.h"

namespace lumo::recorder
{

class ReplayServer
{
public:
    ReplayServer(const Options& options, RecordingStore& store, Faults& faults)
        : m_options(options), m_store(store), m_faults(faults)
    {
    }
    ReplayServer(const ReplayServer&) = delete;
    ReplayServer& operator=(const ReplayServer&) = delete;

    /// The port it listens on, 0 when it cannot.
    int start();

private:
    void accept(int listener);

    const Options& m_options;
    RecordingStore& m_store;
    Faults& m_faults;
};

} // namespace lumo::recorder
