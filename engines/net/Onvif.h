// The ONVIF calls that a viewer makes: device and media service, over HTTP. One object is one conversation with one
// device. Thread: one at a time; every call blocks up to its time-out.
#pragma once

#include "AlarmNotice.h"
#include "DeviceClock.h"
#include "Http.h"
#include "Timings.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net
{

/// Whom to talk to, and as whom.
struct OnvifPeer {
    std::string host; // as it stands in addresses, without brackets
    uint16_t port = 80;
    std::string path = "/onvif/device_service";
    std::string user, password;
    std::string token; // instead of user and password
};

struct OnvifInfo {
    std::string manufacturer, model, firmware, serial, name;
};

/// A video source and its largest and smallest profile.
struct OnvifChannel {
    std::string source;
    std::array<std::string, 2> profiles; // tokens: main, sub
    std::vector<std::string> names;      // further tokens that mean it: all its profiles and configurations
    bool talks = false;                  // a profile of it names a loudspeaker
};

/// One recording as the search told of it; times in the device's UTC, milliseconds.
struct OnvifRecording {
    std::string token, source; // source: often the token of the video source
    int64_t earliestMs = 0, latestMs = 0;
};

/// Where a device wants a file to be put, and how long it needs before that.
struct OnvifUpload {
    std::string url;
    int64_t delayMs = 0;
};

/// Where a device keeps its events for us, and how long.
struct OnvifPullPoint {
    std::string path;
    std::string header; // what the device wants to see again in each request
    int64_t lifeMs = 0; // from the answer on
};

class OnvifClient
{
public:
    OnvifClient(OnvifPeer peer, const Timings& timings, std::shared_ptr<const std::atomic<bool>> cancel);

    /// GetSystemDateAndTime without credentials. Sets the clock that digests are made with.
    int readClock(DeviceClock& clock);
    /// For a client that does not ask for the time itself.
    void setSkew(int64_t skewMs) { m_skewMs = skewMs; }
    /// Learns the services' addresses.
    int readServices();
    bool knowsTokens() const { return m_knowsTokens; }
    int readInfo(OnvifInfo& info);
    int readChannels(std::vector<OnvifChannel>& channels);
    int readStreamUri(const std::string& profile, bool udp, std::string& uri);
    int requestKeyFrame(const std::string& profile);

    /// Where a still of what a profile shows now is.
    int readSnapshotUri(const std::string& profile, std::string& uri);
    /// All recordings, by the device's search.
    int findRecordings(std::vector<OnvifRecording>& recordings);
    int readReplayUri(const std::string& recording, std::string& uri);

    /// How many loudspeakers the device has.
    int readAudioOutputs(int& count);
    /// "StartFirmwareUpgrade", "StartSystemRestore": 0 or LUMONET_ERROR, _BUSY among them.
    int startUpload(const char* operation, OnvifUpload& upload);

    // Events; OnvifEvents.cpp

    /// A place of ours for events, for so long if the device agrees.
    int createPullPoint(int64_t lifeMs, OnvifPullPoint& point);
    /// Waits at the device for events, up to holdMs. events: how many came, and what they say is appended to notices.
    int pullEvents(const OnvifPullPoint& point, int holdMs, int limit, const AlarmSources& sources, int& events,
                   std::vector<AlarmNotice>& notices);
    int renewPullPoint(int64_t lifeMs, OnvifPullPoint& point);
    int endPullPoint(const OnvifPullPoint& point);
    /// The tokens of the digital inputs, in order.
    int readInputs(std::vector<std::string>& tokens);

    /// The services' paths; empty where the device has none.
    struct Paths {
        std::string media, search, replay, command, events, deviceIo;
    };
    const Paths& paths() const { return m_paths; }
    void setPaths(const Paths& paths) { m_paths = paths; }

private:
    int call(const std::string& path, const std::string& action, const std::string& body, bool withUser,
             std::string& reply, const std::string& moreHeader = {});
    /// One operation of a service: namespace and name make both the request and its action.
    int ask(const std::string& path, const char* ns, const std::string& name, const std::string& inner,
            std::string& reply, bool withUser = true);
    /// The same for an operation that is answered with an address.
    int askForUri(const std::string& path, const char* ns, const std::string& name, const std::string& inner,
                  std::string& uri);
    int callEvents(const std::string& path, const std::string& action, const std::string& body,
                   const std::string& moreHeader, std::string& reply);
    std::string url(const std::string& path) const;
    int readCapabilities();
    void readName(OnvifInfo& info);

    OnvifPeer m_peer;
    HttpClient m_http;
    const int m_requestMs;
    int64_t m_skewMs = 0;
    Paths m_paths;
    bool m_knowsTokens = false;
};

// Parts, for tests.

/// The WS-Security header of a UsernameToken with a password digest.
std::string usernameToken(const std::string& user, const std::string& password, const std::string& nonce,
                          const std::string& created);
/// "2026-01-31T12:00:00Z"
std::string isoTime(int64_t msSince1970);
/// Milliseconds since 1970 of an XML dateTime; a time without a zone is taken for UTC.
bool parseIsoTime(std::string_view text, int64_t& ms);
std::vector<OnvifRecording> parseRecordings(std::string_view xml, bool& completed);
/// What a SOAP fault means in LUMONET_ERROR; 0 when the text is no fault. REFUSED for what is no XML.
int errorOfFault(std::string_view xml);
/// Path and query of an address.
std::string pathOf(const std::string& url);
bool parseClock(std::string_view xml, int64_t nowMs, DeviceClock& clock);
std::vector<OnvifChannel> parseChannels(std::string_view profilesXml, std::string_view sourcesXml);
/// "PT5S", "P1DT2H": an XML duration of days and less, in milliseconds; 0 for anything else.
int64_t parseDurationMs(std::string_view text);
/// False for what is no answer to PullMessages.
bool parseEvents(std::string_view xml, const AlarmSources& sources, int& events, std::vector<AlarmNotice>& notices);
/// False when it names no address. lifeMs: taken where the device tells no time.
bool parsePullPoint(std::string_view xml, int64_t lifeMs, OnvifPullPoint& point);
/// A date like 2026-01-31, 2026/1/31 or 20260131 in a firmware text.
bool findDate(std::string_view text, int& year, int& month, int& day);

} // namespace lumo::net
