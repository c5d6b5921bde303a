// One download: a replay as fast as the device sends, or a picture over HTTP, into a file.
//
// The position callback gets total and current, in milliseconds of recorded time (a picture: bytes), and at the end,
// good or bad, exactly one call with -1. Whether it was good shows the call before, which is one short of the total
// only when the file is whole, and the file: only then it stands under its name. A stopped download calls nothing and
// leaves nothing. Thread: any; callbacks on the worker's.
#pragma once

#include "ReplayFeed.h"
#include "TargetFile.h"
#include "Transfer.h"
#include "Worker.h"

#include <atomic>
#include <functional>
#include <memory>

namespace lumo::net
{

struct DownloadTarget {
    std::string path;
    LumoPositionCallback position = nullptr;
    intptr_t user = 0;
};

class Download : public Transfer
{
public:
    void release() override { m_worker.release(); }
    void beginStop() override;
    void finishStop() override;

protected:
    Download(int handle, DownloadTarget target) : m_handle(handle), m_target(std::move(target)), m_file(m_target.path)
    {
    }
    /// Opens the file and begins the thread; 0 or LUMONET_ERROR.
    int begin(int handleReturnMs);
    /// Fills the file: 0, LUMONET_ERROR, or kDiskError.
    virtual int fill() = 0;
    virtual void interrupt() = 0;
    bool stopped() const { return m_stopped; }
    void tell(int64_t total, int64_t current);

    static constexpr int kDiskError = 1;
    const int m_handle;
    const DownloadTarget m_target;
    TargetFile m_file;
    /// Derived classes end it in their destructors, while all that it uses is there.
    Worker m_worker;

private:
    void work();
    std::atomic<bool> m_stopped{false};
    int64_t m_total = 1; // of the last tell(); worker only
};

class RecordingDownload final : public Download
{
public:
    RecordingDownload(IoLoop& loop, int handle, ReplaySpan span, const Timings& timings, DownloadTarget target,
                      std::function<bool()> lost);
    ~RecordingDownload() override;
    int open() override;
    void cancelOpen(int error) override { m_feed->cancelOpen(error); }

private:
    int fill() override;
    void interrupt() override { m_feed->close(); }

    const int64_t m_beginMs, m_endMs;
    const int m_handleReturnMs;
    const std::shared_ptr<ReplayFeed> m_feed;
};

class PictureDownload final : public Download
{
public:
    /// The picture, or LUMONET_ERROR; blocks, until cancel at most.
    using Fetch = std::function<int(std::string& jpeg, std::shared_ptr<const std::atomic<bool>> cancel)>;
    PictureDownload(int handle, const Timings& timings, DownloadTarget target, Fetch fetch);
    ~PictureDownload() override;
    int open() override { return begin(m_handleReturnMs); }
    void cancelOpen(int) override {}

private:
    int fill() override;
    void interrupt() override { *m_cancel = true; }

    const int m_handleReturnMs;
    const std::shared_ptr<std::atomic<bool>> m_cancel = std::make_shared<std::atomic<bool>>(false);
    const Fetch m_fetch;
};

} // namespace lumo::net
