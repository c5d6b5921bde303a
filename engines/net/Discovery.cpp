#include "Discovery.h"

#include "Digest.h"
#include "IoLoop.h"
#include "Socket.h"
#include "Text.h"
#include "Xml.h"

#include <algorithm>

namespace lumo::net
{
namespace
{

constexpr const char* kGroup = "239.255.255.250";
constexpr int kProbeEveryMs = 700; // datagrams get lost
constexpr size_t kMaxDevices = 256;

std::string randomUuid()
{
    std::string hex = toHex(randomBytes(16));
    hex[12] = '4';
    for (const size_t at : {20, 16, 12, 8})
        hex.insert(at, "-");
    return "urn:uuid:" + hex;
}

struct Outlet {
    Socket socket;
    Address to;
};

std::vector<Outlet> openOutlets(const DiscoveryOptions& options)
{
    std::vector<Outlet> outlets;
    const auto add = [&](const std::string& local, const std::string& to) {
        Outlet o;
        o.to = resolveAddress(to, options.port);
        if (!o.socket.bindDatagram(resolveAddress(local, 0)))
            return;
        if (to != kGroup || o.socket.setMulticastInterface(local))
            outlets.push_back(std::move(o));
    };
    add("127.0.0.1", "127.0.0.1");
    add("127.0.0.1", kGroup);
    if (options.everyInterface)
        for (const auto& local : localAddresses())
            if (!local.starts_with("127."))
                add(local, kGroup);
    return outlets;
}

void take(std::vector<DiscoveredDevice>& all, std::vector<DiscoveredDevice> fresh)
{
    for (auto& d : fresh) {
        const bool known = std::any_of(all.begin(), all.end(), [&](const DiscoveredDevice& k) {
            return k.host == d.host && k.port == d.port && k.path == d.path && k.endpoint == d.endpoint;
        });
        if (!known && all.size() < kMaxDevices)
            all.push_back(std::move(d));
    }
}

} // namespace

bool DiscoveredDevice::names(std::string_view serial) const
{
    if (serial.empty())
        return false;
    const auto isSerial = [&](std::string_view scope) {
        const size_t slash = scope.rfind('/');
        return slash != std::string_view::npos && sameText(scope.substr(slash + 1), serial);
    };
    return std::any_of(scopes.begin(), scopes.end(), isSerial);
}

std::string probeText(const std::string& messageId)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
           "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\"><s:Header>"
           "<a:Action s:mustUnderstand=\"1\">http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</a:Action>"
           "<a:MessageID>" +
           messageId +
           "</a:MessageID><a:To s:mustUnderstand=\"1\">urn:schemas-xmlsoap-org:ws:2005:04:discovery</a:To></s:Header>"
           "<s:Body><d:Probe xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\">"
           "<d:Types xmlns:dn=\"http://www.onvif.org/ver10/network/wsdl\">dn:NetworkVideoTransmitter</d:Types>"
           "</d:Probe></s:Body></s:Envelope>";
}

std::vector<DiscoveredDevice> parseProbeMatches(std::string_view text, const std::string& from)
{
    std::vector<DiscoveredDevice> found;
    pugi::xml_document doc;
    if (!xml::load(doc, text))
        return found;
    xml::each(doc, "ProbeMatch", [&](const pugi::xml_node& match) {
        DiscoveredDevice d;
        const std::string addresses = xml::text(xml::child(match, "XAddrs"));
        for (auto address : split(addresses, ' ')) {
            address = trim(address);
            if (!address.starts_with("http://"))
                continue;
            address.remove_prefix(7);
            const size_t slash = address.find('/');
            const std::string_view authority = address.substr(0, slash);
            const size_t colon = authority.rfind(':');
            const bool hasPort =
                colon != std::string_view::npos && authority.find(']', colon) == std::string_view::npos;
            const int64_t port = hasPort ? toNumber(authority.substr(colon + 1), 0) : 80;
            if (port < 1 || port > 65535)
                continue;
            // The address that a device tells is often one that cannot be reached; where its answer came from can.
            d.host = from;
            d.port = uint16_t(port);
            d.path = slash == std::string_view::npos ? "/" : std::string(address.substr(slash));
            break;
        }
        if (d.host.empty())
            return;
        d.endpoint = xml::text(xml::find(match, "Address"));
        const std::string scopes = xml::text(xml::child(match, "Scopes"));
        for (const auto scope : split(scopes, ' '))
            if (const auto t = trim(scope); !t.empty())
                d.scopes.emplace_back(t);
        found.push_back(std::move(d));
    });
    return found;
}

std::vector<DiscoveredDevice> discover(const DiscoveryOptions& options, std::string_view serial,
                                       const std::atomic<bool>& cancel)
{
    std::vector<DiscoveredDevice> found;
    auto outlets = openOutlets(options);
    PollSet poll;
    for (const auto& o : outlets)
        poll.add(o.socket.handle(), true, false);
    const std::string probe = probeText(randomUuid());
    const int64_t end = IoLoop::nowMs() + options.waitMs;
    int64_t nextProbe = 0;
    std::vector<char> buffer(65536);
    while (!cancel) {
        const int64_t now = IoLoop::nowMs();
        if (now >= end || outlets.empty())
            break;
        if (now >= nextProbe) {
            for (auto& o : outlets)
                o.socket.sendTo(probe.data(), probe.size(), o.to);
            nextProbe = now + kProbeEveryMs;
        }
        if (!poll.wait(int(std::clamp<int64_t>(std::min(nextProbe, end) - now, 1, 100))))
            continue;
        for (size_t i = 0; i < outlets.size(); ++i) {
            if (!poll.readable(i))
                continue;
            Address from;
            const IoResult r = outlets[i].socket.receiveFrom(buffer.data(), buffer.size(), from);
            if (r.state == Io::Done)
                take(found, parseProbeMatches({buffer.data(), r.size}, from.hostText()));
        }
        if (std::any_of(found.begin(), found.end(), [&](const auto& d) { return d.names(serial); }))
            break;
    }
    return found;
}

} // namespace lumo::net
