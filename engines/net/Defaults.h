// What LUMONET_Init starts with. Tests shorten the times; the environment's LUMONET_DISCOVERY=loopback keeps the
// search for a serial number on this machine.
#pragma once

#include "Discovery.h"
#include "Timings.h"

namespace lumo::net
{

struct Defaults {
    Timings timings;
    DiscoveryOptions discovery;
};

/// Read by LUMONET_Init; not guarded.
Defaults& defaults();

} // namespace lumo::net
