// A recording that is pushed into the port as it comes from the device. Input waits for room; what was played lately is
// kept for steps back.
#pragma once

#include "InputParser.h"
#include "MediaSource.h"
#include "PacketHistory.h"
#include "PacketQueue.h"
#include "SoundTimes.h"

#include <condition_variable>
#include <mutex>

namespace lumo
{

class PushedSource final : public MediaSource
{
public:
    explicit PushedSource(size_t bufferBytes) : m_queue(bufferBytes) {}

    Got next(Packet& packet) override;
    std::optional<Packet> soundAhead(int64_t untilMs) override;
    void complete(Picture& picture) override;
    std::optional<int64_t> keyFor(int64_t order) override;
    int64_t orderOf(int64_t serial) override;
    bool rewind(int64_t serial) override;
    void countAnew(int64_t serial) override;
    bool takeForgotten() override;

    void input(const uint8_t* data, size_t size) override;
    int64_t lastInputMs() override;
    int waitingBytes() override;
    bool forget() override;
    void stop() override;

private:
    void enqueue(Packet&& packet, unsigned generation);
    void throwAway();

    std::mutex m_inputLock; // one input at a time
    InputParser m_parser;   // under m_inputLock
    SoundTimes m_times;     // under m_inputLock
    unsigned m_parsed = 0;  // under m_inputLock: m_generation when the parser was last used

    std::mutex m_lock;
    std::condition_variable m_room; // for a waiting input
    PacketQueue m_queue;
    PacketHistory m_history;
    int64_t m_nextSerial = 0;  // of the next picture that leaves the queue
    int64_t m_replay = -1;     // the next picture, while it comes from the history
    unsigned m_generation = 0; // counts what was thrown away
    bool m_forgotten = false;
    bool m_begun = false; // a new position came before the call that was to make room for it
    bool m_stop = false;
    int64_t m_lastInputMs = 0;
};

} // namespace lumo
