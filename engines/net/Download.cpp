#include "Download.h"

#include "Log.h"

#include <algorithm>

namespace lumo::net
{
namespace
{

constexpr int kWaitMs = 1000;        // between two looks for nothing
constexpr int64_t kTellEveryMs = 50; // at most so often

} // namespace

int Download::begin(int handleReturnMs)
{
    if (!m_file.open()) {
        log("download to " + m_file.path() + " failed: " + m_file.reason());
        return LUMONET_ERR_ARGUMENT;
    }
    m_worker.start(handleReturnMs, [self = shared_from_this(), this] { work(); });
    return 0;
}

void Download::beginStop()
{
    if (m_stopped.exchange(true))
        return; // the loop may be gone by the second time
    m_worker.beginStop();
    interrupt();
}

void Download::finishStop()
{
    m_worker.stop();
    if (!m_worker.isThisThread())
        m_file.discard();
}

void Download::tell(int64_t total, int64_t current)
{
    m_total = std::max<int64_t>(total, 1);
    if (m_target.position && !m_stopped)
        m_target.position(m_handle, long(m_total), long(std::clamp<int64_t>(current, 0, m_total - 1)), m_target.user);
}

void Download::work()
{
    const int error = fill();
    if (m_stopped) {
        m_file.discard();
        return;
    }
    const bool whole = error == 0 && m_file.finish();
    if (!whole) {
        m_file.discard();
        const bool disk = error == kDiskError || error == 0;
        log("download to " + m_file.path() + " failed: " + (disk ? m_file.reason() : errorText(error)));
    } else {
        // The call with -1 says the same of a whole file and of a failed one; what stands before it does not.
        tell(m_total, m_total - 1);
    }
    if (m_target.position)
        m_target.position(m_handle, long(m_total), -1, m_target.user);
}

RecordingDownload::RecordingDownload(IoLoop& loop, int handle, ReplaySpan span, const Timings& timings,
                                     DownloadTarget target, std::function<bool()> lost)
    : Download(handle, std::move(target)), m_beginMs(span.beginMs), m_endMs(span.endMs),
      m_handleReturnMs(timings.handleReturnMs),
      m_feed(std::make_shared<ReplayFeed>(loop, std::move(span), timings, std::move(lost)))
{
}

RecordingDownload::~RecordingDownload()
{
    beginStop();
    m_worker.stop();
}

int RecordingDownload::open()
{
    const int error = m_feed->open();
    return error != 0 ? error : begin(m_handleReturnMs);
}

int RecordingDownload::fill()
{
    ReplayQueue& queue = m_feed->queue();
    int64_t nextTell = 0;
    bool any = false;
    tell(m_endMs - m_beginMs, 0);
    while (!stopped()) {
        ReplayItem item;
        const auto got = queue.pop(item, kWaitMs);
        if (got == ReplayQueue::Got::End)
            return queue.error() != 0 ? queue.error() : any ? 0 : int(LUMONET_ERR_REFUSED);
        if (got != ReplayQueue::Got::Item)
            continue;
        m_feed->taken();
        if (!m_file.write(item.bytes.data(), item.bytes.size()))
            return kDiskError;
        any = true;
        if (const int64_t now = IoLoop::nowMs(); now >= nextTell) {
            nextTell = now + kTellEveryMs;
            tell(m_endMs - m_beginMs, item.utcMs - m_beginMs);
        }
    }
    return 0;
}

PictureDownload::PictureDownload(int handle, const Timings& timings, DownloadTarget target, Fetch fetch)
    : Download(handle, std::move(target)), m_handleReturnMs(timings.handleReturnMs), m_fetch(std::move(fetch))
{
}

PictureDownload::~PictureDownload()
{
    beginStop();
    m_worker.stop();
}

int PictureDownload::fill()
{
    std::string jpeg;
    if (const int error = m_fetch(jpeg, m_cancel))
        return error;
    tell(int64_t(jpeg.size()), 0);
    return m_file.write(jpeg.data(), jpeg.size()) ? 0 : kDiskError;
}

} // namespace lumo::net
