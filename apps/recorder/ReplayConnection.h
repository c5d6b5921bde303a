// One RTSP connection that replays recordings: its requests, and the pictures between the answers.
//
// Only over TCP, as ONVIF advises for replay. What the client does not take is not made: a picture is packed when the
// last ones have left. Parameters behind the address serve clients that cannot send ONVIF's headers:
// ?ratecontrol=no&begin=20250329T090000Z&end=20250329T090010Z
// Thread: a thread of its own, which run() is.
#pragma once

#include "ReplayPlayer.h"

#include <memory>

namespace lumo::recorder
{

class ReplayConnection
{
public:
    /// Takes the socket over.
    ReplayConnection(int socket, const Options& options, RecordingStore& store, Faults& faults);
    ~ReplayConnection();
    ReplayConnection(const ReplayConnection&) = delete;
    ReplayConnection& operator=(const ReplayConnection&) = delete;

    /// Returns when the connection is over.
    void run();

private:
    struct Request {
        std::string method, url;
        std::string head; // all lines
        std::string header(const char* name) const;
    };

    bool receive();
    bool transmit();
    bool fill();
    bool takeRequest();
    void handle(const Request& request);
    void reply(const Request& request, int status, const std::string& headers = "", const std::string& body = "");
    bool authorized(const Request& request) const;
    bool open(const Request& request);
    std::string rangeLine() const;
    void describe(const Request& request);
    void setup(const Request& request);
    void play(const Request& request);
    /// Nothing when the headers make no sense.
    std::optional<PlayRequest> playRequest(const Request& request) const;

    const int m_socket;
    const Options& m_options;
    RecordingStore& m_store;
    Faults& m_faults;
    std::string m_nonce, m_session;
    std::string m_in, m_out;
    std::unique_ptr<ReplayPlayer> m_player; // of the address that was described or set up
    std::string m_base, m_parameters;       // of that address
    bool m_over = false;
};

} // namespace lumo::recorder
