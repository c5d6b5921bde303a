// SOAP 1.2 for the ONVIF services: reading a request, writing an answer or a fault.
//
// Thread: pure functions. Errors: a request that is no SOAP gives nothing.
#pragma once

#include <pugixml.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumo::recorder
{

/// A parsed request. The nodes live as long as `document`.
struct SoapRequest {
    std::shared_ptr<pugi::xml_document> document;
    pugi::xml_node header; // may be empty
    pugi::xml_node action; // the first element of the body
    std::string name;      // its local name
    std::string space;     // its namespace
};

struct SoapAnswer {
    int httpStatus = 200;
    std::string body; // a whole envelope
    /// Where it is set, this is no answer yet: it is given whom to hand it to, once and later, on the main loop.
    std::function<void(std::function<void(const SoapAnswer&)> done)> later = nullptr;
};

std::optional<SoapRequest> parseSoap(std::string_view text);

SoapAnswer soapAnswer(const std::string& bodyContent);
/// code: "Sender" or "Receiver"; subcode e.g. "ter:NotAuthorized".
SoapAnswer soapFault(const std::string& code, const std::string& subcode, const std::string& reason);

/// The first child with this local name, whatever its prefix.
pugi::xml_node childNamed(pugi::xml_node parent, std::string_view localName);
std::string localName(pugi::xml_node node);
std::string xmlEscape(std::string_view text);

} // namespace lumo::recorder
