#include "Onvif.h"

#include "OnvifWords.h"
#include "RtspMessage.h"
#include "Text.h"
#include "Xml.h"

#include "device/LumoNet.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace lumo::net
{
namespace
{

constexpr const char* kSoapType = "application/soap+xml; charset=utf-8";

std::string envelope(const std::string& header, const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">" +
           (header.empty() ? std::string() : "<s:Header>" + header + "</s:Header>") + "<s:Body>" + body +
           "</s:Body></s:Envelope>";
}

bool contains(const std::string& text, std::initializer_list<const char*> words)
{
    for (const char* w : words)
        if (text.find(w) != std::string::npos)
            return true;
    return false;
}

bool readTime(const pugi::xml_node& node, std::tm& out)
{
    const auto date = xml::child(node, "Date"), time = xml::child(node, "Time");
    if (!date || !time)
        return false;
    const auto number = [](const pugi::xml_node& n, const char* name) { return xml::child(n, name).text().as_int(-1); };
    out = {};
    out.tm_year = number(date, "Year") - 1900;
    out.tm_mon = number(date, "Month") - 1;
    out.tm_mday = number(date, "Day");
    out.tm_hour = number(time, "Hour");
    out.tm_min = number(time, "Minute");
    out.tm_sec = number(time, "Second");
    return out.tm_year >= 70 && out.tm_year < 300 && out.tm_mon >= 0 && out.tm_mon < 12 && out.tm_mday >= 1 &&
           out.tm_mday <= 31 && out.tm_hour >= 0 && out.tm_hour < 24 && out.tm_min >= 0 && out.tm_min < 60 &&
           out.tm_sec >= 0 && out.tm_sec <= 60;
}

/// The offset of a POSIX zone text like "CST-8" or "<+0330>-3:30", east positive; summer time is told apart.
bool offsetOfZone(std::string_view zone, bool summer, int32_t& seconds)
{
    if (zone.starts_with('<'))
        takeUntil(zone, '>');
    else
        while (!zone.empty() && std::isalpha(uint8_t(zone.front())))
            zone.remove_prefix(1);
    if (zone.empty())
        return false;
    const int sign = zone.front() == '-' ? 1 : -1;
    if (zone.front() == '-' || zone.front() == '+')
        zone.remove_prefix(1);
    const int64_t hours = toNumber(zone, -1);
    if (hours < 0 || hours > 24)
        return false;
    takeUntil(zone, ':');
    const int64_t minutes = toNumber(zone, 0);
    seconds = int32_t(sign * (hours * 3600 + (minutes > 0 && minutes < 60 ? minutes * 60 : 0)) + (summer ? 3600 : 0));
    return true;
}

} // namespace

std::string isoTime(int64_t ms)
{
    const std::time_t seconds = std::time_t(ms / 1000);
    const int64_t days = seconds / 86400;
    const auto date = std::chrono::year_month_day(std::chrono::sys_days(std::chrono::days(days)));
    const int64_t rest = seconds % 86400;
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int(date.year()), unsigned(date.month()),
                  unsigned(date.day()), int(rest / 3600), int(rest / 60 % 60), int(rest % 60));
    return text;
}

std::string usernameToken(const std::string& user, const std::string& password, const std::string& nonce,
                          const std::string& created)
{
    const std::string digest = base64(hashBytes(Hash::Sha1, nonce + created + password));
    return "<Security s:mustUnderstand=\"1\" "
           "xmlns=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd\">"
           "<UsernameToken><Username>" +
           xml::escaped(user) +
           "</Username><Password "
           "Type=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-username-token-profile-1.0#PasswordDigest\">" +
           digest +
           "</Password><Nonce "
           "EncodingType=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-soap-message-security-1.0#Base64Binary\">" +
           base64(nonce) +
           "</Nonce><Created "
           "xmlns=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd\">" +
           created + "</Created></UsernameToken></Security>";
}

int errorOfFault(std::string_view text)
{
    pugi::xml_document doc;
    if (!xml::load(doc, text))
        return LUMONET_ERR_REFUSED;
    const auto body = xml::find(doc, "Body");
    if (!body)
        return LUMONET_ERR_REFUSED;
    const auto fault = xml::child(body, "Fault");
    if (!fault)
        return 0;
    std::string words;
    for (const char* name : {"Value", "Text", "faultcode", "faultstring"})
        xml::each(fault, name, [&](const pugi::xml_node& n) { words += lower(xml::text(n)) + " "; });
    if (contains(words, {"unknownuser", "unknown user", "no such user", "user not found", "usernamemissing"}))
        return LUMONET_ERR_USER;
    if (contains(words, {"locked", "lockout"}))
        return LUMONET_ERR_LOCKED;
    if (contains(words, {"already logged"}))
        return LUMONET_ERR_ALREADY_LOGGED_IN;
    if (contains(words, {"too many", "toomany", "maxsessions", "max sessions", "session limit"}))
        return LUMONET_ERR_SESSIONS;
    if (contains(words, {"notauthorized", "not authorized", "failedauthentication", "unauthorized"}))
        return LUMONET_ERR_PASSWORD;
    if (contains(words, {"notsupported", "notimplemented", "not supported", "not implemented"}))
        return LUMONET_ERR_UNSUPPORTED;
    return LUMONET_ERR_REFUSED;
}

std::string pathOf(const std::string& url)
{
    const size_t begin = url.find("://");
    if (begin == std::string::npos)
        return url.starts_with('/') ? url : "/" + url;
    const size_t path = url.find('/', begin + 3);
    return path == std::string::npos ? "/" : url.substr(path);
}

bool parseClock(std::string_view text, int64_t nowMs, DeviceClock& clock)
{
    pugi::xml_document doc;
    if (!xml::load(doc, text))
        return false;
    const auto root = xml::find(doc, "SystemDateAndTime");
    std::tm utc{}, local{};
    const bool hasUtc = readTime(xml::child(root, "UTCDateTime"), utc);
    const bool hasLocal = readTime(xml::child(root, "LocalDateTime"), local);
    clock = {};
    if (!hasUtc)
        return false;
    const int64_t skew = secondsOfUtc(utc) * 1000 - nowMs;
    // The device tells whole seconds: less than that is no difference.
    clock.skewMs = std::llabs(skew) <= 1500 ? 0 : skew;
    if (hasLocal) {
        clock.offsetSec = int32_t(secondsOfUtc(local) - secondsOfUtc(utc));
        clock.knowsOffset = std::abs(clock.offsetSec) <= 26 * 3600;
    } else {
        const bool summer = sameText(xml::text(xml::child(root, "DaylightSavings")), "true");
        clock.knowsOffset =
            offsetOfZone(xml::text(xml::child(xml::child(root, "TimeZone"), "TZ")), summer, clock.offsetSec);
    }
    // Its rules count where they fit what it shows now: devices tell zones that they do not keep.
    const auto zone = PosixZone::parse(trim(xml::text(xml::child(xml::child(root, "TimeZone"), "TZ"))));
    if (zone && clock.knowsOffset && zone->offsetAt(secondsOfUtc(utc)) == clock.offsetSec)
        clock.zone = zone;
    return true;
}

std::vector<OnvifChannel> parseChannels(std::string_view profilesXml, std::string_view sourcesXml)
{
    struct Sized {
        long largest = -1, smallest = -1; // pixels
        OnvifChannel channel;
    };
    std::vector<std::string> order;
    std::map<std::string, Sized> found;
    pugi::xml_document doc;
    if (xml::load(doc, sourcesXml))
        xml::each(doc, "VideoSources", [&](const pugi::xml_node& n) { order.push_back(n.attribute("token").value()); });
    const bool sourcesTold = !order.empty();
    if (!xml::load(doc, profilesXml))
        return {};
    xml::each(doc, "Profiles", [&](const pugi::xml_node& profile) {
        const std::string source =
            xml::text(xml::child(xml::child(profile, "VideoSourceConfiguration"), "SourceToken"));
        const auto resolution = xml::child(xml::child(profile, "VideoEncoderConfiguration"), "Resolution");
        const std::string token = profile.attribute("token").value();
        const std::string configuration = xml::child(profile, "VideoSourceConfiguration").attribute("token").value();
        if (source.empty() || token.empty() || !xml::child(profile, "VideoEncoderConfiguration"))
            return;
        const long pixels = std::clamp(xml::child(resolution, "Width").text().as_int(), 0, 32767) *
                            long(std::clamp(xml::child(resolution, "Height").text().as_int(), 0, 32767));
        Sized& s = found[source];
        if (s.largest < 0 && !sourcesTold)
            order.push_back(source);
        if (pixels > s.largest) {
            s.largest = pixels;
            s.channel.profiles[0] = token;
        }
        if (s.smallest < 0 || pixels <= s.smallest) {
            s.smallest = pixels;
            s.channel.profiles[1] = token;
        }
        s.channel.source = source;
        s.channel.names.push_back(token);
        s.channel.names.push_back(configuration);
        s.channel.talks = s.channel.talks || xml::find(profile, "AudioOutputConfiguration");
    });
    // A source without a profile keeps its place, so that the numbers of the others stay.
    std::vector<OnvifChannel> channels;
    for (const auto& source : order) {
        OnvifChannel c = found[source].channel;
        c.source = source;
        channels.push_back(std::move(c));
    }
    return channels;
}

bool parseIsoTime(std::string_view text, int64_t& ms)
{
    const std::string s(trim(text));
    std::tm t{};
    double second = 0;
    int used = 0;
    if (std::sscanf(s.c_str(), "%4d-%2d-%2dT%2d:%2d:%lf%n", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour, &t.tm_min,
                    &second, &used) != 6 ||
        !(second >= 0 && second < 61))
        return false;
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    int hours = 0, minutes = 0;
    char sign = 0;
    if (std::sscanf(s.c_str() + used, "%c%2d:%2d", &sign, &hours, &minutes) != 3 || (sign != '+' && sign != '-'))
        hours = minutes = 0;
    const int64_t offset = (hours * 3600 + minutes * 60) * (sign == '-' ? -1 : 1);
    const int64_t whole = secondsOfUtc(t);
    ms = (whole - offset) * 1000 + int64_t(second * 1000 + 0.5);
    return whole != 0;
}

std::vector<OnvifRecording> parseRecordings(std::string_view text, bool& completed)
{
    std::vector<OnvifRecording> found;
    pugi::xml_document doc;
    completed = true;
    if (!xml::load(doc, text))
        return found;
    const std::string state(trim(xml::text(xml::find(doc, "SearchState"))));
    completed = !sameText(state, "Queued") && !sameText(state, "Searching");
    xml::each(doc, "RecordingInformation", [&](const pugi::xml_node& n) {
        OnvifRecording r;
        r.token = xml::text(xml::child(n, "RecordingToken"));
        r.source = xml::text(xml::child(xml::child(n, "Source"), "SourceId"));
        parseIsoTime(xml::text(xml::child(n, "EarliestRecording")), r.earliestMs);
        if (!parseIsoTime(xml::text(xml::child(n, "LatestRecording")), r.latestMs))
            r.latestMs = INT64_MAX; // it still records
        if (!r.token.empty())
            found.push_back(std::move(r));
    });
    return found;
}

bool findDate(std::string_view text, int& year, int& month, int& day)
{
    const auto sound = [&](int y, int m, int d) {
        if (y < 1990 || y > 2099 || m < 1 || m > 12 || d < 1 || d > 31)
            return false;
        year = y;
        month = m;
        day = d;
        return true;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        if (!std::isdigit(uint8_t(text[i])) || (i > 0 && std::isdigit(uint8_t(text[i - 1]))))
            continue;
        const std::string part(text.substr(i, 16));
        int y = 0, m = 0, d = 0, used = 0;
        char a = 0, b = 0;
        if (std::sscanf(part.c_str(), "%4d%c%2d%c%2d", &y, &a, &m, &b, &d) == 5 && a == b &&
            (a == '-' || a == '/' || a == '.') && sound(y, m, d))
            return true;
        if (std::sscanf(part.c_str(), "%4d%2d%2d%n", &y, &m, &d, &used) == 3 && used == 8 &&
            !(part.size() > 8 && std::isdigit(uint8_t(part[8]))) && sound(y, m, d))
            return true;
    }
    return false;
}

OnvifClient::OnvifClient(OnvifPeer peer, const Timings& timings, std::shared_ptr<const std::atomic<bool>> cancel)
    : m_peer(std::move(peer)), m_http(timings.connectMs, timings.requestMs, std::move(cancel)),
      m_requestMs(timings.requestMs)
{
    if (m_peer.token.empty())
        m_http.setCredentials(m_peer.user, m_peer.password);
}

std::string OnvifClient::url(const std::string& path) const
{
    return "http://" + bracketed(m_peer.host) + ":" + std::to_string(m_peer.port) + path;
}

int OnvifClient::call(const std::string& path, const std::string& action, const std::string& body, bool withUser,
                      std::string& reply, const std::string& moreHeader)
{
    std::string header = moreHeader;
    std::vector<std::string> lines;
    if (withUser && !m_peer.token.empty())
        lines.push_back("X-Lumo-Token: " + m_peer.token);
    else if (withUser && !m_peer.user.empty())
        header += usernameToken(m_peer.user, m_peer.password, randomBytes(16), isoTime(wallClockMs() + m_skewMs));
    const HttpReply r =
        m_http.post(url(path), std::string(kSoapType) + "; action=\"" + action + "\"", envelope(header, body), lines);
    if (r.error != 0)
        return r.error;
    reply = r.body; // of a refusal, too: its words may matter
    const int fault = errorOfFault(r.body);
    if (r.status == 401)
        return fault == LUMONET_ERR_USER || fault == LUMONET_ERR_LOCKED ? fault : LUMONET_ERR_PASSWORD;
    if (fault != 0)
        return fault;
    if (r.status < 200 || r.status >= 300)
        return LUMONET_ERR_REFUSED;
    return 0;
}

int OnvifClient::ask(const std::string& path, const char* ns, const std::string& name, const std::string& inner,
                     std::string& reply, bool withUser)
{
    return call(path, std::string(ns) + "/" + name, onvifRequest(ns, name, inner), withUser, reply);
}

int OnvifClient::askForUri(const std::string& path, const char* ns, const std::string& name, const std::string& inner,
                           std::string& uri)
{
    std::string reply;
    if (const int error = ask(path, ns, name, inner, reply))
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    uri = std::string(trim(xml::text(xml::find(doc, "Uri"))));
    return uri.empty() ? LUMONET_ERR_REFUSED : 0;
}

int OnvifClient::readClock(DeviceClock& clock)
{
    std::string reply;
    const int error = ask(m_peer.path, kDeviceNs, "GetSystemDateAndTime", "", reply, false);
    if (error != 0)
        return error;
    if (parseClock(reply, wallClockMs(), clock))
        m_skewMs = clock.skewMs;
    return 0;
}

int OnvifClient::readServices()
{
    std::string reply;
    const int error = ask(m_peer.path, kDeviceNs, "GetServices", "<IncludeCapability>false</IncludeCapability>", reply);
    if (error == LUMONET_ERR_TIMEOUT || error == LUMONET_ERR_PASSWORD || error == LUMONET_ERR_USER ||
        error == LUMONET_ERR_LOCKED || error == LUMONET_ERR_SESSIONS)
        return error;
    pugi::xml_document doc;
    if (error == 0 && xml::load(doc, reply)) {
        xml::each(doc, "Service", [&](const pugi::xml_node& service) {
            const std::string ns = xml::text(xml::child(service, "Namespace"));
            const auto path = [&] { return pathOf(xml::text(xml::child(service, "XAddr"))); };
            if (ns == kMediaNs)
                m_paths.media = path();
            else if (ns == kSearchNs)
                m_paths.search = path();
            else if (ns == kReplayNs)
                m_paths.replay = path();
            else if (ns == kEventNs)
                m_paths.events = path();
            else if (ns == kDeviceIoNs)
                m_paths.deviceIo = path();
            else if (ns == kCommandNamespace)
                m_paths.command = path();
            m_knowsTokens = m_knowsTokens || ns == kTokenNamespace;
        });
    }
    // Devices from before GetServices tell the same in GetCapabilities.
    return m_paths.media.empty() ? readCapabilities() : 0;
}

int OnvifClient::readCapabilities()
{
    std::string reply;
    const int error = ask(m_peer.path, kDeviceNs, "GetCapabilities", "<Category>All</Category>", reply);
    if (error != 0)
        return error;
    pugi::xml_document doc;
    if (!xml::load(doc, reply))
        return LUMONET_ERR_REFUSED;
    const std::string address = xml::text(xml::child(xml::find(doc, "Media"), "XAddr"));
    if (address.empty())
        return LUMONET_ERR_UNSUPPORTED;
    m_paths.media = pathOf(address);
    const auto further = [&](const char* name) {
        const std::string told = xml::text(xml::child(xml::find(doc, name), "XAddr"));
        return told.empty() ? told : pathOf(told);
    };
    m_paths.search = further("Search");
    m_paths.replay = further("Replay");
    m_paths.events = further("Events");
    m_paths.deviceIo = further("DeviceIO");
    return 0;
}

int OnvifClient::readInfo(OnvifInfo& info)
{
    std::string reply;
    const int error = ask(m_peer.path, kDeviceNs, "GetDeviceInformation", "", reply);
    if (error != 0)
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    info.manufacturer = xml::text(xml::find(doc, "Manufacturer"));
    info.model = xml::text(xml::find(doc, "Model"));
    info.firmware = xml::text(xml::find(doc, "FirmwareVersion"));
    info.serial = xml::text(xml::find(doc, "SerialNumber"));
    info.name = info.model;
    readName(info);
    return 0;
}

/// The name that the device's user gave it stands among its scopes, percent-encoded.
void OnvifClient::readName(OnvifInfo& info)
{
    std::string reply;
    if (ask(m_peer.path, kDeviceNs, "GetScopes", "", reply) != 0)
        return;
    pugi::xml_document doc;
    xml::load(doc, reply);
    static constexpr std::string_view kPrefix = "onvif://www.onvif.org/name/";
    xml::each(doc, "ScopeItem", [&](const pugi::xml_node& n) {
        const std::string scope(trim(xml::text(n)));
        if (scope.starts_with(kPrefix) && scope.size() > kPrefix.size())
            info.name = percentDecoded(std::string_view(scope).substr(kPrefix.size()));
    });
}

int OnvifClient::readChannels(std::vector<OnvifChannel>& channels)
{
    std::string profiles, sources;
    int error = ask(m_paths.media, kMediaNs, "GetProfiles", "", profiles);
    if (error != 0)
        return error;
    error = ask(m_paths.media, kMediaNs, "GetVideoSources", "", sources);
    if (error == LUMONET_ERR_TIMEOUT)
        return error;
    channels = parseChannels(profiles, sources);
    return 0;
}

int OnvifClient::readStreamUri(const std::string& profile, bool udp, std::string& uri)
{
    const std::string setup =
        std::string("<StreamSetup><Stream xmlns=\"http://www.onvif.org/ver10/schema\">RTP-Unicast"
                    "</Stream><Transport xmlns=\"http://www.onvif.org/ver10/schema\"><Protocol>") +
        (udp ? "UDP" : "RTSP") + "</Protocol></Transport></StreamSetup>";
    return askForUri(m_paths.media, kMediaNs, "GetStreamUri",
                     setup + "<ProfileToken>" + xml::escaped(profile) + "</ProfileToken>", uri);
}

int OnvifClient::requestKeyFrame(const std::string& profile)
{
    std::string reply;
    return ask(m_paths.media, kMediaNs, "SetSynchronizationPoint",
               "<ProfileToken>" + xml::escaped(profile) + "</ProfileToken>", reply);
}

int OnvifClient::readSnapshotUri(const std::string& profile, std::string& uri)
{
    return askForUri(m_paths.media, kMediaNs, "GetSnapshotUri",
                     "<ProfileToken>" + xml::escaped(profile) + "</ProfileToken>", uri);
}

int OnvifClient::findRecordings(std::vector<OnvifRecording>& recordings)
{
    constexpr int kMaxRounds = 64;
    if (m_paths.search.empty())
        return LUMONET_ERR_UNSUPPORTED;
    const auto asked = [this](const std::string& name, const std::string& inner, std::string& reply) {
        return ask(m_paths.search, kSearchNs, name, inner, reply);
    };
    std::string reply;
    if (const int error = asked("FindRecordings", "<Scope/><KeepAliveTime>PT30S</KeepAliveTime>", reply))
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    const std::string token = xml::text(xml::find(doc, "SearchToken"));
    const std::string search = "<SearchToken>" + xml::escaped(token) + "</SearchToken>";
    if (token.empty())
        return LUMONET_ERR_REFUSED;
    recordings.clear();
    bool completed = false;
    int error = 0;
    for (int round = 0; round < kMaxRounds && !completed && error == 0; ++round) {
        error = asked("GetRecordingSearchResults", search + "<WaitTime>PT1S</WaitTime>", reply);
        for (auto& found : error == 0 ? parseRecordings(reply, completed) : std::vector<OnvifRecording>())
            recordings.push_back(std::move(found));
    }
    if (!completed && error != LUMONET_ERR_TIMEOUT)
        asked("EndSearch", search, reply);
    return error;
}

int OnvifClient::readReplayUri(const std::string& recording, std::string& uri)
{
    if (m_paths.replay.empty())
        return LUMONET_ERR_UNSUPPORTED;
    const std::string setup =
        "<StreamSetup><Stream xmlns=\"http://www.onvif.org/ver10/schema\">RTP-Unicast</Stream>"
        "<Transport xmlns=\"http://www.onvif.org/ver10/schema\"><Protocol>RTSP</Protocol></Transport></StreamSetup>";
    return askForUri(m_paths.replay, kReplayNs, "GetReplayUri",
                     setup + "<RecordingToken>" + xml::escaped(recording) + "</RecordingToken>", uri);
}

} // namespace lumo::net
