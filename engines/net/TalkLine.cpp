#include "TalkLine.h"

#include "Digest.h"
#include "G711.h"

#include <cstring>

namespace lumo::net
{
namespace
{

uint32_t randomNumber()
{
    uint32_t number = 0;
    const std::string bytes = randomBytes(sizeof number);
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

bool isG711(const SdpMedia& media)
{
    return media.type == "audio" && media.channels == 1 && (media.encoding == "PCMA" || media.encoding == "PCMU");
}

} // namespace

TalkLine::TalkLine(IoLoop& loop, StreamSource source, const Timings& timings, Ear ear)
    : m_loop(loop), m_source(std::move(source)), m_timings(timings), m_ear(std::move(ear)),
      m_sequence(uint16_t(randomNumber())), m_time(randomNumber()), m_source32(randomNumber()), m_backoff(timings),
      m_opening(timings)
{
}

void TalkLine::begin()
{
    m_loop.post([self = shared_from_this()] {
        if (self->m_ended)
            return;
        self->m_loop.addTimed(self);
        self->startSession(IoLoop::nowMs());
    });
}

int TalkLine::wait()
{
    return m_opening.wait();
}

void TalkLine::cancelOpen(int error)
{
    m_opening.finish(error);
}

void TalkLine::close()
{
    m_opening.finish(LUMONET_ERR_NOT_LOGGED_IN);
    m_loop.post([self = shared_from_this()] {
        self->m_ended = true;
        self->dropSession();
        self->m_ear = nullptr;
        self->m_loop.removeTimed(self.get());
    });
}

void TalkLine::send(std::vector<uint8_t> codes, bool begins)
{
    m_loop.post([self = shared_from_this(), codes = std::move(codes), begins]() mutable {
        if (!self->m_playing || !self->m_session)
            return;
        if (self->m_backMuLaw)
            for (uint8_t& c : codes)
                c = muLawOfLinear(linearOfALaw(c));
        std::vector<uint8_t> packet = {0x80, uint8_t((begins ? 0x80 : 0) | self->m_backType)};
        const auto put = [&](uint32_t value, int bits) {
            for (int shift = bits - 8; shift >= 0; shift -= 8)
                packet.push_back(uint8_t(value >> shift));
        };
        put(self->m_sequence++, 16);
        put(self->m_time, 32);
        put(self->m_source32, 32);
        self->m_time += uint32_t(codes.size());
        packet.insert(packet.end(), codes.begin(), codes.end());
        self->m_session->sendData(size_t(self->m_backMedia), packet);
    });
}

void TalkLine::hear()
{
    m_loop.post([self = shared_from_this()] {
        if (self->m_session && self->m_playing)
            self->m_session->setReading(true);
    });
}

int64_t TalkLine::due() const
{
    const int64_t session = m_session ? m_session->due() : -1;
    if (m_retryAt < 0 || session < 0)
        return std::max(m_retryAt, session);
    return std::min(m_retryAt, session);
}

void TalkLine::onTime(int64_t nowMs)
{
    if (m_ended)
        return;
    if (m_session)
        m_session->onTime(nowMs);
    if (m_retryAt >= 0 && nowMs >= m_retryAt) {
        m_retryAt = -1;
        startSession(nowMs);
    }
}

/// Over TCP whatever the pictures take: speech is little, and what a device hears must be whole.
void TalkLine::startSession(int64_t nowMs)
{
    RtspOptions options = optionsFor(m_source, m_timings.openMs);
    options.udp = false;
    options.backChannel = true;
    m_backMedia = m_soundMedia = -1;
    m_depacketizer.reset();
    m_half.reset();
    m_session = std::make_shared<RtspSession>(m_loop, std::move(options), static_cast<RtspHandler&>(*this));
    m_session->start(nowMs);
}

void TalkLine::dropSession()
{
    m_playing = false;
    if (!m_session)
        return;
    m_session->close();
    release(m_loop, m_session);
}

bool TalkLine::wantsMedia(size_t index, const SdpMedia& media)
{
    if (!isG711(media))
        return false;
    if (!media.fromDevice) {
        if (m_backMedia >= 0 || media.clockRate != 8000)
            return false;
        m_backMedia = int(index);
        m_backType = media.payloadType & 127;
        m_backMuLaw = media.encoding == "PCMU";
        return true;
    }
    if (!m_ear || m_soundMedia >= 0 || (media.clockRate != 8000 && media.clockRate != 16000))
        return false;
    m_depacketizer = makeDepacketizer(media, [this](const MediaFrame& f) { takeSound(f); });
    if (!m_depacketizer)
        return false;
    m_soundMedia = int(index);
    m_soundType = media.payloadType;
    if (media.clockRate == 16000)
        m_half = std::make_unique<HalfRate>();
    return true;
}

void TalkLine::onPlaying()
{
    if (m_backMedia < 0) { // it knows the word, and has no loudspeaker
        dropSession();
        onFailed(LUMONET_ERR_UNSUPPORTED);
        return;
    }
    m_playing = true;
    m_backoff.reset();
    m_opening.finish(0);
}

void TalkLine::onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t)
{
    const auto packet = parseRtp(data, size);
    if (packet && m_depacketizer && int(mediaIndex) == m_soundMedia && packet->payloadType == m_soundType)
        m_depacketizer->push(*packet, false);
}

void TalkLine::takeSound(const MediaFrame& frame)
{
    m_heard.clear();
    if (m_half)
        m_half->push(frame.data, frame.size, m_heard);
    else
        m_heard.assign(frame.data, frame.data + frame.size);
    if (!m_heard.empty() && m_ear && !m_ear(m_heard) && m_session)
        m_session->setReading(false);
}

void TalkLine::onFailed(int error)
{
    const int64_t again = m_session && !m_ended ? m_opening.askAgainAt(m_session->lastStatus()) : -1;
    m_playing = false;
    release(m_loop, m_session);
    if (again >= 0) {
        m_retryAt = again;
        m_loop.wakeBy(m_retryAt);
        return;
    }
    if (m_opening.pending() || error == LUMONET_ERR_PASSWORD || m_ended) {
        m_ended = true;
    } else {
        m_retryAt = IoLoop::nowMs() + m_backoff.nextMs();
        m_loop.wakeBy(m_retryAt);
    }
    m_opening.finish(error);
}

} // namespace lumo::net
