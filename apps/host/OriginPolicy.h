// Who may talk to the host: which names it answers to and which pages may open a session.
//
// A browser lets any page of the web try to reach loopback addresses. The Host header shows a name that was
// made to point here (DNS rebinding); the Origin header, which a page cannot forge, shows whose page it is.
// Pure rules, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::host
{

/// "scheme://host[:port]" in lower case without a default port; nothing when the text is no such origin.
/// One slash at the end is tolerated, as people copy it from the address bar.
std::optional<std::string> normalOrigin(std::string_view text);

class OriginPolicy
{
public:
    /// port: the one the host listens on. extraOrigins: allowed beside the host's own pages; each must be an origin.
    OriginPolicy(uint16_t port, const std::vector<std::string>& extraOrigins);

    /// True when the value of a Host header is a loopback name with our port.
    bool hostAllowed(std::string_view hostHeader) const;

    /// True when the value of an Origin header is on the list. "null" and nothing never are.
    bool originAllowed(std::string_view originHeader) const;

private:
    std::set<std::string> hosts_;
    std::set<std::string> origins_;
};

} // namespace lumo::host
