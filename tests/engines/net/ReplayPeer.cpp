#include "ReplayPeer.h"

#include "DeviceClock.h"
#include "Onvif.h"
#include "Text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace lumo::net::test
{
namespace
{

using Clock = std::chrono::steady_clock;

int64_t clockMs(const std::string& text)
{
    std::tm t{};
    double second = 0;
    if (std::sscanf(text.c_str(), "%4d%2d%2dT%2d%2d%lf", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour, &t.tm_min,
                    &second) != 6)
        return -1;
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    return secondsOfUtc(t) * 1000 + int64_t(second * 1000 + 0.5);
}

/// With the replay extension: an absolute time.
Bytes timedRtp(uint16_t sequence, int64_t utcMs, bool marker, const Bytes& payload, bool withTime)
{
    Bytes packet = rtp(sequence, uint32_t(utcMs * 90), marker, payload);
    if (!withTime)
        return packet;
    const uint64_t seconds = uint64_t(utcMs / 1000) + 2208988800u;
    const uint64_t fraction = ((uint64_t(utcMs % 1000) << 32) + 500) / 1000;
    Bytes extension = {0xAB, 0xAC, 0, 3};
    for (const uint64_t v : {seconds, fraction, uint64_t(0)})
        for (const int shift : {24, 16, 8, 0})
            extension.push_back(uint8_t(v >> shift));
    packet[0] |= 0x10;
    packet.insert(packet.begin() + 12, extension.begin(), extension.end());
    return packet;
}

std::string soapReply(const std::string& body)
{
    const std::string text = "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:t=\"x\"><s:Body>" +
                             body + "</s:Body></s:Envelope>";
    return "HTTP/1.1 200 x\r\nContent-Type: application/soap+xml\r\nContent-Length: " + std::to_string(text.size()) +
           "\r\n\r\n" + text;
}

std::string timeNode(const char* name, int64_t seconds)
{
    const std::string iso = isoTime(seconds * 1000);
    const auto number = [&](size_t at, size_t size) { return std::to_string(std::stoi(iso.substr(at, size))); };
    return std::string("<t:") + name + "><t:Time><t:Hour>" + number(11, 2) + "</t:Hour><t:Minute>" + number(14, 2) +
           "</t:Minute><t:Second>" + number(17, 2) + "</t:Second></t:Time><t:Date><t:Year>" + number(0, 4) +
           "</t:Year><t:Month>" + number(5, 2) + "</t:Month><t:Day>" + number(8, 2) + "</t:Day></t:Date></t:" + name +
           ">";
}

} // namespace

bool ReplayPeer::play(const PeerRequest& r, Session& s) const
{
    const std::string range = r.header("Range"), scale = r.header("Scale");
    if (!range.empty()) {
        const size_t dash = range.find('-');
        const int64_t from = clockMs(range.substr(6, dash - 6)), to = clockMs(range.substr(dash + 1));
        const int first = int(std::max<int64_t>((from - kRecordedFrom + kPeriodMs - 1) / kPeriodMs, 0));
        if (from < 0 || first >= pictures)
            return false;
        s.picture = first / kGroup * kGroup;
        s.last = to < 0 ? pictures : int(std::min<int64_t>((to - kRecordedFrom + kPeriodMs - 1) / kPeriodMs, pictures));
    }
    s.scale = scale.empty() ? 1.0 : std::stod(scale);
    s.paced = r.header("Rate-Control") != "no";
    s.playing = true;
    s.due = Clock::now();
    return true;
}

bool ReplayPeer::answer(PeerConnection& connection, const PeerRequest& r, Session& s)
{
    record(r);
    int status = 200;
    set([&] {
        if (statusOf.count(r.method))
            status = statusOf[r.method];
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(answerDelayMs));
    std::string extra = "Session: 7;timeout=60\r\n", body;
    if (r.method == "DESCRIBE") {
        body = "v=0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=control:video\r\n";
        extra = "";
    } else if (r.method == "SETUP") {
        extra += "Transport: " + r.header("Transport") + "\r\n";
    } else if (r.method == "PLAY" && status == 200 && !play(r, s)) {
        status = 457;
    } else if (r.method == "PAUSE" && status == 200) {
        s.playing = false;
        ++pauses;
    }
    playing = s.playing;
    connection.send("RTSP/1.0 " + std::to_string(status) + " x\r\nCSeq: " + r.header("CSeq") + "\r\n" + extra +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    if (r.method == "TEARDOWN")
        connection.close();
    return connection.open();
}

bool ReplayPeer::sendPicture(PeerConnection& connection, Session& s)
{
    if (s.picture >= s.last) {
        s.playing = playing = false;
        if (bye)
            connection.sendInterleaved(1, hex("80c90001000012348 1cb000100001234"));
        return true;
    }
    const int64_t time = kRecordedFrom + int64_t(s.picture) * kPeriodMs;
    const bool key = s.picture % kGroup == 0;
    if (key) {
        connection.sendInterleaved(0, timedRtp(s.sequence++, time, false, kSps1080, times));
        connection.sendInterleaved(0, timedRtp(s.sequence++, time, false, kPps, false));
    }
    Bytes slice = key ? kIdr : kSlice;
    slice.insert(slice.end(), padding, 0x55);
    slice.insert(slice.end(), {uint8_t(s.picture >> 8), uint8_t(s.picture), 0x80});
    connection.sendInterleaved(0, timedRtp(s.sequence++, time, true, slice, times && !key));
    ++s.picture;
    ++sent;
    s.due += std::chrono::microseconds(int64_t(kPeriodMs * 1000 / s.scale));
    return connection.open();
}

void ReplayPeer::serve(PeerConnection& connection)
{
    Session s;
    if (cutAfter == 0)
        return;
    while (!m_stop && connection.open()) {
        const bool mute = deaf || (stopAfter >= 0 && sent >= stopAfter);
        const bool sending = s.playing && !mute;
        int wait = 5;
        if (sending && s.paced)
            wait = int(std::clamp<int64_t>(
                std::chrono::duration_cast<std::chrono::milliseconds>(s.due - Clock::now()).count(), 0, 5));
        else if (sending)
            wait = 0;
        connection.fill(wait);
        bool asked = false;
        while (const auto r = connection.next()) { // several may have come in one piece
            asked = true;
            if (!deaf && !answer(connection, *r, s))
                return;
        }
        if (asked)
            continue;
        if (!sending || (s.paced && Clock::now() < s.due))
            continue;
        if (cutAfter >= 0 && sent >= cutAfter) {
            cutAfter = 0;
            connection.close();
            return;
        }
        if (!sendPicture(connection, s))
            return;
    }
}

void offerReplay(OnvifDevicePeer& onvif, const ReplayPeer& replay, int offsetMinutes, const std::string& zone)
{
    const auto service = [](const char* space, const char* path) {
        return std::string("<t:Service><t:Namespace>http://www.onvif.org/ver10/") + space +
               "/wsdl</t:Namespace><t:XAddr>http://192.0.2.7:9/" + path + "</t:XAddr></t:Service>";
    };
    onvif.channels = 1;
    onvif.set([&] {
        auto& replies = onvif.rawReplyTo;
        replies["GetServices"] =
            soapReply("<t:GetServicesResponse>" + service("media", "media") + service("search", "search") +
                      service("replay", "replay") + "</t:GetServicesResponse>");
        replies["FindRecordings"] =
            soapReply("<t:FindRecordingsResponse><t:SearchToken>find1</t:SearchToken></t:FindRecordingsResponse>");
        replies["GetRecordingSearchResults"] =
            soapReply("<t:GetRecordingSearchResultsResponse><t:ResultList><t:SearchState>Completed</t:SearchState>"
                      "<t:RecordingInformation><t:RecordingToken>rec_0</t:RecordingToken><t:Source><t:SourceId>s0"
                      "</t:SourceId></t:Source><t:EarliestRecording>2025-03-29T09:00:00Z</t:EarliestRecording>"
                      "</t:RecordingInformation></t:ResultList></t:GetRecordingSearchResultsResponse>");
        replies["EndSearch"] = soapReply("<t:EndSearchResponse/>");
        replies["GetReplayUri"] =
            soapReply("<t:GetReplayUriResponse><t:Uri>rtsp://192.0.2.7:" + std::to_string(replay.port()) +
                      "/replay/0</t:Uri></t:GetReplayUriResponse>");
        const int64_t now = wallClockMs() / 1000;
        replies["GetSystemDateAndTime"] = soapReply(
            "<t:GetSystemDateAndTimeResponse><t:SystemDateAndTime><t:TimeZone><t:TZ>" + zone + "</t:TZ></t:TimeZone>" +
            timeNode("UTCDateTime", now) + timeNode("LocalDateTime", now + offsetMinutes * 60) +
            "</t:SystemDateAndTime></t:GetSystemDateAndTimeResponse>");
    });
}

RecordTimeInfo byTime(const std::string& begin, const std::string& end, int channel)
{
    RecordTimeInfo info{};
    info.nChannel = channel;
    const auto read = [](const std::string& text, RecordTime6& t) {
        std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &t.nYear, &t.nMonth, &t.nDay, &t.nHour, &t.nMinute, &t.nSecond);
    };
    read(begin, info.stBegin);
    read(end, info.stEnd);
    return info;
}

RecordFileInfo byName(const std::string& name, int channel)
{
    RecordFileInfo info{};
    info.nChannel = channel;
    std::strncpy(info.szFileName, name.c_str(), sizeof info.szFileName - 1);
    return info;
}

} // namespace lumo::net::test
