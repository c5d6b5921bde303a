// Devices played by the test, on loopback: an RTSP server and an ONVIF service that do as their script says, and a
// WS-Discovery answerer. Each records what it was asked.
#pragma once

#include "Bytes.h"
#include "Socket.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace lumo::net::test
{

inline constexpr int kLongMs = 20000; // an upper bound for what must happen, not a waiting time

struct PeerRequest {
    std::string method, url, text; // text: start line, headers and body
    std::string body;
    std::string header(const std::string& name) const;
};

/// One connection as the peer sees it.
class PeerConnection
{
public:
    explicit PeerConnection(Socket socket) : m_socket(std::move(socket))
    {
        m_slot = m_poll.add(m_socket.handle(), true, false);
    }
    /// The next request, or nothing when the peer closed or the test is over.
    std::optional<PeerRequest> read(const std::atomic<bool>& stop);
    /// Takes what has come, or comes within timeoutMs.
    void fill(int timeoutMs);
    /// The next request, if all of it is there.
    std::optional<PeerRequest> next();
    /// Gets interleaved data (RTSP) as they are taken.
    std::function<void(int channel, const Bytes& packet)> onInterleaved;
    /// True when a request is there, false after timeoutMs.
    bool waitReadable(int timeoutMs);
    bool send(const std::string& text);
    bool send(const Bytes& bytes) { return send(std::string(bytes.begin(), bytes.end())); }
    bool sendInterleaved(int channel, const Bytes& packet);
    void close();
    bool open() const { return m_open; }

private:
    Socket m_socket;
    PollSet m_poll;
    size_t m_slot = 0;
    std::string m_input;
    bool m_open = true;
};

/// Accepts connections, one thread each, and keeps a list of requests.
class Peer
{
public:
    Peer();
    virtual ~Peer();
    int port() const { return m_port; }
    int connections() const { return m_connections; }
    std::vector<PeerRequest> requests() const;
    std::vector<std::string> methods() const;
    int count(const std::string& method) const;
    /// Waits until the condition holds; looks again after each request and connection.
    bool waitFor(const std::function<bool()>& condition) const;
    /// Changes the script while the peer runs.
    void set(const std::function<void()>& change)
    {
        std::lock_guard lock(m_script);
        change();
    }
    /// Ends all threads; derived classes call it in their destructors.
    void stop();

protected:
    void begin();
    virtual void serve(PeerConnection& connection) = 0;
    void record(const PeerRequest& request);
    void changed() const;
    std::atomic<bool> m_stop{false};
    std::mutex m_script; // held while the script is read or changed

private:
    void run();
    Socket m_listener;
    int m_port = 0;
    std::atomic<int> m_connections{0};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<PeerRequest> m_requests; // m_mutex
    std::list<std::thread> m_threads;    // of run() until stop
    std::thread m_thread;
};

/// The media that an RtspPeer sends: numbered pictures, a key frame every eighth.
class PictureSource
{
public:
    /// The packets of the next picture: interleaved-ready RTP. fragments: of the slice.
    std::vector<Bytes> next(int fragments = 1);
    int pictures() const { return m_picture; }
    static constexpr int kGroup = 8;
    uint16_t sequence = 1000;

private:
    int m_picture = 0;
};

class RtspPeer : public Peer
{
public:
    RtspPeer() { begin(); }
    ~RtspPeer() override { stop(); }

    // Set before the first connection, or guarded by being atomic.
    std::string sdp = "v=0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=framerate:25\r\na=control:t0\r\n";
    std::string user, password; // empty: everybody may
    std::map<std::string, int> statusOf;
    std::set<std::string> silentOn;
    int sessionTimeout = 60;
    std::atomic<bool> refuseAll{false}; // from now on every credential is wrong
    std::atomic<int> playsUntilSilent{-1};
    /// Instead of streaming pictures; connection counts from 1.
    std::function<void(PeerConnection&, int connection)> onPlay;
    /// Instead of everything; returns when the connection is done with.
    std::function<void(PeerConnection&)> onConnect;
    std::string clientPorts() const; // of the last SETUP
    std::atomic<int> picturesSent{0};

    std::string url(const std::string& tail = "") const
    {
        return "rtsp://127.0.0.1:" + std::to_string(port()) + "/live" + tail;
    }
    /// Answers what is there, for scripts of onPlay; false when the connection is over.
    bool pump(PeerConnection& connection, int timeoutMs);
    /// Streams pictures until the connection is over, or that many.
    void stream(PeerConnection& connection, int pictures = -1);
    bool stopping() const { return m_stop; }

protected:
    void serve(PeerConnection& connection) override;

public:
    bool answer(PeerConnection& connection, const PeerRequest& request);

private:
    bool authorized(const PeerRequest& request) const;
    std::atomic<int> m_plays{0};
    mutable std::mutex m_portsMutex;
    std::string m_ports;
};

class OnvifDevicePeer : public Peer
{
public:
    OnvifDevicePeer() { begin(); }
    ~OnvifDevicePeer() override { stop(); }

    int channels = 2;
    std::atomic<int> rtspPort{1};                         // at port 1 nobody listens
    std::string user = "admin", password = "lumo", token; // token empty: tokens are not known
    std::string serial = "SN0001", firmware = "V2.1 build 2026-01-31";
    std::string faultOnWrong = "NotAuthorized", faultReason = "Sender not authorized";
    std::map<std::string, std::string> rawReplyTo; // whole HTTP replies
    bool httpDigest = false;                       // HTTP digest instead of the SOAP header
    int64_t clockSkewMs = 0;
    bool keyFrames = true;
    int audioOutputs = -1; // loudspeakers; below 0: the device does not know the question
    /// Where its command service stands; empty: it has none. With the device's HTTP digest.
    std::string commandPath;
    /// Whole HTTP replies to what is not SOAP: commands and uploads. Empty: no answer.
    std::function<std::string(const PeerRequest&)> onHttp;
    /// Whole HTTP replies to what is asked of its event and input services; empty: it has none. Empty reply: no answer.
    /// Called without the script's lock: it may wait.
    std::function<std::string(const std::string& action, const PeerRequest&)> onEvents;
    std::atomic<bool> deaf{false}; // accepts, and never answers
    std::atomic<int> failNext{0};  // so many requests get no answer

protected:
    void serve(PeerConnection& connection) override;

private:
    std::string reply(const std::string& action, const PeerRequest& request);
    std::string clockReply() const;
    std::string refusal() const;
    std::string servicesReply() const;
    std::string informationReply() const;
    std::string profilesReply() const;
    bool serveHttp(PeerConnection& connection, const PeerRequest& request);
    std::string answerTo(const std::string& action, const PeerRequest& request);
    bool authorized(const PeerRequest& request) const;
};

/// A whole HTTP reply.
std::string httpReply(int status, const std::string& body, const std::string& headers = "");
/// The same with a SOAP envelope around the body.
std::string soapReply(int status, const std::string& body);

/// Answers WS-Discovery probes on a port of its own on loopback.
class DiscoveryPeer
{
public:
    DiscoveryPeer(std::string serial, int httpPort);
    ~DiscoveryPeer();
    uint16_t port() const { return m_port; }

private:
    Socket m_socket;
    uint16_t m_port = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace lumo::net::test
