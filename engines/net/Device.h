// One login: who the device is, where its streams are, and whether it still answers.
//
// Thread: any. Calls that ask the device block; once it is lost or logged out, they fail at once.
#pragma once

#include "CommandService.h"
#include "LiveStream.h"
#include "Onvif.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace lumo::net
{

class Device
{
public:
    Device(IoLoop& loop, const Timings& timings);

    /// Each fills info and returns 0 or LUMONET_ERROR. Once.
    int loginOnvif(OnvifPeer peer, bool udp, NetDeviceInfo& info);
    int loginRtsp(const RtspUrl& url, const std::string& user, const std::string& password, NetDeviceInfo& info);

    int channels() const { return int(m_channels.size()); }
    bool isOnvif() const { return !m_plain; }
    const std::string& host() const { return m_host; }
    int port() const { return m_port; }
    const std::string& serial() const { return m_serial; }

    /// Where a stream is; asks the device the first time. stream: 0 main, 1 sub.
    int findSource(int channel, int stream, StreamSource& source);
    /// Forgets where a stream was: the device did not know that address any more.
    void forgetSource(int channel, int stream);

    bool canRequestKeyFrame() const { return isOnvif() && !m_noKeyFrameCall; }
    /// Where a recording is played from. token: of a recording; empty: the one of the channel that has that time.
    int findReplay(int channel, const std::string& token, int64_t utcMs, StreamSource& source);
    /// Where the device hands out a still of a channel. query: what shall stand behind the address, or nothing.
    int findPicture(int channel, int stream, const std::string& query, std::string& url);
    /// Fetches it; until cancel at most.
    int fetchPicture(const std::string& url, std::shared_ptr<const std::atomic<bool>> cancel, std::string& jpeg) const;

    // Beside pictures; DeviceService.cpp.

    /// Which channels have a loudspeaker, as their profiles say; where those say nothing, the first channels have those
    /// that the device counts. A bare RTSP address is asked for its back channel. timeoutMs 0: the library's own.
    int talkList(int timeoutMs, std::vector<bool>& talks);
    static constexpr int kAllChannels = -1, kDeviceItself = -2;
    /// Where one talks to a channel; kDeviceItself: to the first that has a loudspeaker.
    int talkSources(int channel, std::vector<StreamSource>& sources);
    /// What ONVIF has no words for; null where the device has none either.
    const CommandService* commands() const { return m_commands ? &*m_commands : nullptr; }
    bool reportsAlarms() const { return !m_paths.events.empty(); }
    /// Which of its names mean which channel.
    AlarmSources alarmSources() const;
    /// For who asks on a thread of their own, with a flag of their own: it outlives the device's being lost.
    std::unique_ptr<OnvifClient> newConversation(const Timings& timings,
                                                 std::shared_ptr<const std::atomic<bool>> cancel) const;
    /// An ability by its path; the device is asked once. 0 or LUMONET_ERROR.
    int hasAbility(const std::string& path, bool& has);
    /// Asks where a file is wanted: see OnvifClient::startUpload.
    int startUpload(const char* operation, int timeoutMs, OnvifUpload& upload);
    int sendUpload(const std::string& url, const HttpUpload& upload,
                   std::shared_ptr<const std::atomic<bool>> cancel) const;
    std::shared_ptr<const std::atomic<bool>> cancelFlag() const { return m_cancel; }

    /// Asks for a key frame; on the worker's thread.
    void requestKeyFrame(int channel, int stream);

    /// The cheap request of the watchdog; false when no answer came.
    bool answers();

    /// Ends what waits for the device, here and later.
    void cancel() { *m_cancel = true; }
    bool canceled() const { return *m_cancel; }
    bool lost() const { return m_lost; }
    void setLost()
    {
        m_lost = true;
        cancel();
    }
    std::shared_ptr<const SharedClock> clock() const { return m_clock; }

private:
    struct Place {
        StreamSource source;
        bool known = false;
    };
    std::unique_ptr<OnvifClient> newClient(const Timings& timings) const;
    void adoptUri(const std::string& uri, StreamSource& source) const;
    const OnvifRecording* recordingOf(int channel, int64_t utcMs) const;

    IoLoop& m_loop;
    const Timings m_timings;
    std::shared_ptr<std::atomic<bool>> m_cancel = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool> m_lost{false}, m_noKeyFrameCall{false};
    std::shared_ptr<SharedClock> m_clock = std::make_shared<SharedClock>();

    // Written by the login, constant after it
    bool m_plain = false; // a bare RTSP address
    bool m_udp = false;
    OnvifPeer m_peer;
    std::string m_host, m_serial;
    int m_port = 0;
    OnvifClient::Paths m_paths;
    std::vector<OnvifChannel> m_channels;
    Address m_address; // of m_host, any port
    StreamSource m_plainSource;
    std::optional<CommandService> m_commands;

    std::mutex m_talkMutex; // held while the device is asked
    std::optional<std::vector<bool>> m_talks;
    std::mutex m_abilityMutex; // held while the device is asked
    std::optional<std::string> m_abilities;
    int m_abilityError = 0; // of the one question

    std::mutex m_sourceMutex; // held while the device is asked: one question at a time
    std::unique_ptr<OnvifClient> m_asking;
    std::map<std::pair<int, int>, StreamSource> m_sources;
    std::vector<OnvifRecording> m_recordings;      // m_sourceMutex, as all of these
    std::map<std::string, StreamSource> m_replays; // by recording token
    std::mutex m_keyFrameMutex;
    std::unique_ptr<OnvifClient> m_keyFrameAsking;
    std::unique_ptr<OnvifClient> m_watching; // the watchdog's thread only
};

} // namespace lumo::net
