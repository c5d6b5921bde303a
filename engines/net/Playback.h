// One playback: its feed, and the thread that hands frames to the callback, which may be made to wait there.
//
// A callback that waits for long, again and again, belongs to a window that stands still. It is then asked less often,
// so that a stop hardly ever has to wait for it; a control that moves the window asks it again at once.
// Thread: any; callbacks on the worker's.
#pragma once

#include "ReplayFeed.h"
#include "ShowClock.h"
#include "Transfer.h"
#include "Worker.h"

namespace lumo::net
{

class Playback final : public Transfer
{
public:
    struct Callbacks {
        LumoRealDataCallback data = nullptr;
        intptr_t dataUser = 0;
        LumoPositionCallback position = nullptr;
        intptr_t positionUser = 0;
    };

    /// beginMs: what seeks count from, the device's UTC.
    Playback(IoLoop& loop, int handle, ReplaySpan span, int64_t beginMs, const Timings& timings, Callbacks callbacks,
             std::function<bool()> lost);
    ~Playback() override;

    int open() override;
    void cancelOpen(int error) override { m_feed->cancelOpen(error); }
    void release() override { m_worker.release(); }
    void beginStop() override;
    void finishStop() override { m_worker.stop(); }

    /// LUMONET_PlayBackControl; 0 or LUMONET_ERROR.
    int control(int action, int value);

private:
    void work();
    void deliver(const ReplayItem& item);
    void rest(int64_t blockedMs);
    bool atEnd();
    int seek(int seconds);
    int setSpeed(double speed);

    const int m_handle;
    const int64_t m_beginMs, m_endMs;
    const Timings m_timings;
    const Callbacks m_callbacks;
    const std::function<bool()> m_lost;
    const std::shared_ptr<ReplayFeed> m_feed;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_inCallback = false; // m_mutex, as all of these
    bool m_ended = false;      // the end was told
    bool m_paused = false;
    ShowClock m_clock;
    uint64_t m_clockEpoch = 0; // of the queue, when the clock was begun
    int m_stalls = 0;          // callbacks in a row that were made to wait; worker only but for its reset
    std::atomic<bool> m_moved{false}, m_stopped{false};
    Worker m_worker; // last: it uses all of the above
};

} // namespace lumo::net
