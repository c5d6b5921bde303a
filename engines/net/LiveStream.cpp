#include "LiveStream.h"

#include <algorithm>
#include <cstdlib>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxBacklog = 16u << 20; // bytes
constexpr int64_t kMaxClockDrift = 300;   // ms between the sender's clock and ours before its times are set anew
constexpr int64_t kShiftPeriod = 1000;    // ms between two looks at the zone

} // namespace

LiveStream::LiveStream(IoLoop& loop, int handle, StreamSource source, const Timings& timings,
                       std::shared_ptr<const SharedClock> clock)
    : m_loop(loop), m_handle(handle), m_source(std::move(source)), m_timings(timings), m_clock(std::move(clock)),
      m_backoff(timings), m_opening(timings)
{
}

LiveStream::~LiveStream() = default;

int LiveStream::open()
{
    m_loop.post([self = shared_from_this()] {
        if (self->m_ended)
            return;
        self->m_loop.addTimed(self);
        self->startSession(IoLoop::nowMs());
    });
    return m_opening.wait();
}

void LiveStream::cancelOpen(int error)
{
    m_opening.finish(error);
}

void LiveStream::close()
{
    {
        std::lock_guard lock(m_callbackMutex);
        m_closed = true;
        m_fn = nullptr;
        m_fnV2 = nullptr;
        m_backlog.clear();
    }
    m_opening.finish(LUMONET_ERR_NOT_LOGGED_IN);
    m_loop.post([self = shared_from_this()] {
        self->m_ended = true;
        self->dropSession();
        self->m_loop.removeTimed(self.get());
    });
}

void LiveStream::setCallback(LumoRealDataCallback fn, intptr_t user)
{
    std::lock_guard lock(m_callbackMutex);
    m_fn = fn;
    m_user = user;
    m_hadCallback = true;
    m_loop.post([self = shared_from_this()] { self->flushBacklog(); });
}

void LiveStream::setCallbackV2(LumoRealDataCallback_V2 fn, intptr_t user)
{
    std::lock_guard lock(m_callbackMutex);
    m_fnV2 = fn;
    m_userV2 = user;
    m_hadCallback = true;
    m_loop.post([self = shared_from_this()] { self->flushBacklog(); });
}

bool LiveStream::removeCallback()
{
    std::lock_guard lock(m_callbackMutex);
    return std::exchange(m_fn, nullptr) != nullptr;
}

bool LiveStream::removeCallbackV2()
{
    std::lock_guard lock(m_callbackMutex);
    return std::exchange(m_fnV2, nullptr) != nullptr;
}

int64_t LiveStream::due() const
{
    int64_t due = m_retryAt;
    const auto earlier = [&](int64_t t) { due = t >= 0 && (due < 0 || t < due) ? t : due; };
    if (m_session)
        earlier(m_session->due());
    if (m_lastData >= 0)
        earlier(m_lastData + m_timings.silenceMs);
    for (const auto& track : m_tracks)
        earlier(track.order->due());
    return due;
}

void LiveStream::onTime(int64_t nowMs)
{
    if (m_ended)
        return;
    for (auto& track : m_tracks)
        track.order->expire(nowMs);
    if (m_session)
        m_session->onTime(nowMs);
    if (m_session && m_lastData >= 0 && nowMs - m_lastData >= m_timings.silenceMs) {
        dropSession();
        scheduleRetry(nowMs);
    }
    if (m_retryAt >= 0 && nowMs >= m_retryAt) {
        m_retryAt = -1;
        startSession(nowMs);
    }
}

void LiveStream::startSession(int64_t nowMs)
{
    m_tracks.clear();
    m_lastData = -1;
    m_session =
        std::make_shared<RtspSession>(m_loop, optionsFor(m_source, m_timings.openMs), static_cast<RtspHandler&>(*this));
    m_session->start(nowMs);
}

void LiveStream::dropSession()
{
    if (!m_session)
        return;
    m_session->close();
    release(m_loop, m_session);
    m_lastData = -1;
}

void LiveStream::scheduleRetry(int64_t nowMs)
{
    m_retryAt = nowMs + m_backoff.nextMs();
    m_loop.wakeBy(m_retryAt);
}

bool LiveStream::wantsMedia(size_t index, const SdpMedia& media)
{
    const bool video = media.type == "video";
    if (std::any_of(m_tracks.begin(), m_tracks.end(), [&](const Track& t) { return t.video == video; }))
        return false; // one picture and one sound
    Track track;
    track.media = index;
    track.payloadType = media.payloadType;
    track.clockRate = media.clockRate ? media.clockRate : 90000;
    track.video = video;
    track.depacketizer =
        makeDepacketizer(media, [this, rate = track.clockRate](const MediaFrame& f) { takeFrame(f, rate); });
    if (!track.depacketizer)
        return false;
    track.order = std::make_unique<ReorderBuffer>(
        m_source.udp ? m_timings.reorderMs : 0,
        [d = track.depacketizer.get()](const RtpPacket& packet, bool lost) { d->push(packet, lost); });
    m_tracks.push_back(std::move(track));
    return true;
}

void LiveStream::onPlaying()
{
    m_lastData = IoLoop::nowMs();
    m_loop.wakeBy(m_lastData + m_timings.silenceMs);
    m_opening.finish(0);
}

void LiveStream::onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs)
{
    if (m_lastData >= 0)
        m_lastData = nowMs;
    const auto packet = parseRtp(data, size);
    if (!packet)
        return;
    for (auto& track : m_tracks) {
        if (track.media != mediaIndex || track.payloadType != packet->payloadType)
            continue;
        track.order->push(*packet, nowMs);
        if (track.order->held() > 0)
            m_loop.wakeBy(track.order->due());
        return;
    }
}

void LiveStream::onFailed(int error)
{
    const int64_t again = m_session && !m_ended ? m_opening.askAgainAt(m_session->lastStatus()) : -1;
    release(m_loop, m_session);
    m_lastData = -1;
    if (again >= 0) {
        m_retryAt = again;
        m_loop.wakeBy(m_retryAt);
        return;
    }
    // The owner drops a stream that never opened. A refused password is never tried again.
    if (m_opening.pending() || error == LUMONET_ERR_PASSWORD || m_ended)
        m_ended = true;
    else
        scheduleRetry(IoLoop::nowMs());
    m_opening.finish(error);
}

int64_t LiveStream::stampOf(const MediaFrame& frame, uint32_t clockRate)
{
    const int64_t now = wallClockMs();
    int64_t wall = m_anchorWall + int64_t(int32_t(frame.rtpTime - m_anchorRtp)) * 1000 / clockRate;
    if (std::llabs(wall - now) > kMaxClockDrift) {
        wall = now;
        m_anchorWall = now;
        m_anchorRtp = frame.rtpTime;
    }
    if (now >= m_shiftUntil || now + kShiftPeriod < m_shiftUntil) {
        m_shiftMs = shownTimeMs(m_clock->get(), now) - now;
        m_shiftUntil = (now / kShiftPeriod + 1) * kShiftPeriod;
    }
    return wall + m_shiftMs;
}

void LiveStream::takeFrame(const MediaFrame& frame, uint32_t clockRate)
{
    m_backoff.reset();
    Block& block = m_block;
    block.bytes.clear();
    block.width = block.height = 0;
    block.atMs = 0;
    if (frame.video) {
        const VideoFrameHeader header = videoHeader(frame, stampOf(frame, clockRate));
        appendVideoFrame(block.bytes, header, frame.data, frame.size);
        block.type = frame.key ? LUMO_FRAME_VIDEO_I : LUMO_FRAME_VIDEO_P;
        if (frame.key) {
            block.width = header.width;
            block.height = header.height;
        }
    } else {
        appendAudioFrame(block.bytes, {frame.audioCodec, frame.sampleRate, 0}, frame.data, frame.size);
        block.type = LUMO_FRAME_AUDIO;
    }
    hand(std::move(block));
}

void LiveStream::hand(Block&& block)
{
    std::lock_guard lock(m_callbackMutex);
    if (m_closed)
        return;
    if (!m_fn && !m_fnV2) {
        if (!m_hadCallback)
            keepForLater(std::move(block));
        else
            m_needKey = true; // frames are missing for whoever comes next
        return;
    }
    flushBacklog();
    if (m_needKey && block.type == LUMO_FRAME_VIDEO_P)
        return;
    if (block.type == LUMO_FRAME_VIDEO_I)
        m_needKey = false;
    call(block);
}

/// The first group of pictures is kept until a callback is there; when none comes, only whole groups are.
void LiveStream::keepForLater(Block&& block)
{
    block.atMs = IoLoop::nowMs();
    const bool full = !m_backlog.empty() && (block.atMs - m_backlog.front().atMs > m_timings.backlogMs ||
                                             m_backlogBytes + block.bytes.size() > kMaxBacklog);
    if (full) {
        m_backlog.clear();
        m_backlogBytes = 0;
        m_needKey = true;
    }
    if (m_needKey && block.type == LUMO_FRAME_VIDEO_P)
        return;
    if (block.type == LUMO_FRAME_VIDEO_I)
        m_needKey = false;
    m_backlogBytes += block.bytes.size();
    m_backlog.push_back(std::move(block));
    block = Block();
}

void LiveStream::flushBacklog()
{
    std::lock_guard lock(m_callbackMutex);
    while (!m_backlog.empty() && (m_fn || m_fnV2)) {
        const Block block = std::move(m_backlog.front());
        m_backlog.pop_front();
        call(block);
    }
    m_backlogBytes = 0;
}

void LiveStream::call(const Block& block)
{
    if (m_fn)
        m_fn(m_handle, block.type, const_cast<uint8_t*>(block.bytes.data()), long(block.bytes.size()), m_user);
    if (!m_fnV2)
        return;
    LumoFrame frame{};
    frame.nFrameType = block.type;
    frame.pData = block.bytes.data();
    frame.nSize = uint32_t(block.bytes.size());
    frame.nWidth = block.width;
    frame.nHeight = block.height;
    m_fnV2(m_handle, &frame, m_userV2);
}

} // namespace lumo::net
