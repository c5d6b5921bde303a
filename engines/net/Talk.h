// One talk: speech to one or more loudspeakers of a device, and what the first of them hears back.
//
// Two threads of its own: one sends, each packet when the last one's 20 ms are over; one calls back, and may be made to
// wait there without the other's noticing.
// Thread: any. send() never blocks. When finishStop() has returned no callback runs, nor will one.
#pragma once

#include "SpeechQueue.h"
#include "TalkLine.h"
#include "Transfer.h"
#include "Worker.h"

#include <atomic>
#include <memory>
#include <thread>

namespace lumo::net
{

class Talk final : public Transfer
{
public:
    struct Callback {
        LumoVoiceCallback voice = nullptr;
        intptr_t user = 0;
    };
    /// sources: at least one. The talk stands when one of them does.
    Talk(IoLoop& loop, int handle, const std::vector<StreamSource>& sources, const Timings& timings, Callback callback);
    ~Talk() override;

    int open() override;
    void cancelOpen(int error) override;
    void release() override { m_listener.release(); }
    void beginStop() override;
    void finishStop() override;

    /// A whole talk frame: 0 or LUMONET_ERROR.
    int send(const uint8_t* frame, size_t size);

private:
    /// What was heard and not yet handed on. Full: the device is held back.
    class HeardQueue
    {
    public:
        bool push(const std::vector<uint8_t>& codes); // false: full
        /// False when closed. full: it was, and is not any more.
        bool pop(std::vector<uint8_t>& codes, bool& wasFull);
        void close();

    private:
        static constexpr size_t kMaxBytes = 4000; // half a second
        std::mutex m_mutex;
        std::condition_variable m_changed;
        std::deque<std::vector<uint8_t>> m_blocks; // m_mutex, as all of these
        size_t m_bytes = 0;
        bool m_full = false, m_closed = false;
    };

    void speak();
    void listen();
    void say(std::vector<uint8_t>& codes, bool begins);

    const int m_handle, m_handleReturnMs;
    const Callback m_callback;
    const std::shared_ptr<HeardQueue> m_heard = std::make_shared<HeardQueue>();
    SpeechQueue m_speech;
    std::vector<std::shared_ptr<TalkLine>> m_lines;
    std::atomic<bool> m_stopped{false};
    std::mutex m_threadMutex; // the making of the threads against the joining
    std::thread m_speaker;    // m_threadMutex
    Worker m_listener;
};

} // namespace lumo::net
