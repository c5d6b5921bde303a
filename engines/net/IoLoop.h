// The one I/O thread: waits for all sockets of all streams, and runs what other threads post to it.
//
// Thread: post() may be called from any thread; everything else belongs to the loop's own.
#pragma once

#include "Socket.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace lumo::net
{

/// A socket's owner on the loop.
class IoHandler
{
public:
    virtual ~IoHandler() = default;
    virtual void onIo(intptr_t handle, bool readable, bool writable, int64_t nowMs) = 0;
};

/// Something with deadlines on the loop.
class IoTimed
{
public:
    virtual ~IoTimed() = default;
    virtual int64_t due() const = 0; // ms; below 0: never
    virtual void onTime(int64_t nowMs) = 0;
};

class IoLoop
{
public:
    IoLoop();
    ~IoLoop(); // runs what was posted, then ends the thread

    void post(std::function<void()> task);
    static int64_t nowMs(); // monotonic

    size_t watch(intptr_t handle, bool read, bool write, IoHandler* handler);
    void change(size_t slot, bool read, bool write) { m_poll.set(slot, read, write); }
    void unwatch(size_t slot);
    void addTimed(std::shared_ptr<IoTimed> timed);
    void removeTimed(const IoTimed* timed);
    /// A deadline became earlier than the last due() said.
    void wakeBy(int64_t dueMs);
    /// Keeps something alive until the present round of events is over.
    void releaseLater(std::shared_ptr<void> thing) { m_released.push_back(std::move(thing)); }
    /// Bytes for one reader at a time, so that 64 streams share one large buffer.
    std::vector<uint8_t>& scratch() { return m_scratch; }

private:
    void run();
    void runPosted();
    void runTimed(int64_t now);
    void runSockets(int64_t now);

    Waker m_waker;
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_posted; // m_mutex
    bool m_stop = false;                         // m_mutex

    PollSet m_poll;
    std::vector<IoHandler*> m_handlers; // by slot
    std::vector<intptr_t> m_handles;    // by slot
    std::vector<std::shared_ptr<IoTimed>> m_timed;
    std::vector<std::shared_ptr<void>> m_released;
    std::vector<uint8_t> m_scratch;
    int64_t m_nextDue = -1;
    std::thread m_thread; // last: it uses all of the above
};

} // namespace lumo::net
