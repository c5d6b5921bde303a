// One live stream: its RTSP session, the new attempts when that dies, and the delivery of whole frames.
//
// Thread: open, close and the callback setters come from any thread; all else runs on the I/O loop. Callbacks are
// called there, under a lock that the setters take too: a setter returns when no callback is running.
#pragma once

#include "Depacketizer.h"
#include "DeviceClock.h"
#include "Opening.h"
#include "RtspSession.h"
#include "Timings.h"

#include "device/LumoNet.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>

namespace lumo::net
{

/// A device's clock, written by the thread that asks the device, read by its streams.
class SharedClock
{
public:
    DeviceClock get() const
    {
        std::lock_guard lock(m_mutex);
        return m_clock;
    }
    void set(const DeviceClock& clock)
    {
        std::lock_guard lock(m_mutex);
        m_clock = clock;
    }

private:
    mutable std::mutex m_mutex;
    DeviceClock m_clock;
};

class LiveStream final : public IoTimed, private RtspHandler, public std::enable_shared_from_this<LiveStream>
{
public:
    LiveStream(IoLoop& loop, int handle, StreamSource source, const Timings& timings,
               std::shared_ptr<const SharedClock> clock);
    ~LiveStream() override;

    /// Blocks until the device accepted the stream or refused it: 0 or LUMONET_ERROR. Once.
    int open();
    /// Ends an open() in another thread with this error.
    void cancelOpen(int error);
    /// No callback runs when this has returned, nor later. May be repeated.
    void close();

    void setCallback(LumoRealDataCallback fn, intptr_t user);
    void setCallbackV2(LumoRealDataCallback_V2 fn, intptr_t user);
    bool removeCallback(); // false: there was none
    bool removeCallbackV2();

    // I/O loop
    int64_t due() const override;
    void onTime(int64_t nowMs) override;

private:
    struct Track {
        size_t media = 0;
        int payloadType = -1;
        uint32_t clockRate = 90000;
        bool video = false;
        std::unique_ptr<Depacketizer> depacketizer;
        std::unique_ptr<ReorderBuffer> order;
    };
    struct Block {
        std::vector<uint8_t> bytes;
        int type = LUMO_FRAME_OTHER;
        uint16_t width = 0, height = 0;
        int64_t atMs = 0;
    };

    bool wantsMedia(size_t index, const SdpMedia& media) override;
    void onPlaying() override;
    void onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs) override;
    void onFailed(int error) override;

    void startSession(int64_t nowMs);
    void dropSession();
    void scheduleRetry(int64_t nowMs);
    void takeFrame(const MediaFrame& frame, uint32_t clockRate);
    int64_t stampOf(const MediaFrame& frame, uint32_t clockRate);
    void hand(Block&& block);
    void keepForLater(Block&& block);
    void call(const Block& block);
    void flushBacklog();

    IoLoop& m_loop;
    const int m_handle;
    const StreamSource m_source;
    const Timings m_timings;
    const std::shared_ptr<const SharedClock> m_clock;

    // I/O loop only
    std::shared_ptr<RtspSession> m_session;
    std::vector<Track> m_tracks;
    Backoff m_backoff;
    int64_t m_retryAt = -1, m_lastData = -1;
    bool m_ended = false; // closed, or refused for its password
    Block m_block;        // reused
    uint32_t m_anchorRtp = 0;
    int64_t m_anchorWall = 0, m_shiftMs = 0, m_shiftUntil = 0;

    Opening m_opening; // any thread

    std::recursive_mutex m_callbackMutex; // recursive: a callback may change its own stream's callbacks
    LumoRealDataCallback m_fn = nullptr;  // these and the backlog: m_callbackMutex
    intptr_t m_user = 0;
    LumoRealDataCallback_V2 m_fnV2 = nullptr;
    intptr_t m_userV2 = 0;
    bool m_hadCallback = false, m_needKey = false, m_closed = false;
    std::deque<Block> m_backlog;
    size_t m_backlogBytes = 0;
};

} // namespace lumo::net
