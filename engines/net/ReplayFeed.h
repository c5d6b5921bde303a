// The I/O side of a replay: its RTSP session, the frames into the queue, holding the device back, and the controls.
//
// What reaches the queue: whole frames of [begin, end), in order, none twice; before the first picture at or after the
// instant that was asked for, those that its decoding needs, marked. Then one end, with 0 or why.
//
//   held      the queue is full: the session is not read, TCP holds the device back. For long: the device is paused
//   paused    the user said so; the device is paused
//   command   a control under way: the session is read whatever the queue holds, until the answer is in
//
// Thread: open, close, the controls and taken() from any thread; all else on the I/O loop. Controls block until the
// device has answered, one at a time.
#pragma once

#include "Depacketizer.h"
#include "DeviceClock.h"
#include "LiveStream.h"
#include "ReplayQueue.h"
#include "RtspSession.h"
#include "Timings.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace lumo::net
{

struct ReplaySpan {
    StreamSource source;
    int64_t beginMs = 0, endMs = 0; // the device's UTC; half open
    DeviceClock clock;
    bool paced = true;                             // false: as fast as it is taken
    size_t queueBytes = 2u << 20, queueItems = 64; // above either it is full
};

class ReplayFeed final : public IoTimed, private RtspHandler, public std::enable_shared_from_this<ReplayFeed>
{
public:
    /// lost: whether the device is known to be gone; any thread.
    ReplayFeed(IoLoop& loop, ReplaySpan span, const Timings& timings, std::function<bool()> lost);
    ~ReplayFeed() override;

    /// Blocks until the device plays or refused: 0 or LUMONET_ERROR. Once.
    int open();
    void cancelOpen(int error);
    void close();

    // 0 or LUMONET_ERROR
    int pause();
    int resume();
    int setScale(double scale); // resumes, too
    int seek(int64_t utcMs);

    ReplayQueue& queue() { return m_queue; }
    /// The consumer took something from the queue.
    void taken();

    // I/O loop
    int64_t due() const override;
    void onTime(int64_t nowMs) override;

private:
    struct Track {
        size_t media = 0;
        SdpMedia description;
        std::unique_ptr<Depacketizer> depacketizer;
        std::unique_ptr<ReorderBuffer> order;
        // The last two absolute times that packets told, with their RTP times: a frame may end in the next one's
        // packet.
        struct Told {
            uint32_t rtp = 0;
            int64_t utcMs = 0;
            bool is = false;
        } told[2];
        bool video() const { return description.type == "video"; }
        /// otherwise: the time of a first frame that carries none; the next ones follow by their RTP times.
        int64_t timeOf(uint32_t rtp, int64_t otherwise);
    };
    enum class Kind { Pause, Resume, Scale, Seek };
    struct Command {
        Kind kind = Kind::Pause;
        int64_t toMs = 0;
        double scale = 1.0;
        bool own = false; // the library's, nobody waits
        std::function<void(int)> done;
    };

    bool wantsMedia(size_t index, const SdpMedia& media) override;
    void onPlaying() override;
    void onRtp(size_t mediaIndex, const uint8_t* data, size_t size, int64_t nowMs) override;
    void onBye(size_t mediaIndex) override;
    void onControlled(int status) override;
    void onFailed(int error) override;

    int run(Command command);
    void begin(Command command);
    void addCommand(Command command);
    void nextCommand();
    bool sendCommand(const Command& command);
    void seekTo(int64_t utcMs);
    void finishCommand(int error);
    void startSession(int64_t nowMs);
    void dropSession();
    void makeDepacketizer(Track& track);
    void restartTracks();
    void takeFrame(Track& track, const MediaFrame& frame);
    void push(ReplayItem&& item, int64_t nowMs);
    void room();
    void updateReading();
    void endData(int error);
    bool nearEnd() const { return m_lastMs >= 0 && m_lastMs + 2 * m_frameMs >= m_span.endMs; }
    bool expectsData() const;
    /// How long no data may come; in slow motion longer.
    int64_t patienceMs() const;
    int64_t shift(int64_t utcMs);
    std::string scaleLine() const;
    std::string rangeLine(int64_t fromMs) const;

    IoLoop& m_loop;
    const ReplaySpan m_span;
    const Timings m_timings;
    const std::function<bool()> m_lost;
    ReplayQueue m_queue;
    std::atomic<bool> m_held{false}; // written on the loop

    // I/O loop only
    std::shared_ptr<RtspSession> m_session;
    bool m_playing = false; // the session is
    std::vector<std::unique_ptr<Track>> m_tracks;
    std::deque<Command> m_commands; // the first one is under way when m_busy
    bool m_busy = false;
    bool m_discard = false;     // a seek is under way: what comes is of the old position
    bool m_newPosition = false; // the next picture is the first after a seek
    bool m_userPaused = false, m_devicePaused = false;
    bool m_allIn = false, m_dead = false, m_closed = false, m_overflowed = false;
    double m_scale = 1.0, m_lastScale = 1.0;
    int64_t m_wantedMs = 0;
    int64_t m_lastMs = -1, m_lastSoundMs = -1; // of what went into the queue
    int64_t m_frameMs = 40;
    int64_t m_lastData = -1, m_heldSince = -1, m_retryAt = -1;
    int m_attempts = 0;
    int64_t m_shiftSecond = -1, m_shiftMs = 0;

    Opening m_opening;         // any thread
    std::mutex m_controlMutex; // held by a control from its making to its answer
    std::mutex m_waitMutex;
    std::condition_variable m_waitChanged;
    std::optional<int> m_controlResult; // m_waitMutex
    bool m_closing = false;             // m_waitMutex
};

} // namespace lumo::net
