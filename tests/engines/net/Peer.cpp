#include "Peer.h"

#include "DeviceClock.h"
#include "Digest.h"
#include "Onvif.h"
#include "Text.h"

#include <algorithm>

namespace lumo::net::test
{
namespace
{

constexpr int kTickMs = 5; // how soon a thread notices that the test is over
constexpr const char* kNonce = "5ca1ab1e";

std::string between(const std::string& text, const std::string& from, const std::string& to)
{
    const size_t begin = text.find(from);
    if (begin == std::string::npos)
        return "";
    const size_t start = begin + from.size();
    return text.substr(start, text.find(to, start) - start);
}

bool digestIsRight(const PeerRequest& r, const std::string& user, const std::string& password)
{
    const std::string line = r.header("Authorization");
    Challenge c;
    c.realm = "peer";
    c.nonce = kNonce;
    return between(line, "username=\"", "\"") == user &&
           between(line, "response=\"", "\"") ==
               digestResponse(c, user, password, r.method, between(line, "uri=\"", "\""), "", 0);
}

std::string http(int status, const std::string& body, const std::string& headers = "")
{
    return "HTTP/1.1 " + std::to_string(status) + " x\r\nContent-Type: application/soap+xml\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string soap(const std::string& body)
{
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:t=\"x\"><s:Body>" + body +
           "</s:Body></s:Envelope>";
}

/// Elements of that name, numbered by their tokens.
std::string tokensReply(const std::string& action, const std::string& element, const std::string& token, int count)
{
    std::string list;
    for (int i = 0; i < count; ++i)
        list += "<t:" + element + " token=\"" + token + std::to_string(i) + "\"/>";
    return http(200, soap("<t:" + action + "Response>" + list + "</t:" + action + "Response>"));
}

std::string digestChallenge()
{
    return std::string("WWW-Authenticate: Digest realm=\"peer\", nonce=\"") + kNonce + "\"\r\n";
}

std::string actionOf(const std::string& text)
{
    std::string inner = between(text, "<s:Body><", ">");
    return inner.substr(0, inner.find_first_of(" /"));
}

} // namespace

std::string httpReply(int status, const std::string& body, const std::string& headers)
{
    return http(status, body, headers);
}

std::string soapReply(int status, const std::string& body)
{
    return http(status, soap(body));
}

std::string PeerRequest::header(const std::string& name) const
{
    std::string_view rest = text;
    takeUntil(rest, '\n');
    while (!rest.empty()) {
        std::string_view line = trim(takeUntil(rest, '\n'));
        if (line.empty())
            break;
        if (sameText(takeUntil(line, ':'), name))
            return std::string(trim(line));
    }
    return {};
}

bool PeerConnection::waitReadable(int timeoutMs)
{
    return m_open && m_poll.wait(timeoutMs);
}

void PeerConnection::fill(int timeoutMs)
{
    if (!waitReadable(timeoutMs))
        return;
    char buffer[65536];
    const IoResult got = m_socket.receive(buffer, sizeof buffer);
    if (got.state == Io::Closed || got.state == Io::Failed)
        m_open = false;
    else if (got.state == Io::Done)
        m_input.append(buffer, got.size);
}

std::optional<PeerRequest> PeerConnection::next()
{
    const auto byte = [this](size_t i) { return size_t(uint8_t(m_input[i])); };
    while (onInterleaved && m_input.size() >= 4 && m_input[0] == '$') {
        const size_t size = byte(2) << 8 | byte(3);
        if (m_input.size() < 4 + size)
            return std::nullopt;
        onInterleaved(int(byte(1)), Bytes(m_input.begin() + 4, m_input.begin() + 4 + ptrdiff_t(size)));
        m_input.erase(0, 4 + size);
    }
    const size_t end = m_input.find("\r\n\r\n");
    if (end == std::string::npos)
        return std::nullopt;
    PeerRequest r;
    r.text = m_input.substr(0, end + 4);
    const size_t length = size_t(toNumber(r.header("Content-Length"), 0));
    if (m_input.size() < end + 4 + length)
        return std::nullopt;
    r.body = m_input.substr(end + 4, length);
    r.text += r.body;
    m_input.erase(0, end + 4 + length);
    std::string_view line = r.text;
    r.method = std::string(takeUntil(line, ' '));
    r.url = std::string(takeUntil(line, ' '));
    return r;
}

std::optional<PeerRequest> PeerConnection::read(const std::atomic<bool>& stop)
{
    while (!stop && m_open) {
        if (auto r = next())
            return r;
        fill(kTickMs);
    }
    return std::nullopt;
}

bool PeerConnection::send(const std::string& text)
{
    size_t at = 0;
    while (m_open && at < text.size()) {
        const IoResult r = m_socket.send(text.data() + at, text.size() - at);
        if (r.state == Io::Done) {
            at += r.size;
        } else if (r.state == Io::WouldBlock) {
            m_poll.set(m_slot, false, true);
            m_poll.wait(kTickMs);
            m_poll.set(m_slot, true, false);
        } else {
            m_open = false;
        }
    }
    return m_open;
}

bool PeerConnection::sendInterleaved(int channel, const Bytes& packet)
{
    return send(joined({{'$', uint8_t(channel), uint8_t(packet.size() >> 8), uint8_t(packet.size())}, packet}));
}

void PeerConnection::close()
{
    if (m_open)
        m_poll.remove(m_slot);
    m_open = false;
    m_socket.close();
}

Peer::Peer()
{
    initSockets();
    m_listener.listen(resolveAddress("127.0.0.1", 0));
    m_port = m_listener.localAddress().port();
}

Peer::~Peer()
{
    stop();
}

void Peer::begin()
{
    m_thread = std::thread([this] { run(); });
}

void Peer::run()
{
    PollSet poll;
    poll.add(m_listener.handle(), true, false);
    while (!m_stop) {
        if (!poll.wait(kTickMs))
            continue;
        Socket socket = m_listener.accept();
        if (!socket.open())
            continue;
        ++m_connections;
        changed();
        m_threads.emplace_back([this, s = std::make_shared<Socket>(std::move(socket))] {
            PeerConnection connection(std::move(*s));
            serve(connection);
        });
    }
}

void Peer::stop()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    for (auto& t : m_threads)
        t.join();
    m_threads.clear();
}

void Peer::record(const PeerRequest& request)
{
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(request);
    }
    changed();
}

void Peer::changed() const
{
    std::lock_guard lock(m_mutex);
    m_changed.notify_all();
}

std::vector<PeerRequest> Peer::requests() const
{
    std::lock_guard lock(m_mutex);
    return m_requests;
}

std::vector<std::string> Peer::methods() const
{
    std::vector<std::string> out;
    for (const auto& r : requests())
        out.push_back(r.method);
    return out;
}

int Peer::count(const std::string& method) const
{
    const auto all = methods();
    return int(std::count(all.begin(), all.end(), method));
}

bool Peer::waitFor(const std::function<bool()>& condition) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
    while (!condition()) {
        std::unique_lock lock(m_mutex);
        if (m_changed.wait_for(lock, std::chrono::milliseconds(kTickMs)) == std::cv_status::timeout &&
            std::chrono::steady_clock::now() > end)
            return false;
    }
    return true;
}

std::vector<Bytes> PictureSource::next(int fragments)
{
    const bool key = m_picture % kGroup == 0;
    const uint32_t time = uint32_t(m_picture) * 3600;
    Bytes slice = key ? kIdr : kSlice;
    slice.push_back(uint8_t(m_picture >> 8));
    slice.push_back(uint8_t(m_picture));
    slice.push_back(0x80);
    ++m_picture;
    std::vector<Bytes> out;
    if (key) {
        out.push_back(rtp(sequence++, time, false, kSps1080));
        out.push_back(rtp(sequence++, time, false, kPps));
    }
    if (fragments <= 1) {
        out.push_back(rtp(sequence++, time, true, slice));
        return out;
    }
    const size_t body = slice.size() - 1;
    for (int i = 0; i < fragments; ++i) {
        const bool last = i == fragments - 1;
        const uint8_t flags = uint8_t((i == 0 ? 0x80 : 0) | (last ? 0x40 : 0) | (slice[0] & 31));
        const auto from = slice.begin() + 1 + ptrdiff_t(body * size_t(i) / size_t(fragments));
        const auto to = slice.begin() + 1 + ptrdiff_t(body * size_t(i + 1) / size_t(fragments));
        out.push_back(rtp(sequence++, time, last, joined({{uint8_t((slice[0] & 0xE0) | 28), flags}, Bytes(from, to)})));
    }
    return out;
}

std::string RtspPeer::clientPorts() const
{
    std::lock_guard lock(m_portsMutex);
    return m_ports;
}

bool RtspPeer::authorized(const PeerRequest& r) const
{
    return password.empty() || (!refuseAll && digestIsRight(r, user, password));
}

bool RtspPeer::answer(PeerConnection& connection, const PeerRequest& r)
{
    record(r);
    std::unique_lock script(m_script);
    if (silentOn.count(r.method))
        return true;
    std::string head = "RTSP/1.0 ", extra, body;
    int status = 200;
    if (!authorized(r)) {
        status = 401;
        extra = digestChallenge();
    } else if (statusOf.count(r.method)) {
        status = statusOf[r.method];
    } else if (r.method == "DESCRIBE") {
        body = sdp;
        extra = "Content-Base: " + r.url + "/\r\nContent-Type: application/sdp\r\n";
    } else if (r.method == "SETUP") {
        std::lock_guard ports(m_portsMutex);
        m_ports = between(r.header("Transport"), "client_port=", "-");
        extra = "Session: 77;timeout=" + std::to_string(sessionTimeout) + "\r\nTransport: " + r.header("Transport") +
                "\r\n";
    }
    script.unlock();
    connection.send(head + std::to_string(status) + " x\r\nCSeq: " + r.header("CSeq") + "\r\n" + extra +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    if (r.method == "TEARDOWN")
        connection.close();
    if (r.method == "PLAY" && status == 200) {
        const int play = ++m_plays;
        if (onPlay)
            onPlay(connection, play);
        else
            stream(connection);
    }
    return connection.open();
}

bool RtspPeer::pump(PeerConnection& connection, int timeoutMs)
{
    if (connection.open() && !m_stop)
        connection.fill(timeoutMs);
    while (connection.open() && !m_stop) {
        const auto r = connection.next(); // several may have come in one piece
        if (!r)
            break;
        answer(connection, *r);
    }
    return connection.open() && !m_stop;
}

void RtspPeer::stream(PeerConnection& connection, int pictures)
{
    PictureSource source;
    while (pictures < 0 || source.pictures() < pictures) {
        for (const auto& packet : source.next(source.pictures() % 3 + 1))
            connection.sendInterleaved(0, packet);
        ++picturesSent;
        if (!pump(connection, kTickMs))
            return;
    }
}

void RtspPeer::serve(PeerConnection& connection)
{
    if (onConnect) {
        onConnect(connection);
        return;
    }
    while (const auto r = connection.read(m_stop))
        if (!answer(connection, *r))
            return;
}

bool OnvifDevicePeer::authorized(const PeerRequest& r) const
{
    if (!token.empty() && r.header("X-Lumo-Token") == token)
        return true;
    if (httpDigest)
        return digestIsRight(r, user, password);
    const auto nonce = fromBase64(between(r.body, "Base64Binary\">", "<"));
    const std::string created = between(r.body, "utility-1.0.xsd\">", "<");
    const std::string now = isoTime(wallClockMs() + clockSkewMs);
    // As a device does: a digest made at another hour than its own is refused.
    return between(r.body, "<Username>", "<") == user && created.substr(0, 13) == now.substr(0, 13) &&
           between(r.body, "PasswordDigest\">", "<") ==
               base64(hashBytes(Hash::Sha1, std::string(nonce.begin(), nonce.end()) + created + password));
}

std::string OnvifDevicePeer::clockReply() const
{
    const std::string now = isoTime(wallClockMs() + clockSkewMs);
    const auto n = [&](int at, int size) { return std::to_string(std::stoi(now.substr(size_t(at), size_t(size)))); };
    return http(200, soap("<t:GetSystemDateAndTimeResponse><t:SystemDateAndTime><t:UTCDateTime><t:Time><t:Hour>" +
                          n(11, 2) + "</t:Hour><t:Minute>" + n(14, 2) + "</t:Minute><t:Second>" + n(17, 2) +
                          "</t:Second></t:Time><t:Date><t:Year>" + n(0, 4) + "</t:Year><t:Month>" + n(5, 2) +
                          "</t:Month><t:Day>" + n(8, 2) +
                          "</t:Day></t:Date></t:UTCDateTime></t:SystemDateAndTime>"
                          "</t:GetSystemDateAndTimeResponse>"));
}

std::string OnvifDevicePeer::refusal() const
{
    if (httpDigest)
        return http(401, "", digestChallenge());
    return http(400, soap("<s:Fault><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>ter:" + faultOnWrong +
                          "</s:Value></s:Subcode></s:Code><s:Reason><s:Text>" + faultReason +
                          "</s:Text></s:Reason></s:Fault>"));
}

std::string OnvifDevicePeer::servicesReply() const
{
    const std::string away = "http://192.0.2.7:9"; // an address that leads nowhere
    const auto service = [](const std::string& name, const std::string& address) {
        return "<t:Service><t:Namespace>" + name + "</t:Namespace><t:XAddr>" + address + "</t:XAddr></t:Service>";
    };
    std::string list = service("http://www.onvif.org/ver10/media/wsdl", away + "/media");
    if (!token.empty())
        list += service("urn:lumo:token:1", "x");
    if (onEvents)
        list += service("http://www.onvif.org/ver10/events/wsdl", away + "/events") +
                service("http://www.onvif.org/ver10/deviceIO/wsdl", away + "/events");
    if (!commandPath.empty())
        list += service("urn:lumo:command:1", away + commandPath);
    return http(200, soap("<t:GetServicesResponse>" + list + "</t:GetServicesResponse>"));
}

std::string OnvifDevicePeer::informationReply() const
{
    return http(200, soap("<t:GetDeviceInformationResponse><t:Manufacturer>Peer</t:Manufacturer><t:Model>P1</t:Model>"
                          "<t:FirmwareVersion>" +
                          firmware + "</t:FirmwareVersion><t:SerialNumber>" + serial +
                          "</t:SerialNumber></t:GetDeviceInformationResponse>"));
}

std::string OnvifDevicePeer::profilesReply() const
{
    std::string list;
    for (int i = 0; i < 2 * channels; ++i)
        list += "<t:Profiles token=\"p" + std::to_string(i) + "\"><t:VideoSourceConfiguration><t:SourceToken>s" +
                std::to_string(i / 2) +
                "</t:SourceToken></t:VideoSourceConfiguration><t:VideoEncoderConfiguration>"
                "<t:Resolution><t:Width>" +
                std::to_string(i % 2 ? 640 : 1920) +
                "</t:Width><t:Height>360</t:Height>"
                "</t:Resolution></t:VideoEncoderConfiguration></t:Profiles>";
    return http(200, soap("<t:GetProfilesResponse>" + list + "</t:GetProfilesResponse>"));
}

std::string OnvifDevicePeer::reply(const std::string& action, const PeerRequest& r)
{
    if (rawReplyTo.count(action))
        return rawReplyTo[action];
    if (action == "GetSystemDateAndTime")
        return clockReply();
    if (!authorized(r))
        return refusal();
    if (action == "GetServices")
        return servicesReply();
    if (action == "GetDeviceInformation")
        return informationReply();
    if (action == "GetScopes")
        return http(
            200,
            soap("<t:GetScopesResponse><t:Scopes><t:ScopeItem>onvif://www.onvif.org/name/Front%20Door</t:ScopeItem>"
                 "</t:Scopes></t:GetScopesResponse>"));
    if (action == "GetVideoSources")
        return tokensReply(action, "VideoSources", "s", channels);
    if (action == "GetProfiles")
        return profilesReply();
    if (action == "GetAudioOutputs" && audioOutputs >= 0)
        return tokensReply(action, "AudioOutputs", "o", audioOutputs);
    if (action == "GetStreamUri")
        return http(200, soap("<t:GetStreamUriResponse><t:MediaUri><t:Uri>rtsp://192.0.2.7:" +
                              std::to_string(rtspPort) + "/live/" + between(r.body, "<ProfileToken>", "<") +
                              "</t:Uri></t:MediaUri></t:GetStreamUriResponse>"));
    if (action == "SetSynchronizationPoint" && keyFrames)
        return http(200, soap("<t:SetSynchronizationPointResponse/>"));
    return http(500, soap("<s:Fault><s:Code><s:Value>s:Receiver</s:Value><s:Subcode><s:Value>ter:ActionNotSupported"
                          "</s:Value></s:Subcode></s:Code></s:Fault>"));
}

/// True when the request is none of SOAP's and has been seen to.
bool OnvifDevicePeer::serveHttp(PeerConnection& connection, const PeerRequest& r)
{
    if (!onHttp || r.url.starts_with("/onvif") || r.url.starts_with("/media"))
        return false;
    record(r);
    const bool known = !r.header("X-Lumo-Token").empty() || digestIsRight(r, user, password);
    if (!commandPath.empty() && r.url.starts_with(commandPath) && !known) {
        connection.send(httpReply(401, "", digestChallenge()));
        return true;
    }
    const std::string text = onHttp(r);
    if (!text.empty())
        connection.send(text);
    while (text.empty() && !m_stop && connection.open())
        connection.fill(kTickMs);
    return true;
}

std::string OnvifDevicePeer::answerTo(const std::string& action, const PeerRequest& r)
{
    static const std::set<std::string> kEvents = {"CreatePullPointSubscription", "PullMessages", "Renew", "Unsubscribe",
                                                  "GetDigitalInputs"};
    bool event = false;
    std::string text;
    set([&] {
        event = onEvents && kEvents.count(action) && !rawReplyTo.count(action) && authorized(r);
        if (!event)
            text = reply(action, r);
    });
    return event ? onEvents(action, r) : text;
}

void OnvifDevicePeer::serve(PeerConnection& connection)
{
    while (auto r = connection.read(m_stop)) {
        if (serveHttp(connection, *r))
            continue;
        const std::string action = actionOf(r->body);
        const PeerRequest asReceived = *r;
        r->url = action; // what a test looks for
        r->method = action;
        record(*r);
        if (deaf || (failNext > 0 && failNext-- > 0)) {
            while (!m_stop && connection.open() && !connection.waitReadable(kTickMs)) {
            }
            continue;
        }
        const std::string text = answerTo(action, asReceived);
        connection.send(text);
        bool raw = false;
        set([&] { raw = rawReplyTo.count(action) > 0; });
        while (text.empty() && !raw && !m_stop && connection.open())
            connection.fill(kTickMs);
        if (raw)
            connection.close();
    }
}

DiscoveryPeer::DiscoveryPeer(std::string serial, int httpPort)
{
    initSockets();
    m_socket.bindDatagram(resolveAddress("127.0.0.1", 0));
    m_port = m_socket.localAddress().port();
    m_thread = std::thread([this, serial, httpPort] {
        PollSet poll;
        poll.add(m_socket.handle(), true, false);
        const std::string answer = soap(
            "<d:ProbeMatches><d:ProbeMatch><d:Scopes>onvif://www.onvif.org/type/ptz onvif://www.onvif.org/serial/" +
            serial + "</d:Scopes><d:XAddrs>http://192.0.2.7:" + std::to_string(httpPort) +
            "/onvif/device_service</d:XAddrs></d:ProbeMatch></d:ProbeMatches>");
        while (!m_stop) {
            if (!poll.wait(kTickMs))
                continue;
            char buffer[65536];
            Address from;
            const IoResult r = m_socket.receiveFrom(buffer, sizeof buffer, from);
            if (r.state == Io::Done && std::string_view(buffer, r.size).find("Probe") != std::string_view::npos)
                m_socket.sendTo(answer.data(), answer.size(), from);
        }
    });
}

DiscoveryPeer::~DiscoveryPeer()
{
    m_stop = true;
    m_thread.join();
}

} // namespace lumo::net::test
