// Windows: FlushFileBuffers on a named pipe returns when the peer has read everything. It blocks, so it runs on a
// thread of its own, one per channel.
#include "PacedChannel.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <windows.h>

namespace lumo::host
{

namespace
{

class FlushWatch final : public QObject, public ReadWatch
{
public:
    FlushWatch(QLocalSocket& socket, std::function<void()> onRead)
        : socket_(socket), onRead_(std::move(onRead)), pipe_(reinterpret_cast<HANDLE>(socket.socketDescriptor()))
    {
        connect(&socket_, &QLocalSocket::bytesWritten, this, [this] { flushWhenWritten(); });
        worker_ = std::thread([this] { run(); });
    }

    ~FlushWatch() override
    {
        {
            const std::lock_guard lock(mutex_);
            stop_ = true;
        }
        wake_.notify_one();
        // A flush that waits for a process that hangs is cancelled; again and again, as it may just be beginning.
        while (!finished_) {
            if (const HANDLE thread = threadHandle_)
                CancelSynchronousIo(thread);
            Sleep(1);
        }
        worker_.join();
    }

    void start() override
    {
        read_ = false;
        asked_ = false;
        flushWhenWritten();
    }

    bool allRead() override { return read_; }

private:
    /// The pipe is written in the background: only what has reached it can be flushed.
    void flushWhenWritten()
    {
        if (asked_ || read_ || socket_.bytesToWrite() > 0)
            return;
        asked_ = true;
        {
            const std::lock_guard lock(mutex_);
            flushAsked_ = true;
        }
        wake_.notify_one();
    }

    void run()
    {
        HANDLE self = nullptr;
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
        threadHandle_ = self;
        for (;;) {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stop_ || flushAsked_; });
            if (stop_)
                break;
            flushAsked_ = false;
            lock.unlock();
            if (FlushFileBuffers(pipe_))
                QMetaObject::invokeMethod(
                    this, [this] { wasRead(); }, Qt::QueuedConnection);
        }
        threadHandle_ = nullptr;
        CloseHandle(self);
        finished_ = true;
    }

    void wasRead()
    {
        read_ = true;
        onRead_();
    }

    QLocalSocket& socket_;
    std::function<void()> onRead_;
    const HANDLE pipe_;
    bool read_ = true;   // Qt thread only
    bool asked_ = false; // Qt thread only
    std::mutex mutex_;
    std::condition_variable wake_;
    bool flushAsked_ = false;                   // under mutex_
    bool stop_ = false;                         // under mutex_
    std::atomic<HANDLE> threadHandle_{nullptr}; // written by the worker, read by the destructor
    std::atomic<bool> finished_{false};
    std::thread worker_;
};

} // namespace

std::unique_ptr<ReadWatch> makeReadWatch(QLocalSocket& socket, std::function<void()> onRead)
{
    return std::make_unique<FlushWatch>(socket, std::move(onRead));
}

} // namespace lumo::host
