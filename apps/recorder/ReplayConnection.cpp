#include "ReplayConnection.h"

#include "RtspAuth.h"
#include "TestApi.h"

#include <glib.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lumo::recorder
{
namespace
{

constexpr const char* kRealm = "Lumo Recorder";
constexpr size_t kMaxRequest = 16 * 1024;
constexpr size_t kPacedAhead = 64 * 1024;  // bytes not yet taken, above which no picture is packed
constexpr size_t kFastAhead = 1024 * 1024; // the same when as fast as possible
constexpr int kSilentMs = 20;              // between two looks whether the recorder speaks again
constexpr int kSessionSeconds = 60;
constexpr double kNtpOf1970 = 2208988800.0; // seconds

bool sameName(const std::string& a, const char* b)
{
    return g_ascii_strcasecmp(a.c_str(), b) == 0;
}

std::string trimmed(std::string text)
{
    const auto begin = text.find_first_not_of(" \t\r\n");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

std::string md5(const std::string& text)
{
    gchar* sum = g_compute_checksum_for_string(G_CHECKSUM_MD5, text.c_str(), static_cast<gssize>(text.size()));
    std::string result = sum;
    g_free(sum);
    return result;
}

// The value of name="value" or name=value in a header.
std::string parameter(const std::string& header, const std::string& name)
{
    size_t at = header.find(name + "=");
    while (at != std::string::npos && at > 0 && (g_ascii_isalnum(header[at - 1]) || header[at - 1] == '-')) {
        at = header.find(name + "=", at + 1);
    }
    if (at == std::string::npos) {
        return "";
    }
    at += name.size() + 1;
    if (at < header.size() && header[at] == '"') {
        return header.substr(at + 1, header.find('"', at + 1) - at - 1);
    }
    return trimmed(header.substr(at, header.find_first_of(",;", at) - at));
}

const char* reason(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 401:
        return "Unauthorized";
    case 404:
        return "Not Found";
    case 454:
        return "Session Not Found";
    case 455:
        return "Method Not Valid in This State";
    case 457:
        return "Invalid Range";
    case 461:
        return "Unsupported Transport";
    case 551:
        return "Option not supported";
    default:
        return "Bad Request";
    }
}

// "clock=A-B", "clock=A-", "npt=S-": false when it is neither.
bool readRange(const std::string& range, PlayRequest& out)
{
    const auto equals = range.find('='), dash = range.find('-');
    if (equals == std::string::npos || dash == std::string::npos) {
        return false;
    }
    const std::string begin = trimmed(range.substr(equals + 1, dash - equals - 1));
    const std::string end = trimmed(range.substr(dash + 1, range.find(';') - dash - 1));
    if (range.compare(0, equals, "npt") == 0) {
        const double seconds = begin == "now" ? 0.0 : std::atof(begin.c_str());
        if (seconds > kNtpOf1970) { // a client that made seconds since 1900 of the description's range
            out.beginMs = static_cast<int64_t>((seconds - kNtpOf1970) * 1000);
            out.endMs = end.empty() ? std::nullopt
                                    : std::optional(static_cast<int64_t>((std::atof(end.c_str()) - kNtpOf1970) * 1000));
        } else {
            out.nptSeconds = seconds;
        }
        return true;
    }
    out.beginMs = parseClockText(begin);
    out.endMs = end.empty() ? std::nullopt : parseClockText(end);
    return range.compare(0, equals, "clock") == 0 && out.beginMs && (end.empty() || out.endMs);
}

} // namespace

ReplayConnection::ReplayConnection(int socket, const Options& options, RecordingStore& store, Faults& faults)
    : m_socket(socket), m_options(options), m_store(store), m_faults(faults),
      m_nonce(md5(std::to_string(g_random_int()))), m_session(std::to_string(g_random_int()))
{
}

ReplayConnection::~ReplayConnection()
{
    close(m_socket);
}

std::string ReplayConnection::Request::header(const char* name) const
{
    size_t at = head.find('\n');
    while (at != std::string::npos) {
        const size_t begin = at + 1, colon = head.find(':', begin);
        at = head.find('\n', begin);
        if (colon != std::string::npos && (at == std::string::npos || colon < at) &&
            sameName(trimmed(head.substr(begin, colon - begin)), name)) {
            return trimmed(head.substr(colon + 1, at == std::string::npos ? at : at - colon - 1));
        }
    }
    return "";
}

void ReplayConnection::run()
{
    while (!m_over) {
        if (m_faults.silent() || m_faults.replayFault() == Faults::ReplayFault::Stall) {
            g_usleep(kSilentMs * 1000);
            continue;
        }
        if (!fill() || !transmit()) {
            return;
        }
        pollfd waiting{m_socket, static_cast<short>(POLLIN | (m_out.empty() ? 0 : POLLOUT)), 0};
        // A test switches a fault on while a connection waits: a look now and then.
        const int due = m_player && m_out.size() < kPacedAhead ? m_player->waitMs() : -1;
        const int wait = due < 0 ? 100 : std::min(due, 100);
        if (poll(&waiting, 1, wait) < 0 && errno != EINTR) {
            return;
        }
        if (waiting.revents && !(waiting.revents & POLLIN) && (waiting.revents & (POLLERR | POLLHUP))) {
            return;
        }
        if ((waiting.revents & POLLIN) && !receive()) {
            return;
        }
    }
    transmit();
}

// Packs what is due, as long as the client takes it.
bool ReplayConnection::fill()
{
    if (!m_player || !m_player->playing()) {
        return m_faults.replayFault() != Faults::ReplayFault::Cut || !m_player;
    }
    const size_t ahead = m_player->paced() ? kPacedAhead : kFastAhead;
    while (m_out.size() < ahead && m_player->waitMs() == 0) {
        switch (m_player->step(m_out)) {
        case Faults::ReplayFault::Cut:
            transmit(); // what was packed before it still leaves
            return false;
        case Faults::ReplayFault::Stall:
            transmit();
            return true;
        default:
            break;
        }
    }
    return true;
}

bool ReplayConnection::transmit()
{
    while (!m_out.empty()) {
        const ssize_t sent = send(m_socket, m_out.data(), m_out.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        m_out.erase(0, static_cast<size_t>(sent));
    }
    return true;
}

bool ReplayConnection::receive()
{
    char buffer[8192];
    const ssize_t got = recv(m_socket, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (got <= 0) {
        return got < 0 && (errno == EAGAIN || errno == EINTR);
    }
    m_in.append(buffer, static_cast<size_t>(got));
    while (!m_over && takeRequest()) {
    }
    return m_in.size() < 2 * kMaxRequest;
}

bool ReplayConnection::takeRequest()
{
    if (!m_in.empty() && m_in[0] == '$') { // the client's reports
        if (m_in.size() < 4) {
            return false;
        }
        const size_t size =
            4 + (static_cast<size_t>(static_cast<uint8_t>(m_in[2])) << 8 | static_cast<uint8_t>(m_in[3]));
        if (m_in.size() < size) {
            return false;
        }
        m_in.erase(0, size);
        return true;
    }
    const size_t end = m_in.find("\r\n\r\n");
    if (end == std::string::npos) {
        m_over = m_in.size() > kMaxRequest;
        return false;
    }
    Request request;
    request.head = m_in.substr(0, end + 2);
    const auto body = static_cast<size_t>(std::max(0, std::atoi(request.header("Content-Length").c_str())));
    if (m_in.size() < end + 4 + std::min(body, kMaxRequest)) {
        return false;
    }
    m_in.erase(0, end + 4 + std::min(body, kMaxRequest));
    const size_t space = request.head.find(' ');
    if (space == std::string::npos) {
        m_over = true;
        return false;
    }
    request.method = request.head.substr(0, space);
    request.url = request.head.substr(space + 1, request.head.find(' ', space + 1) - space - 1);
    handle(request);
    return true;
}

void ReplayConnection::reply(const Request& request, int status, const std::string& headers, const std::string& body)
{
    g_usleep(static_cast<gulong>(m_faults.answerDelayMs()) * 1000);
    m_out += "RTSP/1.0 " + std::to_string(status) + " " + reason(status) + "\r\nCSeq: " + request.header("CSeq") +
             "\r\nServer: lumo-recorder\r\n" + headers;
    if (!body.empty()) {
        m_out += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    m_out += "\r\n" + body;
}

bool ReplayConnection::authorized(const Request& request) const
{
    const std::string line = request.header("Authorization");
    const std::string user = parameter(line, "username");
    const std::string password = user == m_options.user ? m_options.password : user == kTokenUser ? kToken : "";
    if (m_faults.refusesPassword() || (user != m_options.user && user != kTokenUser) ||
        parameter(line, "nonce") != m_nonce) {
        return false;
    }
    const std::string secret = md5(user + ":" + kRealm + ":" + password);
    return parameter(line, "response") ==
           md5(secret + ":" + m_nonce + ":" + md5(request.method + ":" + parameter(line, "uri")));
}

void ReplayConnection::handle(const Request& request)
{
    const std::string session = "Session: " + m_session + ";timeout=" + std::to_string(kSessionSeconds) + "\r\n";
    const std::string told = request.header("Session"), needs = request.header("Require");
    if (request.method == "OPTIONS") {
        reply(request, 200,
              "Public: OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, SET_PARAMETER\r\n");
    } else if (!authorized(request)) {
        reply(request, 401,
              std::string("WWW-Authenticate: Digest realm=\"") + kRealm + "\", nonce=\"" + m_nonce + "\"\r\n");
    } else if (!needs.empty() && needs != "onvif-replay") {
        reply(request, 551, "Unsupported: " + needs + "\r\n");
    } else if (request.method == "DESCRIBE") {
        describe(request);
    } else if (request.method == "SETUP") {
        setup(request);
    } else if (!told.empty() && told.substr(0, told.find(';')) != m_session) {
        reply(request, 454);
    } else if (request.method == "PLAY") {
        play(request);
    } else if (request.method == "PAUSE") {
        if (m_player) {
            m_player->pause();
        }
        reply(request, m_player ? 200 : 455, session);
    } else if (request.method == "TEARDOWN") {
        reply(request, 200);
        m_over = true;
    } else {
        reply(request, 200, session); // GET_PARAMETER and the like: a sign of life
    }
}

// Finds the channel of an address; false when there is none.
bool ReplayConnection::open(const Request& request)
{
    const size_t host = request.url.find("://"), path = request.url.find('/', host == std::string::npos ? 0 : host + 3);
    int channel = -1, used = 0;
    if (path == std::string::npos || std::sscanf(request.url.c_str() + path, "/replay/%d%n", &channel, &used) != 1 ||
        channel < 0 || channel >= m_store.channels()) {
        return false;
    }
    const size_t mark = request.url.find('?');
    if (mark != std::string::npos) {
        m_parameters = request.url.substr(mark + 1);
    }
    m_base = request.url.substr(0, path + static_cast<size_t>(used)) + "/";
    if (!m_player) {
        m_player = std::make_unique<ReplayPlayer>(m_store, m_faults, channel);
    }
    return true;
}

// What the address asks for, else all that there is.
std::string ReplayConnection::rangeLine() const
{
    const auto stretches = m_store.stretches(m_player->channel());
    if (stretches.empty()) {
        return "";
    }
    const auto begin = parseClockText(queryText(m_parameters, "begin")),
               end = parseClockText(queryText(m_parameters, "end"));
    return "a=range:clock=" + clockText(begin.value_or(stretches.front().beginMs)) + "-" +
           clockText(end.value_or(stretches.back().endMs())) + "\r\n";
}

void ReplayConnection::describe(const Request& request)
{
    if (!open(request)) {
        reply(request, 404);
        return;
    }
    std::string sdp = "v=0\r\no=- 1 1 IN IP4 " + m_options.address +
                      "\r\ns=Recording\r\nc=IN IP4 0.0.0.0\r\nt=0 0\r\na=control:*\r\n" + rangeLine();
    sdp += "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 packetization-mode=1\r\na=framerate:" +
           std::to_string(m_options.fps) + "\r\na=x-onvif-track:" + RecordingStore::videoTrack() +
           "\r\na=control:video\r\na=recvonly\r\n";
    if (m_player->hasSound()) {
        sdp += std::string("m=audio 0 RTP/AVP 8\r\na=rtpmap:8 PCMA/8000\r\na=x-onvif-track:") +
               RecordingStore::audioTrack() + "\r\na=control:audio\r\na=recvonly\r\n";
    }
    reply(request, 200, "Content-Type: application/sdp\r\nContent-Base: " + m_base + "\r\n", sdp);
}

void ReplayConnection::setup(const Request& request)
{
    const std::string transport = request.header("Transport");
    if (!open(request)) {
        reply(request, 404);
        return;
    }
    if (transport.find("RTP/AVP/TCP") == std::string::npos) {
        reply(request, 461);
        return;
    }
    const bool sound = request.url.find("/audio") != std::string::npos;
    const std::string told = parameter(transport, "interleaved");
    const int channel = told.empty() ? (sound ? 2 : 0) : std::clamp(std::atoi(told.c_str()), 0, 254);
    (sound ? m_player->sound : m_player->video).setChannel(channel);
    reply(request, 200,
          "Session: " + m_session + ";timeout=" + std::to_string(kSessionSeconds) +
              "\r\nTransport: RTP/AVP/TCP;unicast;interleaved=" + std::to_string(channel) + "-" +
              std::to_string(channel + 1) + "\r\n");
}

std::optional<PlayRequest> ReplayConnection::playRequest(const Request& request) const
{
    PlayRequest wanted;
    const std::string range = request.header("Range"), scale = request.header("Scale"),
                      control = request.header("Rate-Control");
    if (!range.empty() && !readRange(range, wanted)) {
        return std::nullopt;
    }
    if (!wanted.beginMs && !m_player->playing() && !m_parameters.empty()) {
        if (const auto begin = parseClockText(queryText(m_parameters, "begin"))) {
            wanted.beginMs = *begin + static_cast<int64_t>(wanted.nptSeconds.value_or(0) * 1000);
            wanted.endMs = parseClockText(queryText(m_parameters, "end"));
        }
    }
    wanted.scale = scale.empty() ? 1.0 : std::atof(scale.c_str());
    wanted.paced = control.empty() ? queryText(m_parameters, "ratecontrol") != "no" : !sameName(control, "no");
    wanted.keysOnly = request.header("Frames").rfind("intra", 0) == 0;
    wanted.sequence = static_cast<uint8_t>(std::atoi(request.header("CSeq").c_str()));
    return wanted.scale > 0 ? std::optional(wanted) : std::nullopt; // nothing is played backwards
}

void ReplayConnection::play(const Request& request)
{
    if (!m_player || !m_player->video.active()) {
        reply(request, 455);
        return;
    }
    const auto wanted = playRequest(request);
    if (!wanted || !m_player->play(*wanted)) {
        reply(request, 457);
        return;
    }
    const int64_t from = m_player->positionMs();
    std::string info = "RTP-Info: url=" + m_base + "video;seq=" + std::to_string(m_player->video.nextSequence()) +
                       ";rtptime=" + std::to_string(m_player->video.timestampOf(from));
    if (m_player->sound.active()) {
        info += ",url=" + m_base + "audio;seq=" + std::to_string(m_player->sound.nextSequence()) +
                ";rtptime=" + std::to_string(m_player->sound.timestampOf(from));
    }
    char scale[64];
    std::snprintf(scale, sizeof(scale), "Scale: %g\r\nRate-Control: %s\r\n", wanted->scale,
                  wanted->paced ? "yes" : "no");
    const std::string end = m_player->endMs() == INT64_MAX ? "" : clockText(m_player->endMs());
    reply(request, 200,
          "Session: " + m_session + "\r\nRange: clock=" + clockText(from) + "-" + end + "\r\n" + info + "\r\n" + scale);
}

} // namespace lumo::recorder
