// The recorder's clock: one thread that hands each frame to its stream's pipeline when its time has come.
//
// A Lane is one stream while a media pipeline for it exists. All clients of a stream share its lane and so see
// the same picture at the same time. Frames leave in real time; a late one is sent at once, none is skipped.
// Thread: add, remove and setPlaying from any thread. The pacer lives until the process ends.
#pragma once

#include "Faults.h"
#include "LiveStream.h"
#include "Tone.h"

#include <gst/app/gstappsrc.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace lumo::recorder
{

class Lane
{
public:
    /// Takes a reference of each source; audio may be null. Makes the stream's clip if need be (may take seconds).
    Lane(LiveStream& stream, Faults& faults, GstAppSrc* video, GstAppSrc* audio);
    ~Lane();
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    void setPlaying(bool on);

    // The rest is the pacer thread's.
    void tick();
    std::chrono::nanoseconds period() const { return m_period; }
    int phase() const { return m_stream.channel * 2 + m_stream.stream; }

    std::chrono::steady_clock::time_point due;

private:
    void preroll();
    void push(int frame);
    void pushAudio(int frame, GstClockTime time);
    GstClockTime runningTime() const;
    bool blocked() const;

    LiveStream& m_stream;
    Faults& m_faults;
    ClipPtr m_clip;
    GstAppSrc* m_video;
    GstAppSrc* m_audio;
    Tone m_tone;
    std::chrono::nanoseconds m_period;
    std::atomic<bool> m_playing{false};
    bool m_prerolled = false;
    bool m_firstPending = false; // the preroll picture waits in the pipeline for the first PLAY
};

class Pacer
{
public:
    Pacer();

    void add(std::shared_ptr<Lane> lane);
    /// When it returns the lane is not being served and will not be again.
    void remove(const std::shared_ptr<Lane>& lane);

private:
    void run();

    std::mutex m_mutex; // held while lanes are served
    std::condition_variable m_wake;
    std::vector<std::shared_ptr<Lane>> m_lanes;
};

} // namespace lumo::recorder
