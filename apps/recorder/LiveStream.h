// One live stream of one channel: where its loop stands, and when each frame of the loop last left.
//
// Thread: advance() on the pacer's thread; the rest from any thread (all shared fields are atomic).
#pragma once

#include "ClipStore.h"

#include <atomic>
#include <memory>
#include <optional>

namespace lumo::recorder
{

struct FrameNote {
    int frame = 0;
    int64_t loop = 0;
    int64_t leftUs = 0; // CLOCK_REALTIME, microseconds
};

class LiveStream
{
public:
    LiveStream(ClipStore& store, int channel, int stream);

    const int channel;
    const int stream;

    /// May encode: not on a thread that others wait for.
    ClipPtr clip() const { return m_store.get(channel, stream); }
    int loopFrames() const { return m_loopFrames; }

    /// The frame to send now; moves on by one.
    FrameNote advance();
    /// Moves to the next key frame with the next advance().
    void jumpToKey() { m_jump = true; }
    /// Notes that a frame leaves now.
    void noteLeft(const FrameNote& frame);
    /// A frame that lies in the pipeline until the first PLAY lets it go.
    void setWaiting(const FrameNote& frame);
    /// The waiting frame, if any, leaves now. From any thread.
    void noteWaitingLeft();

    std::optional<FrameNote> lastLeft(int frame) const;
    std::optional<FrameNote> newest() const;

    std::atomic<bool> playing{false}; // somebody plays this stream just now

private:
    struct Slot {
        std::atomic<int64_t> loop{0};
        std::atomic<int64_t> leftUs{0}; // 0: never
    };

    ClipStore& m_store;
    const int m_loopFrames;
    int m_position = 0; // pacer thread only
    int64_t m_loop = 0; // pacer thread only
    std::atomic<bool> m_jump{false};
    std::atomic<int> m_newest{-1};
    std::atomic<int> m_waiting{-1}; // frame number, -1 none
    std::atomic<int64_t> m_waitingLoop{0};
    std::unique_ptr<Slot[]> m_slots;
};

} // namespace lumo::recorder
