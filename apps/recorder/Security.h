// Who may ask the ONVIF services: WS-UsernameToken with a password digest, or the token in a header of its own.
//
// A digest holds when it fits the password, was made within 30 s of the device's clock and was not used before.
// Thread: main loop only.
#pragma once

#include "Faults.h"
#include "Options.h"
#include "Soap.h"

#include <map>
#include <string>

namespace lumo::recorder
{

/// Base64(SHA-1(nonce + created + password)); the nonce as raw bytes.
std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password);

class Security
{
public:
    static constexpr int kToleranceSeconds = 30;

    Security(const Options& options, const Faults& faults) : m_options(options), m_faults(faults) {}

    /// tokenHeader: the value of X-Lumo-Token, empty when absent. deviceNow: the device's clock, Unix seconds.
    bool allows(const SoapRequest& request, const std::string& tokenHeader, int64_t deviceNow);

private:
    bool fresh(const std::string& nonceAndTime, int64_t created, int64_t now);

    const Options& m_options;
    const Faults& m_faults;
    std::map<std::string, int64_t> m_used; // nonce and time of creation -> when it was made
};

} // namespace lumo::recorder
