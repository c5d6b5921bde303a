// ONVIF events by pull points, over WS-BaseNotification, and the device's digital inputs.
#include "OnvifServices.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace lumo::recorder
{
namespace
{

constexpr int kUsualLifeMs = 60000;
constexpr size_t kHugeBytes = 5u << 20;

/// "PT1M", "PT0.5S", "P1DT2H": in milliseconds; an instant counts from the device's now. What cannot be read:
/// otherwise.
int durationMs(const OnvifContext& c, const std::string& text, int otherwise)
{
    if (GDateTime* end = g_date_time_new_from_iso8601(text.c_str(), nullptr)) {
        const int64_t left = g_date_time_to_unix(end) - c.deviceTime();
        g_date_time_unref(end);
        return static_cast<int>(std::clamp<int64_t>(left, 0, EventHub::kMaxLifeMs / 1000) * 1000);
    }
    double ms = 0;
    bool time = false;
    const char* at = text.c_str();
    if (*at++ != 'P' || !*at) {
        return otherwise;
    }
    while (*at) {
        if (*at == 'T') {
            time = true;
            ++at;
            continue;
        }
        char* unit = nullptr;
        const double number = g_ascii_strtod(at, &unit);
        const double factor = *unit == 'D' && !time  ? 86400
                              : *unit == 'H' && time ? 3600
                              : *unit == 'M' && time ? 60
                              : *unit == 'S' && time ? 1
                                                     : -1;
        if (unit == at || factor < 0 || !(number >= 0)) {
            return otherwise;
        }
        ms += number * factor * 1000;
        at = unit + 1;
    }
    return static_cast<int>(std::min(ms, static_cast<double>(EventHub::kMaxLifeMs)));
}

std::string textOf(const OnvifCall& call, const char* name)
{
    return childNamed(call.soap.action, name).text().get();
}

/// The number behind ".../subscription/"; 0 for any other address.
int subscriptionOf(const OnvifCall& call)
{
    const std::string front = kSubscriptionPath;
    return call.path.rfind(front, 0) == 0 ? std::atoi(call.path.c_str() + front.size()) : 0;
}

SoapAnswer noSubscription()
{
    return soapFault("Receiver", "wsrf-rw:ResourceUnknownFault", "No such subscription");
}

/// What a fault makes of every answer of these services; nothing when there is none.
std::optional<SoapAnswer> spoiled(OnvifContext& c)
{
    const Faults::EventFault fault = c.faults.eventFault();
    if (fault != Faults::EventFault::None) {
        c.events.countSpoiled();
    }
    switch (fault) {
    case Faults::EventFault::None:
        return std::nullopt;
    case Faults::EventFault::Refuse:
        return soapFault("Receiver", "ter:Action", "Refused by a fault that was asked for");
    case Faults::EventFault::Broken:
        return SoapAnswer{200, "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body><tev:Pull", {}};
    case Faults::EventFault::Huge:
        return SoapAnswer{200, std::string(kHugeBytes, ' '), {}};
    case Faults::EventFault::Hang:
        return c.events.hang();
    }
    return std::nullopt;
}

SoapAnswer eventCapabilities(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<tev:GetServiceCapabilitiesResponse><tev:Capabilities WSSubscriptionPolicySupport=\"false\" "
                      "WSPullPointSupport=\"true\" WSPausableSubscriptionManagerInterfaceSupport=\"false\" "
                      "MaxPullPoints=\"" +
                      std::to_string(EventHub::kMaxSubscriptions) + "\"/></tev:GetServiceCapabilitiesResponse>");
}

std::string topic(const char* name, const std::string& inner)
{
    return std::string("<") + name + ">" + inner + "</" + name + ">";
}

/// A topic with what its messages hold.
std::string leaf(const char* name, const char* source, const char* type, const char* state, const char* stateType)
{
    return std::string("<") + name +
           " wstop:topic=\"true\"><tt:MessageDescription IsProperty=\"true\"><tt:Source>"
           "<tt:SimpleItemDescription Name=\"" +
           source + "\" Type=\"" + type +
           "\"/></tt:Source><tt:Data>"
           "<tt:SimpleItemDescription Name=\"" +
           state + "\" Type=\"" + stateType + "\"/></tt:Data></tt:MessageDescription></" + name + ">";
}

SoapAnswer getEventProperties(OnvifContext&, const OnvifCall&)
{
    const char* token = "tt:ReferenceToken";
    const char* yes = "xs:boolean";
    const std::string topics =
        topic("tns1:VideoSource",
              leaf("MotionAlarm", "Source", token, "State", yes) + leaf("SignalLoss", "Source", token, "State", yes) +
                  topic("GlobalSceneChange", leaf("ImagingService", "Source", token, "State", yes))) +
        topic("tns1:Device", topic("Trigger", leaf("DigitalInput", "InputToken", token, "LogicalState", yes)) +
                                 topic("HardwareFailure", leaf("StorageFailure", "Token", token, "Failed", yes)) +
                                 topic("lumo:Network", leaf("Lost", "Interface", token, "Lost", yes))) +
        topic("tns1:RuleEngine",
              topic("ObjectDetection", leaf("Object", "VideoSource", token, "ClassTypes", "tt:StringList")));
    return soapAnswer(
        "<tev:GetEventPropertiesResponse><tev:TopicNamespaceLocation>http://www.onvif.org/onvif/ver10/topics/"
        "topicns.xml</tev:TopicNamespaceLocation><wsnt:FixedTopicSet>true</wsnt:FixedTopicSet><wstop:TopicSet>" +
        topics +
        "</wstop:TopicSet><wsnt:TopicExpressionDialect>http://www.onvif.org/ver10/tev/topicExpression/ConcreteSet"
        "</wsnt:TopicExpressionDialect><tev:MessageContentFilterDialect>http://www.onvif.org/ver10/tev/"
        "messageContentFilter/ItemFilter</tev:MessageContentFilterDialect><tev:MessageContentSchemaLocation>"
        "http://www.onvif.org/onvif/ver10/schema/onvif.xsd</tev:MessageContentSchemaLocation>"
        "</tev:GetEventPropertiesResponse>");
}

SoapAnswer createPullPoint(OnvifContext& c, const OnvifCall& call)
{
    if (auto answer = spoiled(c)) {
        return *answer;
    }
    const int number = c.events.create(durationMs(c, textOf(call, "InitialTerminationTime"), kUsualLifeMs));
    if (number == 0) {
        return soapFault("Receiver", "wsnt:SubscribeCreationFailedFault", "There are as many as there can be");
    }
    return soapAnswer("<tev:CreatePullPointSubscriptionResponse><tev:SubscriptionReference><wsa:Address>http://" +
                      call.hostAndPort + kSubscriptionPath + std::to_string(number) +
                      "</wsa:Address></tev:SubscriptionReference>" + c.events.times(number, "wsnt") +
                      "</tev:CreatePullPointSubscriptionResponse>");
}

SoapAnswer pullMessages(OnvifContext& c, const OnvifCall& call)
{
    if (auto answer = spoiled(c)) {
        return *answer;
    }
    const int number = subscriptionOf(call);
    if (!c.events.knows(number)) {
        return noSubscription();
    }
    return c.events.pull(number, durationMs(c, textOf(call, "Timeout"), 0),
                         childNamed(call.soap.action, "MessageLimit").text().as_int(1));
}

SoapAnswer setSynchronizationPoint(OnvifContext& c, const OnvifCall& call)
{
    return c.events.tellAll(subscriptionOf(call)) ? soapAnswer("<tev:SetSynchronizationPointResponse/>")
                                                  : noSubscription();
}

SoapAnswer renew(OnvifContext& c, const OnvifCall& call)
{
    if (auto answer = spoiled(c)) {
        return *answer;
    }
    const int number = subscriptionOf(call);
    if (!c.events.knows(number)) {
        return noSubscription();
    }
    c.events.renew(number, durationMs(c, textOf(call, "TerminationTime"), kUsualLifeMs));
    return soapAnswer("<wsnt:RenewResponse>" + c.events.times(number, "wsnt") + "</wsnt:RenewResponse>");
}

SoapAnswer unsubscribe(OnvifContext& c, const OnvifCall& call)
{
    return c.events.end(subscriptionOf(call)) ? soapAnswer("<wsnt:UnsubscribeResponse/>") : noSubscription();
}

SoapAnswer getDigitalInputs(OnvifContext&, const OnvifCall&)
{
    std::string inputs;
    for (int i = 0; i < kInputs; ++i) {
        inputs += "<tmd:DigitalInputs token=\"input_" + std::to_string(i) + "\"/>";
    }
    return soapAnswer("<tmd:GetDigitalInputsResponse>" + inputs + "</tmd:GetDigitalInputsResponse>");
}

} // namespace

const OperationTable& eventOperations()
{
    static const OperationTable table = {
        // operation                       handler             open without login
        {"GetServiceCapabilities", {&eventCapabilities, true}},
        {"GetEventProperties", {&getEventProperties, false}},
        {"CreatePullPointSubscription", {&createPullPoint, false}},
        {"PullMessages", {&pullMessages, false}},
        {"SetSynchronizationPoint", {&setSynchronizationPoint, false}},
    };
    return table;
}

const OperationTable& subscriptionOperations()
{
    static const OperationTable table = {
        {"Renew", {&renew, false}},
        {"Unsubscribe", {&unsubscribe, false}},
    };
    return table;
}

const OperationTable& deviceIoOperations()
{
    static const OperationTable table = {
        {"GetDigitalInputs", {&getDigitalInputs, false}},
    };
    return table;
}

} // namespace lumo::recorder
