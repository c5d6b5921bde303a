// Names of the ONVIF services, and the element that asks one of them something.
#pragma once

#include <string>

namespace lumo::net
{

inline constexpr const char* kDeviceNs = "http://www.onvif.org/ver10/device/wsdl";
inline constexpr const char* kMediaNs = "http://www.onvif.org/ver10/media/wsdl";
inline constexpr const char* kSearchNs = "http://www.onvif.org/ver10/search/wsdl";
inline constexpr const char* kEventNs = "http://www.onvif.org/ver10/events/wsdl";
inline constexpr const char* kDeviceIoNs = "http://www.onvif.org/ver10/deviceIO/wsdl";
inline constexpr const char* kReplayNs = "http://www.onvif.org/ver10/replay/wsdl";
// Ours: not ONVIF's, but announced as its services are.
inline constexpr const char* kTokenNamespace = "urn:lumo:token:1";
inline constexpr const char* kCommandNamespace = "urn:lumo:command:1";

inline std::string onvifRequest(const char* ns, const std::string& name, const std::string& inner = {})
{
    return "<" + name + " xmlns=\"" + ns + "\">" + inner + "</" + name + ">";
}

} // namespace lumo::net
