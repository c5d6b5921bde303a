#include "TalkPeer.h"

#include "Text.h"

#include <thread>

namespace lumo::net::test
{

TalkPeer::TalkPeer()
{
    rtsp.sdp = sdp();
    rtsp.onPlay = [this](PeerConnection& connection, int) { play(connection); };
}

std::string TalkPeer::sdp(const std::string& microphone, const std::string& loudspeaker)
{
    const auto audio = [](const std::string& type, const std::string& direction, const std::string& control) {
        const bool wide = type == "97";
        return type.empty() ? std::string()
                            : "m=audio 0 RTP/AVP " + type + "\r\n" + (wide ? "a=rtpmap:97 PCMA/16000\r\n" : "") +
                                  "a=" + direction + "\r\na=control:" + control + "\r\n";
    };
    return "v=0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=control:picture\r\n" +
           audio(microphone, "recvonly", "sound") + audio(loudspeaker, "sendonly", "back");
}

int TalkPeer::channelOf(const std::string& control) const
{
    int channel = -1;
    for (const auto& r : rtsp.requests()) {
        const std::string transport = r.header("Transport");
        const size_t at = transport.find("interleaved=");
        if (r.method == "SETUP" && r.url.ends_with(control) && at != std::string::npos)
            channel = int(toNumber(std::string_view(transport).substr(at + 12), -1));
    }
    return channel;
}

void TalkPeer::play(PeerConnection& connection)
{
    const int back = channelOf("back"), sound = channelOf("sound");
    int heardHere = 0;
    connection.onInterleaved = [&](int channel, const Bytes& packet) {
        const auto fields = parseRtp(packet.data(), packet.size());
        if (channel != back || !fields)
            return;
        ++heardHere;
        std::lock_guard lock(m_mutex);
        m_heard.push_back({fields->sequence, fields->timestamp, fields->payloadType, fields->marker,
                           Bytes(fields->payload, fields->payload + fields->size), Clock::now()});
        m_changed.notify_all();
    };
    int said = 0;
    auto due = Clock::now();
    while (connection.open() && !rtsp.stopping() && (hangUpAfter < 0 || heardHere < hangUpAfter)) {
        if (says && sound >= 0 && Clock::now() >= due) {
            const Bytes codes = says(said);
            const uint8_t type = rtsp.sdp.find("AVP 97") != std::string::npos ? 97 : 8;
            connection.sendInterleaved(sound,
                                       rtp(uint16_t(said), uint32_t(size_t(said) * codes.size()), false, codes, type));
            ++said;
            due += std::chrono::milliseconds(20);
        }
        connection.fill(2);
        while (const auto r = connection.next())
            rtsp.answer(connection, *r);
    }
    connection.close();
}

std::vector<TalkPeer::Heard> TalkPeer::heard() const
{
    std::lock_guard lock(m_mutex);
    return m_heard;
}

bool TalkPeer::waitForHeard(size_t packets) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return m_heard.size() >= packets; });
}

Bytes TalkPeer::heardCodes() const
{
    Bytes all;
    for (const Heard& h : heard())
        all.insert(all.end(), h.codes.begin(), h.codes.end());
    return all;
}

void Listener::onVoice(long handle, uint8_t* data, long size, long type, intptr_t user)
{
    auto& self = *reinterpret_cast<Listener*>(user);
    self.handle = handle;
    self.type = type;
    std::unique_lock lock(self.m_mutex);
    self.m_blocks.emplace_back(data, data + size);
    self.m_changed.notify_all();
    self.m_changed.wait(lock, [&] { return !self.m_hold; });
}

std::vector<Bytes> Listener::blocks() const
{
    std::lock_guard lock(m_mutex);
    return m_blocks;
}

Bytes Listener::codes() const
{
    Bytes all;
    for (const Bytes& b : blocks())
        all.insert(all.end(), b.begin() + std::min<ptrdiff_t>(8, ptrdiff_t(b.size())), b.end());
    return all;
}

bool Listener::waitForCodes(size_t bytes) const
{
    const auto enough = [&] {
        size_t sum = 0;
        for (const Bytes& b : m_blocks)
            sum += b.size() > 8 ? b.size() - 8 : 0;
        return sum >= bytes;
    };
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), enough);
}

void Listener::hold()
{
    std::lock_guard lock(m_mutex);
    m_hold = true;
}

void Listener::release()
{
    std::lock_guard lock(m_mutex);
    m_hold = false;
    m_changed.notify_all();
}

double speak(int talk, double hz, int rate, int ms)
{
    constexpr size_t kBlock = 320; // samples
    const size_t blocks = size_t(ms) * size_t(rate) / 1000 / kBlock;
    auto due = std::chrono::steady_clock::now();
    std::chrono::duration<double, std::milli> late{0};
    for (size_t i = 0; i < blocks; ++i) {
        std::this_thread::sleep_until(due);
        late = std::max<decltype(late)>(late, std::chrono::steady_clock::now() - due);
        due += std::chrono::microseconds(kBlock * 1000000 / size_t(rate));
        const Bytes frame = talkFrame(tone(hz, rate, kBlock, i * kBlock), rate);
        EXPECT_EQ(LUMONET_VoiceComSendData(talk, frame.data(), int(frame.size())), 1);
    }
    return late.count();
}

} // namespace lumo::net::test
