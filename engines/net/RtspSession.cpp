#include "RtspSession.h"

#include "Farewell.h"
#include "Rtp.h"
#include "Text.h"

#include "device/LumoNet.h"

#include <algorithm>
#include <cstring>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxSkipped = 64 * 1024; // bytes of nonsense before the peer is given up
constexpr size_t kDatagramBuffer = 1 << 20;
constexpr int kDatagramsAtOnce = 64;
constexpr size_t kMaxDatagram = 65536;
constexpr size_t kMaxUnsent = 64 * 1024; // bytes that wait for a device that does not read

std::string transportParameter(const std::string& transport, std::string_view name)
{
    for (auto part : split(transport, ';'))
        if (const auto key = takeUntil(part, '='); sameText(trim(key), name))
            return std::string(trim(part));
    return {};
}

} // namespace

int errorOfRtspStatus(int status)
{
    switch (status) {
    case 401:
    case 407:
        return LUMONET_ERR_PASSWORD;
    case 408:
        return LUMONET_ERR_TIMEOUT;
    case 423:
        return LUMONET_ERR_LOCKED;
    case 453:
        return LUMONET_ERR_SESSIONS;
    case 405:
    case 461:
    case 501:
    case 505:
    case 551:
        return LUMONET_ERR_UNSUPPORTED;
    default:
        return LUMONET_ERR_REFUSED;
    }
}

RtspSession::RtspSession(IoLoop& loop, RtspOptions options, RtspHandler& handler)
    : m_loop(loop), m_options(std::move(options)), m_handler(handler)
{
    m_auth.setCredentials(m_options.user, m_options.password);
}

RtspSession::~RtspSession()
{
    closeSockets();
}

void RtspSession::start(int64_t nowMs)
{
    m_state = State::Connecting;
    m_due = nowMs + m_options.timeoutMs;
    m_loop.wakeBy(m_due);
    if (!m_socket.startConnect(m_options.address)) {
        fail(LUMONET_ERR_TIMEOUT);
        return;
    }
    m_slot = m_loop.watch(m_socket.handle(), false, true, this);
}

void RtspSession::close()
{
    if (m_state == State::Closed)
        return;
    if (!m_sessionId.empty() && m_socket.open()) {
        send("TEARDOWN", m_baseUrl, {});
        m_loop.unwatch(m_slot);
        Farewell::begin(m_loop, std::move(m_socket));
    }
    m_state = State::Closed;
    m_due = m_controlDue = -1;
    closeSockets();
}

void RtspSession::control(const std::string& method, const std::string& headers, int64_t nowMs)
{
    m_controlDue = nowMs + m_options.timeoutMs;
    m_loop.wakeBy(m_controlDue);
    send(method, m_baseUrl, headers);
}

bool RtspSession::sendData(size_t mediaIndex, const std::vector<uint8_t>& packet)
{
    for (const Track& track : m_tracks) {
        if (track.media != mediaIndex || m_state != State::Playing || track.rtpChannel < 0)
            continue;
        if (m_outgoing.size() > kMaxUnsent || packet.size() > 0xFFFF)
            return false;
        const char head[] = {'$', char(track.rtpChannel), char(packet.size() >> 8), char(packet.size())};
        sendRaw(std::string(head, sizeof head) + std::string(packet.begin(), packet.end()));
        return true;
    }
    return false;
}

void RtspSession::setReading(bool on)
{
    m_reading = on;
    if (m_socket.open() && m_state != State::Connecting && m_state != State::Closed)
        m_loop.change(m_slot, m_reading, !m_outgoing.empty());
}

void RtspSession::closeSockets()
{
    if (m_socket.open()) {
        m_loop.unwatch(m_slot);
        m_socket.close();
    }
    for (auto& track : m_tracks) {
        if (track.rtp.open())
            m_loop.unwatch(track.rtpSlot);
        if (track.rtcp.open())
            m_loop.unwatch(track.rtcpSlot);
    }
    m_tracks.clear();
}

void RtspSession::fail(int error)
{
    if (m_state == State::Closed)
        return;
    close();
    m_handler.onFailed(error);
}

void RtspSession::onTime(int64_t nowMs)
{
    if (m_controlDue >= 0 && nowMs >= m_controlDue) {
        fail(LUMONET_ERR_TIMEOUT);
        return;
    }
    if (m_due < 0 || nowMs < m_due)
        return;
    if (m_state == State::Playing)
        sendKeepAlive(nowMs);
    else
        fail(LUMONET_ERR_TIMEOUT);
}

void RtspSession::sendKeepAlive(int64_t nowMs)
{
    m_due = nowMs + m_keepAliveMs;
    if (m_controlDue >= 0)
        return; // that request keeps the session alive, too
    if (!m_outgoing.empty()) {
        fail(LUMONET_ERR_TIMEOUT); // the device has not read for half a session
        return;
    }
    send(m_keepAliveByOptions ? "OPTIONS" : "GET_PARAMETER", m_baseUrl, {});
}

void RtspSession::send(const std::string& method, const std::string& url, const std::string& extra)
{
    m_request = {method, url, extra, ++m_sequence};
    std::string text =
        method + " " + url + " RTSP/1.0\r\nCSeq: " + std::to_string(m_sequence) + "\r\nUser-Agent: LumoNet\r\n" + extra;
    if (!m_sessionId.empty())
        text += "Session: " + m_sessionId + "\r\n";
    m_answeredChallenge = m_auth.active();
    if (m_auth.active())
        text += "Authorization: " + m_auth.authorization(method, url) + "\r\n";
    sendRaw(text + "\r\n");
}

void RtspSession::sendRaw(const std::string& text)
{
    m_outgoing += text;
    flush();
}

void RtspSession::flush()
{
    while (!m_outgoing.empty()) {
        const IoResult r = m_socket.send(m_outgoing.data(), m_outgoing.size());
        if (r.state != Io::Done)
            break; // a dead connection shows itself in reading
        m_outgoing.erase(0, r.size);
    }
    m_loop.change(m_slot, m_reading, !m_outgoing.empty());
}

void RtspSession::onIo(intptr_t handle, bool readable, bool writable, int64_t nowMs)
{
    if (m_state == State::Closed)
        return;
    if (handle != m_socket.handle()) {
        for (auto& track : m_tracks) {
            if (handle == track.rtp.handle() || handle == track.rtcp.handle()) {
                readUdp(track, handle == track.rtp.handle() ? track.rtp : track.rtcp, nowMs);
                return;
            }
        }
        return;
    }
    if (m_state == State::Connecting) {
        if (!m_socket.connected()) {
            fail(LUMONET_ERR_TIMEOUT);
            return;
        }
        m_baseUrl = m_options.url.text;
        if (m_options.goal == RtspOptions::Goal::Options) {
            m_state = State::Options;
            send("OPTIONS", m_baseUrl, {});
        } else {
            m_state = State::Describe;
            send("DESCRIBE", m_baseUrl, "Accept: application/sdp\r\n" + requirement());
        }
        return;
    }
    if (writable)
        flush();
    if (readable)
        readTcp(nowMs);
}

void RtspSession::readTcp(int64_t nowMs)
{
    auto& buffer = m_loop.scratch();
    const size_t left = m_leftover.size();
    if (left > 0)
        std::memcpy(buffer.data(), m_leftover.data(), left);
    const IoResult r = m_socket.receive(buffer.data() + left, buffer.size() - left);
    if (r.state == Io::WouldBlock)
        return;
    if (r.state != Io::Done) {
        fail(LUMONET_ERR_TIMEOUT);
        return;
    }
    const size_t size = left + r.size;
    const long used = takeItems(buffer.data(), size, nowMs);
    if (used < 0)
        return;
    m_leftover.assign(buffer.begin() + used, buffer.begin() + ptrdiff_t(size));
    if (m_leftover.size() > kMaxRtspHeader + kMaxRtspBody)
        fail(LUMONET_ERR_REFUSED);
}

long RtspSession::takeItems(const uint8_t* data, size_t size, int64_t nowMs)
{
    size_t at = 0;
    while (at < size) {
        const RtspItem item = nextRtspItem(data + at, size - at);
        if (item.kind == RtspItem::Kind::NeedMore)
            break;
        at += item.used;
        if (item.kind == RtspItem::Kind::Skipped)
            m_skipped += item.used;
        else if (item.kind != RtspItem::Kind::Bad)
            m_skipped = 0;
        if (item.kind == RtspItem::Kind::Bad || m_skipped > kMaxSkipped)
            fail(LUMONET_ERR_REFUSED);
        else if (item.kind == RtspItem::Kind::Data)
            takeData(item, nowMs);
        else if (item.kind == RtspItem::Kind::Message)
            takeMessage(item.message, nowMs);
        if (m_state == State::Closed)
            return -1;
    }
    return long(at);
}

void RtspSession::takeData(const RtspItem& item, int64_t nowMs)
{
    for (const auto& track : m_tracks) {
        if (track.rtpChannel == item.channel) {
            m_handler.onRtp(track.media, item.data, item.size, nowMs);
            return;
        }
        if (track.rtpChannel + 1 == item.channel && hasRtcpBye(item.data, item.size)) {
            if (m_options.replay)
                m_handler.onBye(track.media);
            else
                fail(LUMONET_ERR_TIMEOUT);
            return;
        }
    }
}

void RtspSession::readUdp(Track& track, Socket& socket, int64_t nowMs)
{
    auto& buffer = m_loop.scratch();
    const bool rtp = &socket == &track.rtp;
    const size_t media = track.media;
    for (int i = 0; i < kDatagramsAtOnce; ++i) {
        Address from;
        const IoResult r = socket.receiveFrom(buffer.data(), kMaxDatagram, from);
        if (r.state != Io::Done)
            return;
        if (!from.sameHost(m_options.address))
            continue; // a stranger's
        if (rtp) {
            m_handler.onRtp(media, buffer.data(), r.size, nowMs);
        } else if (hasRtcpBye(buffer.data(), r.size)) {
            fail(LUMONET_ERR_TIMEOUT);
        }
        if (m_state == State::Closed)
            return;
    }
}

bool RtspSession::authenticate(const RtspMessage& reply)
{
    const auto offers = reply.headersNamed("WWW-Authenticate");
    // Credentials that were refused are never sent again; a nonce that went stale says nothing about them.
    const bool stale =
        m_answeredChallenge && bestChallenge(offers).stale && bestChallenge(offers).nonce != m_auth.challenge().nonce;
    if ((m_answeredChallenge && !stale) || !m_auth.setChallenge(offers))
        return false;
    const auto request = m_request;
    send(request.method, request.url, request.extra);
    return true;
}

void RtspSession::takeMessage(const RtspMessage& message, int64_t nowMs)
{
    if (message.status == 0) {
        takeServerRequest(message);
        return;
    }
    if (message.status < 200 || toNumber(message.header("CSeq"), m_request.sequence) != m_request.sequence)
        return;
    m_lastStatus = message.status;
    if (message.status == 401) {
        if (!authenticate(message))
            fail(LUMONET_ERR_PASSWORD);
        return;
    }
    if (m_state == State::Playing && m_controlDue >= 0) {
        m_controlDue = -1;
        m_handler.onControlled(message.status);
        return;
    }
    if (m_state == State::Playing) { // the answer to a keep-alive
        if (message.status == 454)
            fail(LUMONET_ERR_REFUSED); // the session is gone
        else if (message.status >= 400)
            m_keepAliveByOptions = true;
        return;
    }
    if (m_state == State::Options) { // any answer shows that the device is there
        m_state = State::Playing;
        m_due = -1;
        m_handler.onPlaying();
        return;
    }
    // A track beside the first may be refused: pictures without sound are better than nothing.
    if (m_state == State::Setup && message.status >= 300 && m_setupAt > 0) {
        Track& refused = m_tracks[m_setupAt];
        if (refused.rtp.open())
            m_loop.unwatch(refused.rtpSlot);
        if (refused.rtcp.open())
            m_loop.unwatch(refused.rtcpSlot);
        m_tracks.erase(m_tracks.begin() + ptrdiff_t(m_setupAt));
        sendSetup();
        return;
    }
    if (message.status >= 300) {
        fail(errorOfRtspStatus(message.status));
        return;
    }
    if (m_state == State::Describe)
        takeDescription(message);
    else if (m_state == State::Setup)
        takeSetup(message);
    else if (m_state == State::Play)
        takePlay(message, nowMs);
}

void RtspSession::takeServerRequest(const RtspMessage& request)
{
    if (m_outgoing.size() < kMaxRtspHeader)
        sendRaw("RTSP/1.0 200 OK\r\nCSeq: " + request.header("CSeq") + "\r\n\r\n");
}

void RtspSession::takeDescription(const RtspMessage& reply)
{
    const Sdp sdp = parseSdp(reply.body);
    std::string base = reply.header("Content-Base");
    if (base.empty())
        base = reply.header("Content-Location");
    if (base.empty())
        base = m_options.url.text;
    for (size_t i = 0; i < sdp.media.size(); ++i) {
        const bool offered = sdp.media[i].fromDevice || m_options.backChannel;
        if (!offered || !m_handler.wantsMedia(i, sdp.media[i]))
            continue;
        Track track;
        track.media = i;
        track.url = resolveControl(base, sdp.media[i].control);
        // The first one must be accepted, the others need not be: video before sound, the way back before both.
        const bool first = sdp.media[i].type == "video" || !sdp.media[i].fromDevice;
        m_tracks.insert(first ? m_tracks.begin() : m_tracks.end(), std::move(track));
    }
    if (m_tracks.empty()) {
        fail(LUMONET_ERR_UNSUPPORTED);
        return;
    }
    m_baseUrl = resolveControl(base, sdp.control);
    if (m_options.goal == RtspOptions::Goal::Describe) {
        m_tracks.clear();
        m_state = State::Playing;
        m_due = -1;
        m_handler.onPlaying();
        return;
    }
    m_state = State::Setup;
    m_setupAt = 0;
    sendSetup();
}

bool RtspSession::openDatagramPorts(Track& track)
{
    const Address local = m_socket.localAddress();
    // RTP wants an even port and RTCP the next one; the system hands out any, so a few are tried.
    for (int i = 0; i < 32; ++i) {
        Socket first;
        if (!first.bindDatagram(local.withPort(0), kDatagramBuffer))
            return false;
        const uint16_t port = first.localAddress().port();
        if (port % 2 != 0 || port == 65534 || !track.rtcp.bindDatagram(local.withPort(uint16_t(port + 1))))
            continue;
        track.rtp = std::move(first);
        track.rtpSlot = m_loop.watch(track.rtp.handle(), true, false, this);
        track.rtcpSlot = m_loop.watch(track.rtcp.handle(), true, false, this);
        return true;
    }
    track.rtcp.close();
    return false;
}

void RtspSession::sendSetup()
{
    if (m_setupAt >= m_tracks.size()) {
        sendPlay();
        return;
    }
    Track& track = m_tracks[m_setupAt];
    if (!m_options.udp) {
        track.rtpChannel = int(2 * m_setupAt);
        send("SETUP", track.url,
             "Transport: RTP/AVP/TCP;unicast;interleaved=" + std::to_string(track.rtpChannel) + "-" +
                 std::to_string(track.rtpChannel + 1) + "\r\n" + m_options.setupHeaders + requirement());
        return;
    }
    if (!openDatagramPorts(track)) {
        fail(LUMONET_ERR_REFUSED);
        return;
    }
    const int port = track.rtp.localAddress().port();
    send("SETUP", track.url,
         "Transport: RTP/AVP;unicast;client_port=" + std::to_string(port) + "-" + std::to_string(port + 1) + "\r\n");
}

void RtspSession::takeSetup(const RtspMessage& reply)
{
    std::string session = reply.header("Session");
    std::string_view rest = session;
    const std::string id(trim(takeUntil(rest, ';')));
    if (id.empty()) {
        fail(LUMONET_ERR_REFUSED);
        return;
    }
    m_sessionId = id;
    const int64_t timeout = toNumber(transportParameter(session, "timeout"), 60);
    m_keepAliveMs = std::clamp<int64_t>(timeout, 2, 3600) * 1000 / 2;
    Track& track = m_tracks[m_setupAt];
    const std::string transport = reply.header("Transport");
    if (!m_options.udp) {
        const std::string channels = transportParameter(transport, "interleaved");
        if (!channels.empty())
            track.rtpChannel = int(std::clamp<int64_t>(toNumber(channels, track.rtpChannel), 0, 254));
    } else if (const int64_t port = toNumber(transportParameter(transport, "server_port"), 0);
               port > 0 && port < 65535) {
        // A packet the other way opens the path through what stands between.
        static const uint8_t rtp[12] = {0x80, 0}, report[8] = {0x80, 201, 0, 1};
        track.rtp.sendTo(rtp, sizeof rtp, m_options.address.withPort(uint16_t(port)));
        track.rtcp.sendTo(report, sizeof report, m_options.address.withPort(uint16_t(port + 1)));
    }
    ++m_setupAt;
    sendSetup();
}

/// ONVIF's way to ask for the back channel: a device that has none refuses with 551.
std::string RtspSession::requirement() const
{
    return m_options.backChannel ? "Require: www.onvif.org/ver20/backchannel\r\n" : "";
}

void RtspSession::sendPlay()
{
    m_state = State::Play;
    send("PLAY", m_baseUrl, m_options.playHeaders + requirement());
}

void RtspSession::takePlay(const RtspMessage&, int64_t nowMs)
{
    m_state = State::Playing;
    m_due = nowMs + m_keepAliveMs;
    m_loop.wakeBy(m_due);
    m_handler.onPlaying();
}

} // namespace lumo::net
