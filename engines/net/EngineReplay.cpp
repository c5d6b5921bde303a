// The engine's part for what was recorded: playbacks and downloads.
#include "Engine.h"

#include "Download.h"
#include "Playback.h"
#include "RecordedName.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace lumo::net
{
namespace
{

// A download may take what comes in one go: its thread waits for the disk only.
constexpr size_t kDownloadQueueBytes = 8u << 20, kDownloadQueueItems = 4096;

/// The device's UTC of a date and time of day on its own clock; nothing for what is none.
std::optional<int64_t> utcOf(const DeviceClock& clock, int year, int month, int day, int hour, int minute, int second)
{
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(unsigned(month)),
                                           std::chrono::day(unsigned(day))};
    if (year < 1970 || year > 2200 || month < 1 || day < 1 || !date.ok() || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || second < 0 || second > 60)
        return std::nullopt;
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return utcOfShown(clock, secondsOfUtc(t)) * 1000;
}

std::optional<int64_t> utcOf(const DeviceClock& clock, const RecordTime8& t)
{
    return utcOf(clock, t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute, t.nSecond);
}

std::optional<int64_t> utcOf(const DeviceClock& clock, const RecordTime6& t)
{
    return utcOf(clock, t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute, t.nSecond);
}

std::string fileName(const RecordFileInfo& info)
{
    return {info.szFileName, strnlen(info.szFileName, sizeof info.szFileName)};
}

/// The span that a file's record asks for: its name's, or the part of it that the times beside it name, or those alone.
int spanOf(const RecordFileInfo& info, const DeviceClock& clock, std::string& recording, ReplaySpan& span)
{
    auto name = parseRecordedName(fileName(info));
    if (name && name->picture)
        name.reset();
    const auto begin = utcOf(clock, info.stBegin), end = utcOf(clock, info.stEnd);
    if (!name && !(begin && end && *begin < *end))
        return LUMONET_ERR_ARGUMENT;
    if (!name) {
        span.beginMs = *begin;
        span.endMs = *end;
        return 0;
    }
    recording = name->recording;
    const int64_t from = begin.value_or(name->beginMs), to = end.value_or(name->endMs);
    span.beginMs = from > name->beginMs && from < name->endMs ? from : name->beginMs;
    span.endMs = to > span.beginMs && to < name->endMs ? to : name->endMs;
    return 0;
}

/// ".../20250329T090000Z.jpg" as the device's own address for stills takes it.
std::string pictureQuery(const std::string& name)
{
    const size_t slash = name.rfind('/');
    return parseRecordedName(name) ? "time=" + name.substr(slash + 1, 16) : std::string();
}

} // namespace

/// Opens a transfer under a handle of its own: made by `make` with that handle. The handle, or LUMONET_ERROR.
int Engine::openTransfer(
    int login, HandleRow& row,
    const std::function<std::shared_ptr<Transfer>(int handle, const std::shared_ptr<Device>&)>& make)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    std::shared_ptr<Transfer> transfer;
    int handle = 0;
    {
        std::lock_guard lock(m_mutex);
        if (!m_logins.count(login) || device->lost())
            return LUMONET_ERR_NOT_LOGGED_IN;
        handle = row.next(m_transfers);
        transfer = make(handle, device);
        m_transfers[handle] = {transfer, login};
    }
    error = transfer->open();
    if (error == 0) {
        transfer->release();
        return handle;
    }
    {
        std::lock_guard lock(m_mutex);
        m_transfers.erase(handle);
    }
    transfer->beginStop();
    transfer->finishStop();
    return error;
}

int Engine::findSpan(const std::shared_ptr<Device>& device, int channel, const std::string& recording, ReplaySpan& span)
{
    span.clock = device->clock()->get();
    return device->findReplay(channel, recording, span.beginMs, span.source);
}

int Engine::playBackByName(int login, const RecordFileInfo& info, const Playback::Callbacks& callbacks)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    ReplaySpan span;
    std::string recording;
    if (error == 0)
        error = spanOf(info, device->clock()->get(), recording, span);
    if (error == 0)
        error = findSpan(device, info.nChannel, recording, span);
    return error != 0 ? error : playBack(login, std::move(span), callbacks);
}

int Engine::playBackByTime(int login, const RecordTimeInfo& info, const Playback::Callbacks& callbacks)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    const DeviceClock clock = device->clock()->get();
    const auto begin = utcOf(clock, info.stBegin), end = utcOf(clock, info.stEnd);
    if (!begin || !end || *end <= *begin)
        return LUMONET_ERR_ARGUMENT;
    ReplaySpan span;
    span.beginMs = *begin;
    span.endMs = *end;
    error = findSpan(device, info.nChannel, {}, span);
    return error != 0 ? error : playBack(login, std::move(span), callbacks);
}

int Engine::playBack(int login, ReplaySpan span, const Playback::Callbacks& callbacks)
{
    return openTransfer(login, m_playbackHandles, [&](int handle, const std::shared_ptr<Device>& device) {
        const int64_t begin = span.beginMs;
        return std::make_shared<Playback>(m_loop, handle, std::move(span), begin, m_timings, callbacks,
                                          [device] { return device->lost(); });
    });
}

int Engine::startDownload(int login, const RecordFileInfo& info, const std::string& path, LumoPositionCallback position,
                          intptr_t user)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    const DownloadTarget target{path, position, user};
    const std::string name = fileName(info);
    if (name.find(".jpg") != std::string::npos) {
        std::string url;
        error = device->findPicture(info.nChannel, info.nStreamType, pictureQuery(name), url);
        if (error != 0)
            return error;
        return openTransfer(login, m_downloadHandles, [&](int handle, const std::shared_ptr<Device>& d) {
            const auto fetch = [d, url](std::string& jpeg, std::shared_ptr<const std::atomic<bool>> cancel) {
                return d->fetchPicture(url, std::move(cancel), jpeg);
            };
            return std::make_shared<PictureDownload>(handle, m_timings, target, fetch);
        });
    }
    ReplaySpan span;
    std::string recording;
    error = spanOf(info, device->clock()->get(), recording, span);
    if (error == 0)
        error = findSpan(device, info.nChannel, recording, span);
    if (error != 0)
        return error;
    span.paced = false;
    span.queueBytes = kDownloadQueueBytes;
    span.queueItems = kDownloadQueueItems;
    return openTransfer(login, m_downloadHandles, [&](int handle, const std::shared_ptr<Device>& d) {
        return std::make_shared<RecordingDownload>(m_loop, handle, std::move(span), m_timings, target,
                                                   [d] { return d->lost(); });
    });
}

int Engine::controlPlayback(int handle, int action, int value)
{
    const auto playback = transferOf<Playback>(handle);
    return playback ? playback->control(action, value) : int(LUMONET_ERR_NOT_LOGGED_IN);
}

int Engine::stopPlayback(int handle)
{
    return stopTransfer(handle, m_playbackHandles);
}

int Engine::stopDownload(int handle)
{
    return stopTransfer(handle, m_downloadHandles);
}

int Engine::stopTransfer(int handle, const HandleRow& row)
{
    std::shared_ptr<Transfer> transfer;
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_transfers.find(handle);
        if (found == m_transfers.end() || !row.owns(handle))
            return LUMONET_ERR_NOT_LOGGED_IN;
        transfer = std::move(found->second.transfer);
        m_transfers.erase(found);
    }
    transfer->beginStop();
    transfer->finishStop();
    return 0;
}

/// All are told to end before one is waited for.
void Engine::closeTransfers(int login)
{
    std::vector<std::shared_ptr<Transfer>> closing;
    {
        std::lock_guard lock(m_mutex);
        for (auto i = m_transfers.begin(); i != m_transfers.end();) {
            if (i->second.login != login) {
                ++i;
                continue;
            }
            closing.push_back(std::move(i->second.transfer));
            i = m_transfers.erase(i);
        }
    }
    for (const auto& transfer : closing) {
        transfer->cancelOpen(LUMONET_ERR_NOT_LOGGED_IN);
        transfer->beginStop();
    }
    for (const auto& transfer : closing)
        transfer->finishStop();
}

} // namespace lumo::net
