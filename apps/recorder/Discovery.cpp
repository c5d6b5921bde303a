#include "Discovery.h"

#include "Soap.h"

#include <gio/gnetworking.h>

#include <algorithm>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <vector>

namespace lumo::recorder
{
namespace
{

constexpr const char* kGroup = "239.255.255.250";
constexpr guint kPort = 3702;

// A UUID made of the serial number: the same after every start.
std::string endpointOf(const std::string& serial)
{
    gchar* sum = g_compute_checksum_for_string(G_CHECKSUM_SHA1, serial.c_str(), -1);
    const std::string hex = sum;
    g_free(sum);
    return "urn:uuid:" + hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-5" + hex.substr(13, 3) + "-8" +
           hex.substr(17, 3) + "-" + hex.substr(20, 12);
}

std::string newUuid()
{
    gchar* text = g_uuid_string_random();
    const std::string out = std::string("urn:uuid:") + text;
    g_free(text);
    return out;
}

std::string urlWord(const std::string& text)
{
    gchar* escaped = g_uri_escape_string(text.c_str(), nullptr, FALSE);
    const std::string out = escaped;
    g_free(escaped);
    return out;
}

std::vector<std::string> scopesOf(const Options& options)
{
    const std::string base = "onvif://www.onvif.org/";
    return {base + "type/video_encoder", base + "Profile/Streaming", base + "hardware/LUMO-SIM-1",
            base + "name/" + urlWord(options.name), base + "serial/" + options.serial};
}

bool typesMatch(const std::string& types)
{
    return types.find_first_not_of(" \t\r\n") == std::string::npos ||
           types.find("NetworkVideoTransmitter") != std::string::npos || types.find("Device") != std::string::npos;
}

// Every scope asked for must be one of ours or the beginning of one, up to a '/'.
bool scopesMatch(const std::string& asked, const std::vector<std::string>& ours)
{
    std::istringstream words(asked);
    for (std::string word; words >> word;) {
        const bool found = std::any_of(ours.begin(), ours.end(), [&](const std::string& scope) {
            return scope.rfind(word, 0) == 0 &&
                   (scope.size() == word.size() || word.back() == '/' || scope[word.size()] == '/');
        });
        if (!found) {
            return false;
        }
    }
    return true;
}

std::string probeMatch(const Options& options, int httpPort, const std::string& relatesTo)
{
    std::string scopes;
    for (const auto& scope : scopesOf(options)) {
        scopes += (scopes.empty() ? "" : " ") + xmlEscape(scope);
    }
    return R"(<?xml version="1.0" encoding="UTF-8"?><s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope")"
           R"( xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing")"
           R"( xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery")"
           R"( xmlns:dn="http://www.onvif.org/ver10/network/wsdl" xmlns:tds="http://www.onvif.org/ver10/device/wsdl">)"
           "<s:Header><a:MessageID>" +
           newUuid() + "</a:MessageID><a:RelatesTo>" + xmlEscape(relatesTo) +
           "</a:RelatesTo><a:To>http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:To>"
           "<a:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/ProbeMatches</a:Action></s:Header><s:Body>"
           "<d:ProbeMatches><d:ProbeMatch><a:EndpointReference><a:Address>" +
           endpointOf(options.serial) +
           "</a:Address></a:EndpointReference><d:Types>dn:NetworkVideoTransmitter tds:Device</d:Types><d:Scopes>" +
           scopes + "</d:Scopes><d:XAddrs>http://" + options.address + ":" + std::to_string(httpPort) +
           "/onvif/device_service</d:XAddrs><d:MetadataVersion>1</d:MetadataVersion></d:ProbeMatch></d:ProbeMatches>"
           "</s:Body></s:Envelope>";
}

} // namespace

std::string answerProbe(const std::string& text, const Options& options, int httpPort)
{
    const auto request = parseSoap(text);
    if (!request || request->name != "Probe" || !typesMatch(childNamed(request->action, "Types").text().get()) ||
        !scopesMatch(childNamed(request->action, "Scopes").text().get(), scopesOf(options))) {
        return "";
    }
    return probeMatch(options, httpPort, childNamed(request->header, "MessageID").text().get());
}

Discovery::Discovery(const Options& options, const Faults& faults, int httpPort)
    : m_options(options), m_faults(faults), m_httpPort(httpPort)
{
    listen(kGroup, true);
    listen("127.0.0.1", false);
}

void Discovery::listen(const char* text, bool multicast)
{
    GError* error = nullptr;
    GSocket* socket = g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, &error);
    GInetAddress* loopback = g_inet_address_new_loopback(G_SOCKET_FAMILY_IPV4);
    GInetAddress* inet = g_inet_address_new_from_string(text);
    GSocketAddress* address = g_inet_socket_address_new(inet, kPort);
    bool good = socket && g_socket_bind(socket, address, TRUE, &error);
    if (good && multicast) {
        g_socket_set_multicast_loopback(socket, TRUE);
        ip_mreq group{};
        std::memcpy(&group.imr_multiaddr, g_inet_address_to_bytes(inet), 4);
        std::memcpy(&group.imr_interface, g_inet_address_to_bytes(loopback), 4);
        good = setsockopt(g_socket_get_fd(socket), IPPROTO_IP, IP_ADD_MEMBERSHIP, reinterpret_cast<const char*>(&group),
                          sizeof(group)) == 0;
    }
    if (good) {
        GSource* source = g_socket_create_source(socket, G_IO_IN, nullptr);
        const auto ready = [](GSocket* s, GIOCondition, gpointer self) -> gboolean {
            static_cast<Discovery*>(self)->onReadable(s);
            return G_SOURCE_CONTINUE;
        };
        g_source_set_callback(source, G_SOURCE_FUNC(+ready), this, nullptr);
        g_source_attach(source, nullptr);
        g_source_unref(source);
    } else {
        std::fprintf(stderr, "lumo-recorder: no discovery on %s: %s\n", text, error ? error->message : "cannot join");
    }
    g_clear_object(&socket); // the source keeps it
    g_clear_error(&error);
    g_object_unref(address);
    g_object_unref(inet);
    g_object_unref(loopback);
}

void Discovery::onReadable(GSocket* socket)
{
    char buffer[16384];
    GSocketAddress* sender = nullptr;
    const gssize size = g_socket_receive_from(socket, &sender, buffer, sizeof(buffer), nullptr, nullptr);
    if (size > 0 && sender && !m_faults.silent()) {
        const std::string answer = answerProbe(std::string(buffer, static_cast<size_t>(size)), m_options, m_httpPort);
        if (!answer.empty()) {
            g_socket_send_to(socket, sender, answer.data(), answer.size(), nullptr, nullptr);
        }
    }
    g_clear_object(&sender);
}

} // namespace lumo::recorder
