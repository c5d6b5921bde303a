#include "ReplayPlayer.h"

#include <glib.h>

#include <algorithm>

namespace lumo::recorder
{
namespace
{

// Later than this is not made up for: the client did not take the data.
constexpr int64_t kMaxLateUs = 500000;

} // namespace

ReplayPlayer::ReplayPlayer(RecordingStore& store, Faults& faults, int channel)
    : m_store(store), m_faults(faults), m_channel(channel)
{
}

bool ReplayPlayer::place(int64_t utcMs)
{
    const auto stretches = m_store.stretches(m_channel);
    const auto found =
        std::find_if(stretches.begin(), stretches.end(), [&](const Stretch& s) { return s.endMs() > utcMs; });
    if (found == stretches.end()) {
        return false;
    }
    int64_t picture = found->firstAt(utcMs);
    if (picture >= found->pictures) { // between the last picture and the end of its time
        picture = found->pictures - 1;
    }
    m_clip = m_store.clip(*found);
    m_picture = keyBefore(*m_clip, picture);
    m_stretches = stretches;
    m_at = static_cast<size_t>(found - stretches.begin());
    m_placed = m_discontinuity = true;
    return true;
}

bool ReplayPlayer::play(const PlayRequest& request)
{
    std::optional<int64_t> begin = request.beginMs;
    const auto stretches = m_store.stretches(m_channel);
    if (stretches.empty()) {
        return false;
    }
    if (!begin && (request.nptSeconds || !m_placed)) {
        begin = stretches.front().beginMs + static_cast<int64_t>(request.nptSeconds.value_or(0) * 1000);
    }
    if (begin) {
        const int64_t end = request.endMs.value_or(INT64_MAX);
        const bool any = std::any_of(stretches.begin(), stretches.end(),
                                     [&](const Stretch& s) { return s.endMs() > *begin && s.beginMs < end; });
        if (end <= *begin || !any || !place(*begin)) {
            return false;
        }
        m_endMs = end;
    } else {
        m_endMs = request.endMs.value_or(m_endMs);
    }
    m_request = request;
    m_playing = true;
    m_dueUs = g_get_monotonic_time();
    return true;
}

int64_t ReplayPlayer::positionMs() const
{
    return m_placed ? m_stretches[m_at].timeOf(m_picture) : 0;
}

int ReplayPlayer::waitMs() const
{
    if (!m_playing) {
        return -1;
    }
    const int64_t left = m_request.paced ? m_dueUs - g_get_monotonic_time() : 0;
    return left <= 0 ? 0 : static_cast<int>((left + 999) / 1000);
}

// Goes on to the next stretch where one ends; true when there is nothing more.
bool ReplayPlayer::atEnd()
{
    if (m_picture >= m_stretches[m_at].pictures) {
        if (m_stretches[m_at].running()) {
            m_stretches = m_store.stretches(m_channel); // it has grown
            return m_picture >= m_stretches[m_at].pictures;
        }
        if (m_at + 1 >= m_stretches.size()) {
            return true;
        }
        if (m_stretches[m_at + 1].beginMs >= m_endMs) {
            return true;
        }
        ++m_at;
        m_picture = 0;
        m_clip = m_store.clip(m_stretches[m_at]);
        m_discontinuity = true;
    }
    return positionMs() >= m_endMs;
}

void ReplayPlayer::finish(std::string& out)
{
    for (RtpTrack* track : {&video, &sound}) {
        track->addBye(out);
        track->renew();
    }
    m_playing = false;
}

// Pictures before the asked time are there for the decoder only: they go out at once.
void ReplayPlayer::schedule()
{
    const int64_t now = g_get_monotonic_time();
    if (m_request.beginMs && positionMs() < *m_request.beginMs) {
        m_dueUs = now;
        return;
    }
    m_dueUs += static_cast<int64_t>(1e6 / (m_stretches[m_at].fps * m_request.scale));
    m_dueUs = m_dueUs + kMaxLateUs < now ? now : m_dueUs;
}

Faults::ReplayFault ReplayPlayer::step(std::string& out)
{
    if (atEnd()) {
        finish(out);
        return Faults::ReplayFault::None;
    }
    const Stretch& s = m_stretches[m_at];
    const ClipFrame unit = unitOf(*m_clip, m_picture);
    if (!m_request.keysOnly || unit.key) {
        const auto fault = m_faults.notePicture();
        if (fault != Faults::ReplayFault::None) {
            return fault;
        }
        const bool last = !s.running() && m_picture + 1 == s.pictures;
        const ReplayMarks marks{unit.key != 0, last, m_discontinuity, m_request.sequence};
        video.addH264(out, m_clip->data.data() + unit.offset, unit.size, positionMs(), marks);
        if (sound.active() && !m_request.keysOnly) {
            const auto samples = m_tone.next(static_cast<int>(m_picture % static_cast<int64_t>(s.fps)), s.fps);
            sound.addSound(out, samples.data(), samples.size(), positionMs(), marks);
        }
        m_discontinuity = false;
    }
    schedule();
    ++m_picture;
    return Faults::ReplayFault::None;
}

} // namespace lumo::recorder
