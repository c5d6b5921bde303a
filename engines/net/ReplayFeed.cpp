#include "ReplayFeed.h"

#include "Onvif.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace lumo::net
{
namespace
{

constexpr size_t kMaxWhileControlled = 64u << 20; // bytes kept while a control waits for its answer

/// "20250329T090000Z", with milliseconds where there are some.
std::string clockText(int64_t utcMs)
{
    std::string iso = isoTime(utcMs); // 2025-03-29T09:00:00Z
    std::erase_if(iso, [](char c) { return c == '-' || c == ':'; });
    if (utcMs % 1000 != 0) {
        char fraction[8];
        std::snprintf(fraction, sizeof fraction, ".%03dZ", int(utcMs % 1000));
        iso.replace(iso.size() - 1, 1, fraction);
    }
    return iso;
}

} // namespace

int64_t ReplayFeed::Track::timeOf(uint32_t rtp, int64_t otherwise)
{
    if (!told[0].is)
        told[0] = {rtp, otherwise, true};
    for (const auto& t : told)
        if (t.is && t.rtp == rtp)
            return t.utcMs;
    const uint32_t rate = description.clockRate ? description.clockRate : 90000;
    return told[0].utcMs + int64_t(int32_t(rtp - told[0].rtp)) * 1000 / rate;
}

ReplayFeed::ReplayFeed(IoLoop& loop, ReplaySpan span, const Timings& timings, std::function<bool()> lost)
    : m_loop(loop), m_span(std::move(span)), m_timings(timings), m_lost(std::move(lost)), m_wantedMs(m_span.beginMs),
      m_opening(timings)
{
}

ReplayFeed::~ReplayFeed() = default;

int ReplayFeed::open()
{
    m_loop.post([self = shared_from_this()] {
        if (self->m_closed)
            return;
        self->m_loop.addTimed(self);
        self->startSession(IoLoop::nowMs());
    });
    return m_opening.wait();
}

void ReplayFeed::cancelOpen(int error)
{
    m_opening.finish(error);
}

void ReplayFeed::close()
{
    {
        std::lock_guard lock(m_waitMutex);
        m_closing = true;
        m_waitChanged.notify_all();
    }
    m_opening.finish(LUMONET_ERR_NOT_LOGGED_IN);
    m_queue.close();
    m_loop.post([self = shared_from_this()] {
        self->m_closed = true;
        self->dropSession();
        self->m_commands.clear();
        self->m_loop.removeTimed(self.get());
    });
}

std::string ReplayFeed::scaleLine() const
{
    if (!m_span.paced)
        return "Rate-Control: no\r\n";
    char text[64];
    std::snprintf(text, sizeof text, "Rate-Control: yes\r\nScale: %g\r\n", m_scale);
    return text;
}

std::string ReplayFeed::rangeLine(int64_t fromMs) const
{
    return "Range: clock=" + clockText(fromMs) + "-" + clockText(m_span.endMs) + "\r\n";
}

void ReplayFeed::startSession(int64_t nowMs)
{
    m_retryAt = -1;
    m_playing = m_devicePaused = m_overflowed = false;
    m_tracks.clear();
    RtspOptions options = optionsFor(m_span.source, m_timings.openMs);
    options.replay = true;
    options.setupHeaders = "Require: onvif-replay\r\n";
    options.playHeaders =
        "Require: onvif-replay\r\n" + rangeLine(m_lastMs >= 0 ? m_lastMs + 1 : m_wantedMs) + scaleLine();
    m_session = std::make_shared<RtspSession>(m_loop, std::move(options), static_cast<RtspHandler&>(*this));
    m_session->start(nowMs);
}

void ReplayFeed::dropSession()
{
    if (!m_session)
        return;
    m_session->close();
    release(m_loop, m_session);
    m_playing = m_devicePaused = false;
    m_lastData = -1;
}

bool ReplayFeed::wantsMedia(size_t index, const SdpMedia& media)
{
    const bool video = media.type == "video";
    if (std::any_of(m_tracks.begin(), m_tracks.end(), [&](const auto& t) { return t->video() == video; }))
        return false; // one picture and one sound
    auto track = std::make_unique<Track>();
    track->media = index;
    track->description = media;
    makeDepacketizer(*track);
    if (!track->depacketizer)
        return false;
    m_tracks.push_back(std::move(track));
    return true;
}

void ReplayFeed::makeDepacketizer(Track& track)
{
    track.depacketizer =
        net::makeDepacketizer(track.description, [this, &track](const MediaFrame& f) { takeFrame(track, f); });
    if (!track.depacketizer)
        return;
    track.order = std::make_unique<ReorderBuffer>(
        0, [d = track.depacketizer.get()](const RtpPacket& packet, bool lost) { d->push(packet, lost); });
    track.told[0].is = track.told[1].is = false;
}

/// As after a new beginning: nothing of the old position may be put together with the new one.
void ReplayFeed::restartTracks()
{
    for (auto& track : m_tracks)
        makeDepacketizer(*track);
}

void ReplayFeed::onPlaying()
{
    const int64_t now = IoLoop::nowMs();
    m_playing = true;
    m_lastData = now;
    m_loop.wakeBy(now + m_timings.silenceMs);
    m_opening.finish(0);
    if (m_userPaused)
        addCommand({Kind::Pause, 0, 1.0, true, {}});
    updateReading();
    nextCommand();
}

void ReplayFeed::onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs)
{
    m_lastData = nowMs;
    if (m_discard || m_allIn)
        return;
    const auto packet = parseRtp(data, size);
    if (!packet)
        return;
    for (auto& track : m_tracks) {
        if (track->media != mediaIndex || track->description.payloadType != packet->payloadType)
            continue;
        const auto time = replayTimeOf(*packet);
        if (time && !(track->told[0].is && track->told[0].rtp == packet->timestamp)) {
            track->told[1] = track->told[0];
            track->told[0] = {packet->timestamp, time->utcMs, true};
        }
        track->order->push(*packet, nowMs);
        return;
    }
}

int64_t ReplayFeed::shift(int64_t utcMs)
{
    if (utcMs / 1000 != m_shiftSecond) {
        m_shiftSecond = utcMs / 1000;
        m_shiftMs = shownTimeOfUtcMs(m_span.clock, utcMs) - utcMs;
    }
    return m_shiftMs;
}

void ReplayFeed::takeFrame(Track& track, const MediaFrame& frame)
{
    int64_t& last = frame.video ? m_lastMs : m_lastSoundMs;
    const int64_t time = track.timeOf(frame.rtpTime, last >= 0 ? last + 1 : m_wantedMs);
    if (m_allIn || (last >= 0 && time <= last))
        return; // over, or what was there before the session was opened again
    if (time >= m_span.endMs) {
        if (frame.video)
            endData(0);
        return;
    }
    const int64_t step = time - last;
    last = time;
    ReplayItem item;
    item.utcMs = time;
    item.decodeOnly = time < m_wantedMs;
    if (frame.video) {
        if (step < 1000) // else a gap, or the first one
            m_frameMs = std::max<int64_t>(step, 1);
        m_attempts = 0;
        VideoFrameHeader header = videoHeader(frame, time + shift(time));
        header.flags = item.decodeOnly ? kFlagDecodeOnly : 0;
        if (std::exchange(m_newPosition, false))
            header.flags |= kFlagNewPosition;
        appendVideoFrame(item.bytes, header, frame.data, frame.size);
        item.type = frame.key ? LUMO_FRAME_VIDEO_I : LUMO_FRAME_VIDEO_P;
    } else {
        if (item.decodeOnly)
            return;
        appendAudioFrame(item.bytes, {frame.audioCodec, frame.sampleRate, 0}, frame.data, frame.size);
        item.type = LUMO_FRAME_AUDIO;
    }
    push(std::move(item), m_lastData);
}

void ReplayFeed::push(ReplayItem&& item, int64_t nowMs)
{
    m_queue.push(std::move(item));
    const size_t bytes = m_queue.bytes();
    if (!m_held && (bytes > m_span.queueBytes || m_queue.count() > m_span.queueItems)) {
        m_held = true;
        m_heldSince = nowMs;
        m_loop.wakeBy(nowMs + m_timings.heldPauseMs);
        updateReading();
    }
    // More than that is not kept for an answer that does not come: the session begins anew when there is room.
    if (bytes > kMaxWhileControlled) {
        m_overflowed = true;
        dropSession();
        if (m_busy)
            finishCommand(LUMONET_ERR_TIMEOUT);
    }
}

void ReplayFeed::updateReading()
{
    if (m_session && m_playing)
        m_session->setReading(m_busy || !m_held || m_devicePaused);
}

void ReplayFeed::taken()
{
    if (!m_held || m_queue.bytes() > m_span.queueBytes / 2 || m_queue.count() > m_span.queueItems / 2)
        return;
    m_loop.post([self = shared_from_this()] { self->room(); });
}

void ReplayFeed::room()
{
    if (m_closed || !m_held)
        return;
    m_held = false;
    m_lastData = IoLoop::nowMs();
    m_loop.wakeBy(m_lastData + m_timings.silenceMs);
    if (m_overflowed) {
        startSession(m_lastData);
        return;
    }
    if (m_devicePaused && !m_userPaused && m_commands.empty())
        addCommand({Kind::Resume, 0, 1.0, true, {}});
    updateReading();
}

void ReplayFeed::endData(int error)
{
    m_allIn = true;
    m_queue.end(error);
}

void ReplayFeed::onBye(size_t mediaIndex)
{
    const bool video =
        std::any_of(m_tracks.begin(), m_tracks.end(), [&](auto& t) { return t->media == mediaIndex && t->video(); });
    if (video && !m_discard && !m_allIn)
        endData(0);
}

bool ReplayFeed::expectsData() const
{
    return m_session && m_playing && !m_allIn && !m_busy && !m_held && !m_devicePaused;
}

int64_t ReplayFeed::patienceMs() const
{
    const int patience = nearEnd() ? m_timings.replayEndMs : m_timings.silenceMs;
    return int64_t(patience / std::min(m_scale, 1.0));
}

int64_t ReplayFeed::due() const
{
    int64_t due = m_retryAt;
    const auto earlier = [&](int64_t t) { due = t >= 0 && (due < 0 || t < due) ? t : due; };
    if (m_session)
        earlier(m_session->due());
    if (expectsData() && m_lastData >= 0)
        earlier(m_lastData + patienceMs());
    if (m_held && m_playing && !m_devicePaused && !m_allIn && m_commands.empty())
        earlier(m_heldSince + m_timings.heldPauseMs);
    return due;
}

void ReplayFeed::onTime(int64_t nowMs)
{
    if (m_closed)
        return;
    if (m_session)
        m_session->onTime(nowMs);
    if (expectsData() && m_lastData >= 0 && nowMs - m_lastData >= patienceMs()) {
        if (nearEnd()) {
            endData(0); // it plays no further, and has no word for that
        } else {
            dropSession();
            onFailed(LUMONET_ERR_TIMEOUT);
        }
    }
    if (m_held && m_playing && !m_devicePaused && !m_allIn && m_commands.empty() &&
        nowMs - m_heldSince >= m_timings.heldPauseMs)
        addCommand({Kind::Pause, 0, 1.0, true, {}});
    if (m_retryAt >= 0 && nowMs >= m_retryAt)
        startSession(nowMs);
}

void ReplayFeed::onFailed(int error)
{
    const int64_t again = m_session && !m_closed ? m_opening.askAgainAt(m_session->lastStatus()) : -1;
    release(m_loop, m_session);
    m_playing = m_devicePaused = false;
    if (again >= 0) {
        m_retryAt = again;
        m_loop.wakeBy(m_retryAt);
        return;
    }
    if (m_opening.pending()) {
        m_dead = true;
        m_opening.finish(error);
        return;
    }
    m_discard = false;
    if (m_busy)
        finishCommand(error);
    if (m_allIn || m_session) // or a seek that waited behind that command has begun a new session
        return;
    if (nearEnd()) {
        endData(0);
    } else if (error == LUMONET_ERR_PASSWORD || m_lost() || ++m_attempts > m_timings.replayTries) {
        m_dead = true;
        endData(error);
    } else {
        m_retryAt = IoLoop::nowMs() + m_timings.retryMs[0];
        m_loop.wakeBy(m_retryAt);
    }
}

int ReplayFeed::pause()
{
    return run({Kind::Pause, 0, 1.0, false, {}});
}

int ReplayFeed::resume()
{
    return run({Kind::Resume, 0, 1.0, false, {}});
}

int ReplayFeed::setScale(double scale)
{
    return run({Kind::Scale, 0, scale, false, {}});
}

int ReplayFeed::seek(int64_t utcMs)
{
    return run({Kind::Seek, utcMs, 1.0, false, {}});
}

int ReplayFeed::run(Command command)
{
    std::lock_guard one(m_controlMutex);
    {
        std::lock_guard lock(m_waitMutex);
        if (m_closing)
            return LUMONET_ERR_NOT_LOGGED_IN;
        m_controlResult.reset();
    }
    command.done = [this](int error) { // called on the loop, which holds this object meanwhile
        std::lock_guard lock(m_waitMutex);
        m_controlResult = error;
        m_waitChanged.notify_all();
    };
    m_loop.post([self = shared_from_this(), command = std::move(command)] { self->begin(command); });
    std::unique_lock lock(m_waitMutex);
    m_waitChanged.wait(lock, [this] { return m_closing || m_controlResult.has_value(); });
    return m_controlResult.value_or(LUMONET_ERR_NOT_LOGGED_IN);
}

void ReplayFeed::begin(Command command)
{
    if (m_closed || m_dead) {
        command.done(LUMONET_ERR_TIMEOUT);
        return;
    }
    m_userPaused = command.kind == Kind::Pause;
    if (command.kind == Kind::Seek) { // from here on the consumer gets nothing of the old position
        m_discard = true;
        m_queue.clear();
    }
    addCommand(std::move(command));
}

void ReplayFeed::addCommand(Command command)
{
    m_commands.push_back(std::move(command));
    nextCommand();
}

/// Sends the first command's request; those that need none are done at once.
void ReplayFeed::nextCommand()
{
    while (!m_busy && !m_commands.empty()) {
        m_busy = true;
        updateReading();
        if (sendCommand(m_commands.front()))
            return;
        finishCommand(m_dead ? LUMONET_ERR_TIMEOUT : 0);
    }
}

/// False when there is nothing to ask the device for; the next session then begins as it is wanted.
bool ReplayFeed::sendCommand(const Command& c)
{
    const int64_t now = IoLoop::nowMs();
    const std::string head = "Require: onvif-replay\r\nImmediate: yes\r\n";
    m_lastScale = m_scale;
    const bool faster = c.kind == Kind::Scale && c.scale != m_scale;
    if (c.kind == Kind::Scale)
        m_scale = c.scale;
    if (c.kind == Kind::Seek && !m_playing && !m_dead) {
        seekTo(c.toMs);
        dropSession();
        startSession(now);
    }
    if (!m_playing || m_dead || (m_allIn && c.kind != Kind::Seek))
        return false;
    if (c.kind == Kind::Pause) {
        if (m_devicePaused)
            return false;
        m_session->control("PAUSE", "Require: onvif-replay\r\n", now);
    } else if (c.kind == Kind::Seek) {
        m_session->control("PLAY", head + rangeLine(c.toMs) + scaleLine(), now);
    } else {
        if (!faster && (!m_devicePaused || m_userPaused))
            return false;
        m_session->control("PLAY", head + scaleLine(), now);
    }
    return true;
}

void ReplayFeed::seekTo(int64_t utcMs)
{
    m_wantedMs = utcMs;
    m_lastMs = m_lastSoundMs = -1;
    m_attempts = 0;
    m_allIn = m_discard = m_devicePaused = m_held = false;
    m_newPosition = true;
    m_queue.clear();
    restartTracks();
}

void ReplayFeed::onControlled(int status)
{
    const int error = status < 300 ? 0 : errorOfRtspStatus(status);
    const Command& c = m_commands.front();
    m_lastData = m_heldSince = IoLoop::nowMs();
    m_loop.wakeBy(m_lastData + m_timings.replayEndMs);
    if (c.kind == Kind::Seek && error == 0) {
        seekTo(c.toMs);
    } else if (c.kind == Kind::Seek) { // it plays on where it was; what came meanwhile is lost to the next key frame
        m_discard = false;
        restartTracks();
    } else if (error == 0) {
        m_devicePaused = c.kind == Kind::Pause;
    } else if (c.kind == Kind::Scale) {
        m_scale = m_lastScale;
    }
    finishCommand(error);
}

void ReplayFeed::finishCommand(int error)
{
    const Command done = std::move(m_commands.front());
    m_commands.pop_front();
    m_busy = false;
    // Room that came while the library's own pause was under way.
    if (done.own && done.kind == Kind::Pause && m_devicePaused && !m_held && !m_userPaused)
        m_commands.push_back({Kind::Resume, 0, 1.0, true, {}});
    updateReading();
    if (done.done)
        done.done(error);
    nextCommand();
}

} // namespace lumo::net
