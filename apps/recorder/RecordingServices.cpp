// ONVIF recording search, recording control and replay control: what was recorded, and where it is played from.
#include "OnvifServices.h"

#include <algorithm>
#include <cstdlib>

namespace lumo::recorder
{
namespace
{

// How many results an answer holds when the client does not say.
constexpr int kResultsAtOnce = 50;
constexpr size_t kMaxSearches = 32; // under way at a time

std::string isoText(int64_t utcMs)
{
    std::string text = civilText(utcMs / 1000);
    text[10] = 'T';
    return text + "Z";
}

std::string textOf(const OnvifCall& call, const char* name)
{
    return childNamed(call.soap.action, name).text().get();
}

SoapAnswer noToken(const char* what)
{
    return soapFault("Sender", "ter:InvalidArgVal", std::string("No such ") + what);
}

/// The channel of a recording token; below 0 when there is none.
int channelOf(const OnvifContext& c, const std::string& token)
{
    for (int channel = 0; channel < c.recordings.channels(); ++channel) {
        if (RecordingStore::recordingToken(channel) == token) {
            return channel;
        }
    }
    return -1;
}

std::string source(const OnvifContext& c, int channel)
{
    const std::string number = std::to_string(channel);
    return "<tt:SourceId>source_" + number + "</tt:SourceId><tt:Name>Channel " + std::to_string(channel + 1) +
           "</tt:Name><tt:Location>" + xmlEscape(c.options.name) + "</tt:Location><tt:Description>Channel " +
           std::to_string(channel + 1) + "</tt:Description><tt:Address>source_" + number + "</tt:Address>";
}

std::string track(const char* token, const char* type, const std::string& inner)
{
    return std::string("<tt:TrackToken>") + token + "</tt:TrackToken><tt:TrackType>" + type +
           "</tt:TrackType><tt:Description>" + type + "</tt:Description>" + inner;
}

std::string information(const OnvifContext& c, int channel)
{
    const auto stretches = c.recordings.stretches(channel);
    const int64_t first = stretches.empty() ? c.recordings.nowMs() : stretches.front().beginMs;
    const int64_t last = stretches.empty() ? first : stretches.back().endMs();
    const std::string data =
        "<tt:DataFrom>" + isoText(first) + "</tt:DataFrom><tt:DataTo>" + isoText(last) + "</tt:DataTo>";
    std::string tracks = "<tt:Track>" + track(RecordingStore::videoTrack(), "Video", data) + "</tt:Track>";
    if (channel == 0) {
        tracks += "<tt:Track>" + track(RecordingStore::audioTrack(), "Audio", data) + "</tt:Track>";
    }
    return "<tt:RecordingToken>" + RecordingStore::recordingToken(channel) + "</tt:RecordingToken><tt:Source>" +
           source(c, channel) + "</tt:Source><tt:EarliestRecording>" + isoText(first) +
           "</tt:EarliestRecording><tt:LatestRecording>" + isoText(last) +
           "</tt:LatestRecording><tt:Content>Continuous</tt:Content>" + tracks +
           "<tt:RecordingStatus>Recording</tt:RecordingStatus>";
}

SoapAnswer searchCapabilities(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<tse:GetServiceCapabilitiesResponse><tse:Capabilities MetadataSearch=\"false\" "
                      "GeneralStartEvents=\"false\"/></tse:GetServiceCapabilitiesResponse>");
}

SoapAnswer getRecordingSummary(OnvifContext& c, const OnvifCall&)
{
    int64_t first = c.recordings.nowMs(), last = 0;
    for (int channel = 0; channel < c.recordings.channels(); ++channel) {
        for (const Stretch& s : c.recordings.stretches(channel)) {
            first = std::min(first, s.beginMs);
            last = std::max(last, s.endMs());
        }
    }
    return soapAnswer("<tse:GetRecordingSummaryResponse><tse:Summary><tt:DataFrom>" + isoText(first) +
                      "</tt:DataFrom><tt:DataUntil>" + isoText(std::max(first, last)) +
                      "</tt:DataUntil><tt:NumberRecordings>" + std::to_string(c.recordings.channels()) +
                      "</tt:NumberRecordings></tse:Summary></tse:GetRecordingSummaryResponse>");
}

SoapAnswer getRecordingInformation(OnvifContext& c, const OnvifCall& call)
{
    const int channel = channelOf(c, textOf(call, "RecordingToken"));
    return channel < 0 ? noToken("recording")
                       : soapAnswer("<tse:GetRecordingInformationResponse><tse:RecordingInformation>" +
                                    information(c, channel) +
                                    "</tse:RecordingInformation></tse:GetRecordingInformationResponse>");
}

// All is known at once: a search is its number and how far its results were fetched.
SoapAnswer findRecordings(OnvifContext& c, const OnvifCall&)
{
    const int number = ++c.searches;
    c.fetched[number] = 0;
    if (c.fetched.size() > kMaxSearches) {
        c.fetched.erase(c.fetched.begin()); // the oldest: whoever began it never ended it
    }
    return soapAnswer("<tse:FindRecordingsResponse><tse:SearchToken>search_" + std::to_string(number) +
                      "</tse:SearchToken></tse:FindRecordingsResponse>");
}

/// The search that a call names; nothing when there is none.
std::map<int, int>::iterator searchOf(OnvifContext& c, const OnvifCall& call)
{
    const std::string token = textOf(call, "SearchToken");
    return token.rfind("search_", 0) == 0 ? c.fetched.find(std::atoi(token.c_str() + 7)) : c.fetched.end();
}

SoapAnswer getRecordingSearchResults(OnvifContext& c, const OnvifCall& call)
{
    const auto search = searchOf(c, call);
    if (search == c.fetched.end()) {
        return noToken("search");
    }
    const int told = childNamed(call.soap.action, "MaxResults").text().as_int(kResultsAtOnce);
    const int last = std::min(c.recordings.channels(), search->second + std::max(1, told));
    std::string results;
    for (; search->second < last; ++search->second) {
        results += "<tt:RecordingInformation>" + information(c, search->second) + "</tt:RecordingInformation>";
    }
    return soapAnswer("<tse:GetRecordingSearchResultsResponse><tse:ResultList><tt:SearchState>" +
                      std::string(last == c.recordings.channels() ? "Completed" : "Searching") + "</tt:SearchState>" +
                      results + "</tse:ResultList></tse:GetRecordingSearchResultsResponse>");
}

SoapAnswer endSearch(OnvifContext& c, const OnvifCall& call)
{
    const auto search = searchOf(c, call);
    if (search == c.fetched.end()) {
        return noToken("search");
    }
    c.fetched.erase(search);
    return soapAnswer("<tse:EndSearchResponse><tse:Endpoint>" + isoText(c.recordings.nowMs()) +
                      "</tse:Endpoint></tse:EndSearchResponse>");
}

SoapAnswer recordingCapabilities(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<trc:GetServiceCapabilitiesResponse><trc:Capabilities DynamicRecordings=\"false\" "
                      "DynamicTracks=\"false\" MaxRecordings=\"4\"/></trc:GetServiceCapabilitiesResponse>");
}

SoapAnswer getRecordings(OnvifContext& c, const OnvifCall&)
{
    std::string items;
    for (int channel = 0; channel < c.recordings.channels(); ++channel) {
        std::string tracks;
        for (const bool sound : {false, true}) {
            if (sound && channel != 0) {
                continue;
            }
            const char* type = sound ? "Audio" : "Video";
            tracks += std::string("<tt:Track><tt:TrackToken>") +
                      (sound ? RecordingStore::audioTrack() : RecordingStore::videoTrack()) +
                      "</tt:TrackToken><tt:Configuration><tt:TrackType>" + type + "</tt:TrackType><tt:Description>" +
                      type + "</tt:Description></tt:Configuration></tt:Track>";
        }
        items += "<trc:RecordingItem><tt:RecordingToken>" + RecordingStore::recordingToken(channel) +
                 "</tt:RecordingToken><tt:Configuration><tt:Source>" + source(c, channel) +
                 "</tt:Source><tt:Content>Continuous</tt:Content><tt:MaximumRetentionTime>PT0S"
                 "</tt:MaximumRetentionTime></tt:Configuration><tt:Tracks>" +
                 tracks + "</tt:Tracks></trc:RecordingItem>";
    }
    return soapAnswer("<trc:GetRecordingsResponse>" + items + "</trc:GetRecordingsResponse>");
}

SoapAnswer replayCapabilities(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<trp:GetServiceCapabilitiesResponse><trp:Capabilities ReversePlayback=\"false\" "
                      "SessionTimeoutRange=\"60 60\" RTP_RTSP_TCP=\"true\"/></trp:GetServiceCapabilitiesResponse>");
}

SoapAnswer getReplayUri(OnvifContext& c, const OnvifCall& call)
{
    const int channel = channelOf(c, textOf(call, "RecordingToken"));
    return channel < 0 ? noToken("recording")
                       : soapAnswer("<trp:GetReplayUriResponse><trp:Uri>rtsp://" + call.host() + ":" +
                                    std::to_string(c.replayPort) + "/replay/" + std::to_string(channel) +
                                    "</trp:Uri></trp:GetReplayUriResponse>");
}

SoapAnswer getReplayConfiguration(OnvifContext&, const OnvifCall&)
{
    return soapAnswer("<trp:GetReplayConfigurationResponse><trp:Configuration><tt:SessionTimeout>PT60S"
                      "</tt:SessionTimeout></trp:Configuration></trp:GetReplayConfigurationResponse>");
}

} // namespace

const OperationTable& searchOperations()
{
    static const OperationTable table = {
        // operation                   handler                     open without login
        {"GetServiceCapabilities", {&searchCapabilities, true}},
        {"GetRecordingSummary", {&getRecordingSummary, false}},
        {"GetRecordingInformation", {&getRecordingInformation, false}},
        {"FindRecordings", {&findRecordings, false}},
        {"GetRecordingSearchResults", {&getRecordingSearchResults, false}},
        {"EndSearch", {&endSearch, false}},
    };
    return table;
}

const OperationTable& recordingOperations()
{
    static const OperationTable table = {
        {"GetServiceCapabilities", {&recordingCapabilities, true}},
        {"GetRecordings", {&getRecordings, false}},
    };
    return table;
}

const OperationTable& replayOperations()
{
    static const OperationTable table = {
        {"GetServiceCapabilities", {&replayCapabilities, true}},
        {"GetReplayUri", {&getReplayUri, false}},
        {"GetReplayConfiguration", {&getReplayConfiguration, false}},
    };
    return table;
}

} // namespace lumo::recorder
