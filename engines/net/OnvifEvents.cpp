// Events by pull points: ONVIF's event service over WS-BaseNotification, its requests addressed by WS-Addressing.
#include "Onvif.h"
#include "OnvifWords.h"
#include "Text.h"
#include "Xml.h"

#include "device/LumoNet.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace lumo::net
{
namespace
{

constexpr const char* kNotificationNs = "http://docs.oasis-open.org/wsn/b-2";
constexpr const char* kAddressingNs = "http://www.w3.org/2005/08/addressing";
constexpr const char* kPullActions = "http://www.onvif.org/ver10/events/wsdl/PullPointSubscription/";
constexpr const char* kManagerActions = "http://docs.oasis-open.org/wsn/bw-2/SubscriptionManager/";
constexpr size_t kMaxHeader = 8192;     // bytes that a device may want to see again
constexpr size_t kMaxEvents = 2u << 20; // bytes of one answer
constexpr int64_t kShortestLifeMs = 2000;

std::string seconds(int64_t ms)
{
    return "PT" + std::to_string((ms + 999) / 1000) + "S";
}

/// The element as text that can stand elsewhere: with the namespaces that its ancestors declare.
std::string standingAlone(const pugi::xml_node& node)
{
    pugi::xml_document copy;
    pugi::xml_node root = copy.append_copy(node);
    for (pugi::xml_node above = node.parent(); above; above = above.parent())
        for (const auto& attribute : above.attributes())
            if (std::strncmp(attribute.name(), "xmlns", 5) == 0 && !root.attribute(attribute.name()))
                root.append_attribute(attribute.name()) = attribute.value();
    std::ostringstream text;
    root.print(text, "", pugi::format_raw);
    return text.str();
}

/// How long it will be kept: by the device's own clock, which need not be right.
int64_t lifeOf(const pugi::xml_node& answer, int64_t askedMs, int64_t otherwiseMs)
{
    int64_t now = 0, end = 0;
    if (!parseIsoTime(xml::text(xml::find(answer, "CurrentTime")), now) ||
        !parseIsoTime(xml::text(xml::find(answer, "TerminationTime")), end))
        return otherwiseMs;
    return std::clamp(end - now, kShortestLifeMs, std::max(askedMs, kShortestLifeMs));
}

} // namespace

bool parsePullPoint(std::string_view text, int64_t lifeMs, OnvifPullPoint& point)
{
    pugi::xml_document doc;
    if (!xml::load(doc, text))
        return false;
    const auto reference = xml::find(doc, "SubscriptionReference");
    const std::string address(trim(xml::text(xml::child(reference, "Address"))));
    point = {pathOf(address), {}, lifeOf(doc, lifeMs, lifeMs)};
    for (const auto& node : xml::child(reference, "ReferenceParameters").children())
        point.header += standingAlone(node);
    const bool sound = std::all_of(address.begin(), address.end(), [](char c) { return uint8_t(c) > ' '; });
    return !address.empty() && sound && point.header.size() <= kMaxHeader;
}

bool parseEvents(std::string_view text, const AlarmSources& sources, int& events, std::vector<AlarmNotice>& notices)
{
    pugi::xml_document doc;
    events = 0;
    const auto answer = xml::load(doc, text) ? xml::find(doc, "PullMessagesResponse") : pugi::xml_node();
    for (const auto& node : answer.children()) {
        if (xml::localName(node) != "NotificationMessage")
            continue;
        ++events;
        readNotice(node, sources, notices);
    }
    return bool(answer);
}

int OnvifClient::callEvents(const std::string& path, const std::string& action, const std::string& body,
                            const std::string& moreHeader, std::string& reply)
{
    const std::string to = std::string("<To xmlns=\"") + kAddressingNs + "\">" + xml::escaped(url(path)) + "</To>";
    const std::string what = std::string("<Action xmlns=\"") + kAddressingNs + "\">" + action + "</Action>";
    m_http.setMaxReply(kMaxEvents);
    return call(path, action, body, true, reply, what + to + moreHeader);
}

int OnvifClient::createPullPoint(int64_t lifeMs, OnvifPullPoint& point)
{
    if (m_paths.events.empty())
        return LUMONET_ERR_UNSUPPORTED;
    std::string reply;
    const std::string inner = "<InitialTerminationTime>" + seconds(lifeMs) + "</InitialTerminationTime>";
    const int error =
        callEvents(m_paths.events, std::string(kEventNs) + "/EventPortType/CreatePullPointSubscriptionRequest",
                   onvifRequest(kEventNs, "CreatePullPointSubscription", inner), {}, reply);
    if (error != 0)
        return error;
    return parsePullPoint(reply, lifeMs, point) ? 0 : int(LUMONET_ERR_REFUSED);
}

int OnvifClient::pullEvents(const OnvifPullPoint& point, int holdMs, int limit, const AlarmSources& sources,
                            int& events, std::vector<AlarmNotice>& notices)
{
    std::string reply;
    const std::string inner =
        "<Timeout>" + seconds(holdMs) + "</Timeout><MessageLimit>" + std::to_string(limit) + "</MessageLimit>";
    m_http.setRequestMs(m_requestMs + holdMs);
    const int error = callEvents(point.path, std::string(kPullActions) + "PullMessagesRequest",
                                 onvifRequest(kEventNs, "PullMessages", inner), point.header, reply);
    m_http.setRequestMs(m_requestMs);
    if (error != 0)
        return error;
    return parseEvents(reply, sources, events, notices) ? 0 : int(LUMONET_ERR_REFUSED);
}

int OnvifClient::renewPullPoint(int64_t lifeMs, OnvifPullPoint& point)
{
    std::string reply;
    const int error =
        callEvents(point.path, std::string(kManagerActions) + "RenewRequest",
                   onvifRequest(kNotificationNs, "Renew", "<TerminationTime>" + seconds(lifeMs) + "</TerminationTime>"),
                   point.header, reply);
    if (error != 0)
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    point.lifeMs = lifeOf(doc, lifeMs, point.lifeMs);
    return 0;
}

int OnvifClient::endPullPoint(const OnvifPullPoint& point)
{
    std::string reply;
    return callEvents(point.path, std::string(kManagerActions) + "UnsubscribeRequest",
                      onvifRequest(kNotificationNs, "Unsubscribe"), point.header, reply);
}

int OnvifClient::readInputs(std::vector<std::string>& tokens)
{
    if (m_paths.deviceIo.empty())
        return LUMONET_ERR_UNSUPPORTED;
    std::string reply;
    const int error = ask(m_paths.deviceIo, kDeviceIoNs, "GetDigitalInputs", "", reply);
    if (error != 0)
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    xml::each(doc, "DigitalInputs",
              [&](const pugi::xml_node& input) { tokens.push_back(input.attribute("token").value()); });
    return 0;
}

} // namespace lumo::net
