// Finding a device by its serial number on the local network (WS-Discovery, OASIS 1.1 as ONVIF uses it).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net
{

struct DiscoveredDevice {
    std::string host; // where the answer came from
    uint16_t port = 80;
    std::string path;
    std::string endpoint;
    std::vector<std::string> scopes;

    /// The device's own words name this serial number.
    bool names(std::string_view serial) const;
};

struct DiscoveryOptions {
    bool everyInterface = true; // false: loopback only
    uint16_t port = 3702;
    int waitMs = 2500;
};

/// Asks on every interface and on loopback; waits until a device names the serial, or the time is over.
/// Returns all devices that answered. Blocks.
std::vector<DiscoveredDevice> discover(const DiscoveryOptions& options, std::string_view serial,
                                       const std::atomic<bool>& cancel);

/// The text of a probe; the devices in a reply's text. For tests, too.
std::string probeText(const std::string& messageId);
std::vector<DiscoveredDevice> parseProbeMatches(std::string_view text, const std::string& from);

} // namespace lumo::net
