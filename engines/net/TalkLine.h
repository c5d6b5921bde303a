// The way to one loudspeaker of a device and, where wished, back from its microphone: one RTSP session that asks for
// ONVIF's back channel, and the new attempts when it dies.
//
// Thread: begin, wait, cancelOpen, close, send and hear come from any thread; all else runs on the I/O loop. What is
// heard is handed over there. After close() nothing is.
#pragma once

#include "Depacketizer.h"
#include "HalfRate.h"
#include "LiveStream.h"

#include <functional>

namespace lumo::net
{

class TalkLine final : public IoTimed, private RtspHandler, public std::enable_shared_from_this<TalkLine>
{
public:
    /// Takes A-law at 8000 Hz. False: enough for now, the device is held back until hear().
    using Ear = std::function<bool(const std::vector<uint8_t>& codes)>;

    /// ear: empty where nobody listens.
    TalkLine(IoLoop& loop, StreamSource source, const Timings& timings, Ear ear);

    static constexpr size_t kPacketBytes = 160; // A-law at 8000 Hz: 20 ms

    void begin();
    /// Blocks until the device listens or refused: 0 or LUMONET_ERROR.
    int wait();
    /// Ends a wait() in another thread with this error.
    void cancelOpen(int error);
    void close();
    /// One packet's worth of A-law. begins: silence was before it.
    void send(std::vector<uint8_t> codes, bool begins);
    void hear();

    // I/O loop
    int64_t due() const override;
    void onTime(int64_t nowMs) override;

private:
    bool wantsMedia(size_t index, const SdpMedia& media) override;
    void onPlaying() override;
    void onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs) override;
    void onFailed(int error) override;

    void startSession(int64_t nowMs);
    void dropSession();
    void takeSound(const MediaFrame& frame);

    IoLoop& m_loop;
    const StreamSource m_source;
    const Timings m_timings;

    // I/O loop only
    Ear m_ear;
    std::shared_ptr<RtspSession> m_session;
    bool m_playing = false, m_ended = false;
    int m_backMedia = -1, m_backType = 8, m_soundMedia = -1, m_soundType = -1;
    bool m_backMuLaw = false;
    std::unique_ptr<Depacketizer> m_depacketizer;
    std::unique_ptr<HalfRate> m_half;
    std::vector<uint8_t> m_heard; // reused
    uint16_t m_sequence;
    uint32_t m_time, m_source32;
    Backoff m_backoff;
    int64_t m_retryAt = -1;

    Opening m_opening; // any thread
};

} // namespace lumo::net
