// ONVIF device management: who the device is, what it can do and what time it has.
#include "OnvifServices.h"

#include <glib.h>

#include <cstdio>

namespace lumo::recorder
{
namespace
{

std::string deviceAddress(const OnvifCall& call)
{
    return "http://" + call.hostAndPort + "/onvif/device_service";
}
std::string mediaAddress(const OnvifCall& call)
{
    return "http://" + call.hostAndPort + "/onvif/media_service";
}
std::string recordingAddress(const OnvifCall& call, const char* service)
{
    return "http://" + call.hostAndPort + "/onvif/" + service + "_service";
}
std::string eventAddress(const OnvifCall& call)
{
    return "http://" + call.hostAndPort + "/onvif/event_service";
}
std::string deviceIoAddress(const OnvifCall& call)
{
    return "http://" + call.hostAndPort + "/onvif/deviceio_service";
}
std::string tokenAddress(const OnvifCall& call)
{
    return "http://" + call.hostAndPort + "/onvif/token_service";
}

std::string dateTime(const char* element, int64_t unixSeconds)
{
    GDateTime* t = g_date_time_new_from_unix_utc(unixSeconds);
    char text[400];
    std::snprintf(text, sizeof(text),
                  "<tt:%s><tt:Time><tt:Hour>%d</tt:Hour><tt:Minute>%d</tt:Minute><tt:Second>%d</tt:Second></tt:Time>"
                  "<tt:Date><tt:Year>%d</tt:Year><tt:Month>%d</tt:Month><tt:Day>%d</tt:Day></tt:Date></tt:%s>",
                  element, g_date_time_get_hour(t), g_date_time_get_minute(t), g_date_time_get_second(t),
                  g_date_time_get_year(t), g_date_time_get_month(t), g_date_time_get_day_of_month(t), element);
    g_date_time_unref(t);
    return text;
}

SoapAnswer getSystemDateAndTime(OnvifContext& c, const OnvifCall&)
{
    const int64_t now = c.deviceTime();
    return soapAnswer(
        "<tds:GetSystemDateAndTimeResponse><tds:SystemDateAndTime><tt:DateTimeType>Manual</tt:DateTimeType>"
        "<tt:DaylightSavings>" +
        std::string(c.zone.summerAt(now) ? "true" : "false") + "</tt:DaylightSavings><tt:TimeZone><tt:TZ>" +
        xmlEscape(c.zone.posixText()) + "</tt:TZ></tt:TimeZone>" + dateTime("UTCDateTime", now) +
        dateTime("LocalDateTime", now + c.zone.offsetAt(now)) +
        "</tds:SystemDateAndTime></tds:GetSystemDateAndTimeResponse>");
}

SoapAnswer getDeviceInformation(OnvifContext& c, const OnvifCall&)
{
    return soapAnswer(
        "<tds:GetDeviceInformationResponse><tds:Manufacturer>Lumo</tds:Manufacturer>"
        "<tds:Model>Simulated Recorder</tds:Model><tds:FirmwareVersion>" +
        c.state.firmware() +
        "</tds:FirmwareVersion>"
        "<tds:SerialNumber>" +
        xmlEscape(c.options.serial) +
        "</tds:SerialNumber><tds:HardwareId>LUMO-SIM-1</tds:HardwareId></tds:GetDeviceInformationResponse>");
}

SoapAnswer getCapabilities(OnvifContext&, const OnvifCall& call)
{
    return soapAnswer("<tds:GetCapabilitiesResponse><tds:Capabilities><tt:Device><tt:XAddr>" + deviceAddress(call) +
                      "</tt:XAddr></tt:Device><tt:Events><tt:XAddr>" + eventAddress(call) +
                      "</tt:XAddr><tt:WSSubscriptionPolicySupport>false</tt:WSSubscriptionPolicySupport>"
                      "<tt:WSPullPointSupport>true</tt:WSPullPointSupport>"
                      "<tt:WSPausableSubscriptionManagerInterfaceSupport>false"
                      "</tt:WSPausableSubscriptionManagerInterfaceSupport></tt:Events><tt:Media><tt:XAddr>" +
                      mediaAddress(call) +
                      "</tt:XAddr><tt:StreamingCapabilities><tt:RTPMulticast>false</tt:RTPMulticast><tt:RTP_TCP>true"
                      "</tt:RTP_TCP><tt:RTP_RTSP_TCP>true</tt:RTP_RTSP_TCP></tt:StreamingCapabilities></tt:Media>"
                      "<tt:Extension><tt:DeviceIO><tt:XAddr>" +
                      deviceIoAddress(call) +
                      "</tt:XAddr><tt:VideoSources>0</tt:VideoSources><tt:VideoOutputs>0</tt:VideoOutputs>"
                      "<tt:AudioSources>0</tt:AudioSources><tt:AudioOutputs>0</tt:AudioOutputs>"
                      "<tt:RelayOutputs>0</tt:RelayOutputs></tt:DeviceIO><tt:Recording><tt:XAddr>" +
                      recordingAddress(call, "recording") + "</tt:XAddr></tt:Recording><tt:Search><tt:XAddr>" +
                      recordingAddress(call, "search") + "</tt:XAddr></tt:Search><tt:Replay><tt:XAddr>" +
                      recordingAddress(call, "replay") +
                      "</tt:XAddr></tt:Replay></tt:Extension></tds:Capabilities></tds:GetCapabilitiesResponse>");
}

std::string service(const std::string& space, const std::string& address)
{
    return "<tds:Service><tds:Namespace>" + space + "</tds:Namespace><tds:XAddr>" + address +
           "</tds:XAddr><tds:Version><tt:Major>2</tt:Major><tt:Minor>6</tt:Minor></tds:Version></tds:Service>";
}

SoapAnswer getServices(OnvifContext&, const OnvifCall& call)
{
    return soapAnswer(
        "<tds:GetServicesResponse>" + service(kDeviceSpace, deviceAddress(call)) +
        service(kMediaSpace, mediaAddress(call)) + service(kSearchSpace, recordingAddress(call, "search")) +
        service(kRecordingSpace, recordingAddress(call, "recording")) +
        service(kReplaySpace, recordingAddress(call, "replay")) + service(kEventSpace, eventAddress(call)) +
        service(kDeviceIoSpace, deviceIoAddress(call)) + service(kTokenSpace, tokenAddress(call)) +
        service(kCommandSpace, "http://" + call.hostAndPort + kCommandPath) + "</tds:GetServicesResponse>");
}

SoapAnswer getServiceCapabilities(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<tds:GetServiceCapabilitiesResponse><tds:Capabilities><tds:Network/>"
                      "<tds:Security UsernameToken=\"true\" HttpDigest=\"false\"/><tds:System DiscoveryBye=\"false\" "
                      "HttpFirmwareUpgrade=\"true\" HttpSystemBackup=\"false\"/>"
                      "</tds:Capabilities></tds:GetServiceCapabilitiesResponse>");
}

SoapAnswer getHostname(OnvifContext& c, const OnvifCall&)
{
    return soapAnswer("<tds:GetHostnameResponse><tds:HostnameInformation><tt:FromDHCP>false</tt:FromDHCP><tt:Name>" +
                      xmlEscape(c.options.name) + "</tt:Name></tds:HostnameInformation></tds:GetHostnameResponse>");
}

SoapAnswer getNetworkInterfaces(OnvifContext& c, const OnvifCall&)
{
    return soapAnswer(
        "<tds:GetNetworkInterfacesResponse><tds:NetworkInterfaces token=\"lo\"><tt:Enabled>true</tt:Enabled>"
        "<tt:Info><tt:Name>lo</tt:Name><tt:HwAddress>02:00:00:00:00:01</tt:HwAddress></tt:Info>"
        "<tt:IPv4><tt:Enabled>true</tt:Enabled><tt:Config><tt:Manual><tt:Address>" +
        xmlEscape(c.options.address) +
        "</tt:Address><tt:PrefixLength>8</tt:PrefixLength></tt:Manual><tt:DHCP>false</tt:DHCP></tt:Config>"
        "</tt:IPv4></tds:NetworkInterfaces></tds:GetNetworkInterfacesResponse>");
}

SoapAnswer getScopes(OnvifContext& c, const OnvifCall&)
{
    return soapAnswer("<tds:GetScopesResponse><tds:Scopes><tt:ScopeDef>Fixed</tt:ScopeDef><tt:ScopeItem>"
                      "onvif://www.onvif.org/serial/" +
                      xmlEscape(c.options.serial) + "</tt:ScopeItem></tds:Scopes></tds:GetScopesResponse>");
}

SoapAnswer getUsers(OnvifContext& c, const OnvifCall&)
{
    return soapAnswer("<tds:GetUsersResponse><tds:User><tt:Username>" + xmlEscape(c.options.user) +
                      "</tt:Username><tt:UserLevel>Administrator</tt:UserLevel></tds:User></tds:GetUsersResponse>");
}

/// Where a file is wanted. The address holds a ticket: who has asked with credentials may put a file there.
SoapAnswer upload(OnvifContext& c, const OnvifCall& call, const std::string& kind, const std::string& response,
                  const std::string& delay)
{
    if (c.state.busy()) {
        return soapFault("Receiver", "ter:DeviceBusy", "The device is busy with an upgrade");
    }
    return soapAnswer("<tds:" + response + "><tds:UploadUri>http://" + call.hostAndPort + "/upload/" +
                      c.state.beginUpload(kind) + "</tds:UploadUri>" + delay +
                      "<tds:ExpectedDownTime>PT0S</tds:ExpectedDownTime></tds:" + response + ">");
}

SoapAnswer startFirmwareUpgrade(OnvifContext& c, const OnvifCall& call)
{
    return upload(c, call, "firmware", "StartFirmwareUpgradeResponse", "<tds:UploadDelay>PT0S</tds:UploadDelay>");
}

SoapAnswer startSystemRestore(OnvifContext& c, const OnvifCall& call)
{
    return upload(c, call, "settings", "StartSystemRestoreResponse", "");
}

} // namespace

const OperationTable& deviceOperations()
{
    static const OperationTable table = {
        // operation                handler                 open without login
        {"GetSystemDateAndTime", {&getSystemDateAndTime, true}},
        {"GetServices", {&getServices, true}},
        {"GetServiceCapabilities", {&getServiceCapabilities, true}},
        {"GetCapabilities", {&getCapabilities, true}},
        {"GetHostname", {&getHostname, true}},
        {"GetDeviceInformation", {&getDeviceInformation, false}},
        {"GetNetworkInterfaces", {&getNetworkInterfaces, false}},
        {"GetScopes", {&getScopes, false}},
        {"GetUsers", {&getUsers, false}},
        {"StartFirmwareUpgrade", {&startFirmwareUpgrade, false}},
        {"StartSystemRestore", {&startSystemRestore, false}},
    };
    return table;
}

} // namespace lumo::recorder
