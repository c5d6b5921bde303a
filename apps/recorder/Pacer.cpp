#include "Pacer.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace lumo::recorder
{
namespace
{

using Clock = std::chrono::steady_clock;

// The streams' frames are spread over the frame time in this many steps: no burst of 64 frames, few wake-ups.
constexpr int kPhases = 8;

// A buffer that points into the clip and keeps it alive: nothing is copied.
GstBuffer* wrap(const ClipPtr& clip, const ClipFrame& frame)
{
    auto* keep = new ClipPtr(clip);
    auto* bytes = const_cast<uint8_t*>(clip->data.data() + frame.offset);
    GstBuffer* buffer = gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, bytes, frame.size, 0, frame.size, keep,
                                                    [](gpointer p) { delete static_cast<ClipPtr*>(p); });
    if (!frame.key) {
        GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    }
    return buffer;
}

} // namespace

Lane::Lane(LiveStream& stream, Faults& faults, GstAppSrc* video, GstAppSrc* audio)
    : m_stream(stream), m_faults(faults), m_clip(stream.clip()), m_video(video), m_audio(audio),
      m_period(std::llround(1e9 / m_clip->fps))
{
    gst_object_ref(m_video);
    if (m_audio) {
        gst_object_ref(m_audio);
    }
}

Lane::~Lane()
{
    gst_object_unref(m_video);
    if (m_audio) {
        gst_object_unref(m_audio);
    }
}

void Lane::setPlaying(bool on)
{
    m_playing = on;
    m_stream.playing = on;
}

// Nothing moves yet, but the description needs the parameter sets: one key frame goes ahead and waits for PLAY.
void Lane::preroll()
{
    m_stream.jumpToKey();
    const FrameNote first = m_stream.advance();
    m_stream.setWaiting(first);
    push(first.frame);
    m_prerolled = m_firstPending = true;
}

// Frames that nobody lets through must not pile up, or they would leave late and in a burst.
bool Lane::blocked() const
{
    return gst_app_src_get_current_level_bytes(m_video) > 0;
}

void Lane::tick()
{
    if (m_faults.silent()) {
        return;
    }
    if (!m_prerolled) {
        preroll();
    }
    if (!m_playing) {
        return;
    }
    if (m_firstPending) {
        m_stream.noteWaitingLeft();
        m_firstPending = false;
        return;
    }
    if (m_faults.frozen(m_stream.channel) || blocked()) {
        return;
    }
    const FrameNote frame = m_stream.advance();
    m_stream.noteLeft(frame);
    push(frame.frame);
}

// The frame's time on the pipeline's clock: when it was due, not when this thread got round to it, so that the RTP
// times are even. Both clocks are the system's monotonic one. Before the pipeline runs there is no clock: 0.
GstClockTime Lane::runningTime() const
{
    GstClock* clock = gst_element_get_clock(GST_ELEMENT(m_video));
    if (!clock) {
        return 0;
    }
    const auto late = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - due).count();
    const auto time = static_cast<int64_t>(gst_clock_get_time(clock)) - late -
                      static_cast<int64_t>(gst_element_get_base_time(GST_ELEMENT(m_video)));
    gst_object_unref(clock);
    return time > 0 ? static_cast<GstClockTime>(time) : 0;
}

void Lane::push(int frame)
{
    const GstClockTime time = runningTime();
    GstBuffer* buffer = wrap(m_clip, m_clip->frames[static_cast<size_t>(frame)]);
    GST_BUFFER_PTS(buffer) = time;
    gst_app_src_push_buffer(m_video, buffer);
    pushAudio(frame, time);
}

void Lane::pushAudio(int frame, GstClockTime time)
{
    if (!m_audio) {
        return;
    }
    const auto samples = m_tone.next(frame, m_clip->fps);
    GstBuffer* buffer = gst_buffer_new_memdup(samples.data(), samples.size());
    GST_BUFFER_PTS(buffer) = time;
    GST_BUFFER_DURATION(buffer) = gst_util_uint64_scale(samples.size(), GST_SECOND, Tone::kRate);
    gst_app_src_push_buffer(m_audio, buffer);
}

Pacer::Pacer()
{
    std::thread([this] { run(); }).detach();
}

void Pacer::add(std::shared_ptr<Lane> lane)
{
    std::lock_guard lock(m_mutex);
    // On the common grid of frame times, shifted by the lane's phase.
    const auto period = lane->period();
    const auto now = Clock::now().time_since_epoch();
    const auto grid = now - now % period + period * (lane->phase() % kPhases) / kPhases;
    lane->due = Clock::time_point(std::chrono::duration_cast<Clock::duration>(grid < now ? grid + period : grid));
    lane->tick(); // the preroll frame, at once
    m_lanes.push_back(std::move(lane));
    m_wake.notify_all();
}

void Pacer::remove(const std::shared_ptr<Lane>& lane)
{
    std::lock_guard lock(m_mutex);
    // Only the first time: by the second one a new lane may serve the same stream.
    if (std::erase(m_lanes, lane) > 0) {
        lane->setPlaying(false);
    }
}

void Pacer::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (m_lanes.empty()) {
            m_wake.wait(lock);
            continue;
        }
        const auto now = Clock::now();
        auto next = now + std::chrono::seconds(1);
        for (const auto& lane : m_lanes) {
            if (lane->due <= now) {
                lane->tick();
                lane->due += lane->period();
                // After a long standstill of the machine, go on from now instead of racing after the lost time.
                lane->due = lane->due + std::chrono::milliseconds(500) < now ? now + lane->period() : lane->due;
            }
            next = std::min(next, lane->due);
        }
        m_wake.wait_until(lock, next);
    }
}

} // namespace lumo::recorder
