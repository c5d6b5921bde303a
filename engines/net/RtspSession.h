// One RTSP connection from its first byte to TEARDOWN. It makes one attempt: what fails is told once, and the owner
// decides about another. States, in order; every other order of replies ends the session:
//
//   Connecting -> Options | Describe -> Setup (each track) -> Play -> Playing -> Closed
//
// Thread: the I/O loop's. Handler calls come from within onIo, onTime and start; the session may be closed in them,
// but must live until they return (IoLoop::releaseLater).
#pragma once

#include "Digest.h"
#include "IoLoop.h"
#include "RtspMessage.h"
#include "Sdp.h"

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace lumo::net
{

class RtspHandler
{
public:
    virtual ~RtspHandler() = default;
    /// True for each media that shall be set up. Before onPlaying. What the device listens on (SdpMedia::fromDevice is
    /// false) is only offered where RtspOptions::backChannel is set.
    virtual bool wantsMedia(size_t index, const SdpMedia& media) = 0;
    /// The session is as far as it was asked to go.
    virtual void onPlaying() = 0;
    virtual void onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs) = 0;
    /// Once; nothing comes after it. error: LUMONET_ERROR.
    virtual void onFailed(int error) = 0;
    /// The answer to control(); an RTSP status.
    virtual void onControlled(int status) {}
    /// The device said goodbye on a media; only where RtspOptions::replay is set, elsewhere that is a failure.
    virtual void onBye(size_t mediaIndex) {}
};

struct RtspOptions {
    enum class Goal { Options, Describe, Play } goal = Goal::Play;
    RtspUrl url;
    Address address; // of url.host, resolved beforehand
    std::string user, password;
    bool udp = false;
    int timeoutMs = 4000;                  // to the goal, and of each control()
    std::string setupHeaders, playHeaders; // further lines, each with its line end; a live PLAY has none
    bool replay = false;
    bool backChannel = false; // asks for the way back too: the device then also describes where it listens
};

/// What an RTSP status means in LUMONET_ERROR.
int errorOfRtspStatus(int status);

class RtspSession final : public IoHandler
{
public:
    RtspSession(IoLoop& loop, RtspOptions options, RtspHandler& handler);
    ~RtspSession() override;

    void start(int64_t nowMs);
    /// Sends TEARDOWN when there is a session, waits for nothing. No handler call after it.
    void close();
    /// While playing, one at a time: sends PLAY or PAUSE with further lines, answered by onControlled.
    void control(const std::string& method, const std::string& headers, int64_t nowMs);
    /// While playing: one packet on an interleaved media. False when it was dropped, for the device does not read.
    bool sendData(size_t mediaIndex, const std::vector<uint8_t>& packet);
    /// False: what the device sends stays in the connection, and holds it back.
    void setReading(bool on);
    int64_t due() const { return m_controlDue >= 0 && (m_due < 0 || m_controlDue < m_due) ? m_controlDue : m_due; }
    void onTime(int64_t nowMs);
    void onIo(intptr_t handle, bool readable, bool writable, int64_t nowMs) override;
    bool closed() const { return m_state == State::Closed; }
    /// Of the last reply; 0 before the first.
    int lastStatus() const { return m_lastStatus; }

private:
    enum class State { Idle, Connecting, Options, Describe, Setup, Play, Playing, Closed };
    struct Track {
        size_t media = 0;
        std::string url;
        int rtpChannel = -1; // interleaved
        Socket rtp, rtcp;    // UDP
        size_t rtpSlot = 0, rtcpSlot = 0;
    };

    void fail(int error);
    void send(const std::string& method, const std::string& url, const std::string& extra);
    void sendRaw(const std::string& text);
    void flush();
    void sendSetup();
    void sendPlay();
    std::string requirement() const;
    void sendKeepAlive(int64_t nowMs);
    void readTcp(int64_t nowMs);
    void readUdp(Track& track, Socket& socket, int64_t nowMs);
    /// Takes what is whole; the number of bytes used, or -1 when the session has ended.
    long takeItems(const uint8_t* data, size_t size, int64_t nowMs);
    void takeData(const RtspItem& item, int64_t nowMs);
    void takeMessage(const RtspMessage& message, int64_t nowMs);
    void takeServerRequest(const RtspMessage& request);
    bool authenticate(const RtspMessage& reply);
    void takeDescription(const RtspMessage& reply);
    void takeSetup(const RtspMessage& reply);
    void takePlay(const RtspMessage& reply, int64_t nowMs);
    bool openDatagramPorts(Track& track);
    void closeSockets();

    IoLoop& m_loop;
    RtspOptions m_options;
    RtspHandler& m_handler;
    State m_state = State::Idle;
    Socket m_socket;
    size_t m_slot = 0;
    Authenticator m_auth;
    bool m_answeredChallenge = false; // of the request under way
    struct {
        std::string method, url, extra;
        int sequence = 0;
    } m_request; // the one under way
    int m_sequence = 0;
    int m_lastStatus = 0;
    std::string m_outgoing;          // not yet taken by the socket
    std::vector<uint8_t> m_leftover; // received, not yet whole
    size_t m_skipped = 0;            // bytes in a row that began nothing
    std::string m_baseUrl, m_sessionId;
    std::vector<Track> m_tracks;
    size_t m_setupAt = 0;
    bool m_keepAliveByOptions = false;
    int64_t m_keepAliveMs = 30000;
    int64_t m_due = -1, m_controlDue = -1;
    bool m_reading = true;
};

} // namespace lumo::net
