// Answers WS-Discovery probes with this recorder's serial number and address.
//
// Listens on the loopback interface only: the multicast group 239.255.255.250 and unicast, UDP port 3702. The port is
// shared, so several recorders answer a multicast probe side by side; a unicast probe reaches one of them.
// Thread: main loop only. Lives until the process ends.
#pragma once

#include "Faults.h"
#include "Options.h"

#include <gio/gio.h>

#include <string>

namespace lumo::recorder
{

/// The answer to a probe; empty when it is none or asks for something else than this device.
std::string answerProbe(const std::string& probe, const Options& options, int httpPort);

class Discovery
{
public:
    /// What cannot be joined is reported on stderr; the recorder works without.
    Discovery(const Options& options, const Faults& faults, int httpPort);
    Discovery(const Discovery&) = delete;
    Discovery& operator=(const Discovery&) = delete;

private:
    void listen(const char* address, bool multicast);
    void onReadable(GSocket* socket);

    const Options& m_options;
    const Faults& m_faults;
    int m_httpPort;
};

} // namespace lumo::recorder
