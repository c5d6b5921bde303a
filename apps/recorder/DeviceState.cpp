#include "DeviceState.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

namespace lumo::recorder
{
namespace
{

constexpr size_t kMaxReceived = 32;
constexpr size_t kMaxTickets = 32;
constexpr int64_t kFetchedBytes = 1 << 20;
constexpr int kFetchMs = 300, kSlowFetchMs = 3000, kWriteMs = 150, kSlowWriteMs = 1500;

using Upload = Faults::UploadFault;

} // namespace

std::string sha256Of(const std::string& bytes)
{
    gchar* hex =
        g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
    std::string out = hex;
    g_free(hex);
    return out;
}

const Received& DeviceState::keep(const std::string& kind, const std::string& bytes)
{
    std::error_code ignored;
    std::filesystem::create_directories(m_folder, ignored);
    const std::string path = m_folder + "/" + kind + "-" + std::to_string(++m_files) + ".bin";
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        std::fprintf(stderr, "lumo-recorder: cannot write %s\n", path.c_str());
    }
    m_received.push_back({kind, path, sha256Of(bytes), static_cast<int64_t>(bytes.size()), {}});
    if (m_received.size() > kMaxReceived) {
        std::filesystem::remove(m_received.front().path, ignored);
        m_received.pop_front();
    }
    return m_received.back();
}

bool DeviceState::announceFile(const Json::Value& announcement)
{
    const bool sound = announcement.isObject() && announcement["FileSize"].isInt64() &&
                       announcement["FileSize"].asInt64() > 0 && announcement["FileName"].isString();
    m_announced = sound ? announcement : Json::Value();
    return sound;
}

bool DeviceState::takeFile(const std::string& bytes)
{
    if (m_announced.isNull() || m_announced["FileSize"].asInt64() != static_cast<int64_t>(bytes.size())) {
        return false;
    }
    keep("file", bytes);
    m_received.back().announced = std::exchange(m_announced, Json::Value());
    return true;
}

bool DeviceState::busy() const
{
    return m_busy || m_faults.uploadFault() == Upload::Busy;
}

std::string DeviceState::beginUpload(const std::string& kind)
{
    gchar* id = g_uuid_string_random();
    const std::string ticket = id;
    g_free(id);
    m_tickets.push_back({ticket, kind});
    if (m_tickets.size() > kMaxTickets) {
        m_tickets.pop_front();
    }
    return ticket;
}

std::string DeviceState::uploadOf(const std::string& ticket) const
{
    const auto found =
        std::find_if(m_tickets.begin(), m_tickets.end(), [&](const Ticket& t) { return t.id == ticket; });
    return found == m_tickets.end() ? "" : found->kind;
}

void DeviceState::uploadMoved(int64_t total, int64_t received)
{
    m_fetchedFrom = 0;
    m_busy = true;
    m_progress = {received < total ? UpgradeState::Running : UpgradeState::Writing, total, received};
}

bool DeviceState::finishUpload(const std::string& ticket, const std::string& bytes)
{
    const std::string kind = uploadOf(ticket);
    std::erase_if(m_tickets, [&](const Ticket& t) { return t.id == ticket; });
    m_busy = false;
    const bool good = !kind.empty() && !bytes.empty() && m_faults.uploadFault() != Upload::Fail;
    if (good) {
        keep(kind, bytes);
    }
    m_progress.state = good ? UpgradeState::Done : UpgradeState::Failed;
    m_upgrades += good && kind == "firmware";
    return good;
}

int DeviceState::writingMs() const
{
    return m_faults.uploadFault() == Upload::Slow ? kSlowWriteMs : kWriteMs;
}

bool DeviceState::startFetching(const std::string& version)
{
    settle();
    if (version.empty() || busy()) {
        return false;
    }
    m_busy = true;
    m_fetchedFrom = g_get_monotonic_time();
    m_fetchFails = m_faults.uploadFault() == Upload::Fail;
    m_fetchSlow = m_faults.uploadFault() == Upload::Slow;
    m_progress = {UpgradeState::Running, kFetchedBytes, 0};
    return true;
}

/// Where a firmware that is being fetched stands by now.
void DeviceState::settle()
{
    if (m_fetchedFrom == 0) {
        return;
    }
    const int64_t ms = (g_get_monotonic_time() - m_fetchedFrom) / 1000;
    const int64_t fetch = m_fetchSlow ? kSlowFetchMs : kFetchMs, write = m_fetchSlow ? kSlowWriteMs : kWriteMs;
    m_progress.sent = kFetchedBytes * std::min(ms, fetch) / fetch;
    m_progress.state = ms < fetch ? UpgradeState::Running : UpgradeState::Writing;
    if (ms < fetch + write) {
        return;
    }
    m_progress.state = m_fetchFails ? UpgradeState::Failed : UpgradeState::Done;
    m_upgrades += !m_fetchFails;
    m_fetchedFrom = 0;
    m_busy = false;
}

DeviceState::Progress DeviceState::progress()
{
    settle();
    return m_progress;
}

std::string DeviceState::firmware()
{
    settle();
    return m_upgrades > 0 ? "1.1.0.20260201" : "1.0.0.20260101";
}

// Its date as a page compares it: without zeros in front.
Json::Value DeviceState::newestVersion()
{
    Json::Value newest;
    newest["Version"] = "LumoSim_V1.1.0.bin";
    newest["BuildDate"] = "2026-2-1";
    Json::Value value;
    value["Versions"].append(newest);
    value["Ret"] = 100;
    return value;
}

bool DeviceState::setTimes(int channel, int stream, double times)
{
    if (!(times >= 0 && times <= kMaxTimes) || stream < 0 || stream > 1) {
        return false;
    }
    m_times[{channel, stream}] = times;
    return true;
}

double DeviceState::times(int channel, int stream) const
{
    const auto found = m_times.find({channel, stream});
    return found == m_times.end() ? 1.0 : found->second;
}

Json::Value DeviceState::status()
{
    Json::Value value;
    const Progress now = progress();
    value["firmware"] = firmware();
    value["upgrade"]["state"] = static_cast<int>(now.state);
    value["upgrade"]["total"] = static_cast<Json::Int64>(now.total);
    value["upgrade"]["sent"] = static_cast<Json::Int64>(now.sent);
    value["upgrade"]["busy"] = busy();
    value["upgrade"]["good"] = m_upgrades;
    value["files"] = Json::arrayValue;
    for (const Received& r : m_received) {
        Json::Value file;
        file["kind"] = r.kind;
        file["path"] = r.path;
        file["size"] = static_cast<Json::Int64>(r.size);
        file["sha256"] = r.sha256;
        file["announced"] = r.announced;
        value["files"].append(file);
    }
    value["lenses"] = Json::arrayValue;
    for (const auto& [key, times] : m_times) {
        Json::Value lens;
        lens["channel"] = key.first;
        lens["stream"] = key.second;
        lens["times"] = times;
        value["lenses"].append(lens);
    }
    return value;
}

} // namespace lumo::recorder
