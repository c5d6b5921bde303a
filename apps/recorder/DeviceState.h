// What a device keeps beside its pictures: files it was sent, its settings and firmware, and the two lenses of a
// channel.
//
// A firmware upgrade passes through the states running (bytes come in, or are fetched), writing, and done or failed;
// how it ends and how long it takes is a fault's choice. Times pass by themselves: nothing here waits.
// Thread: main loop only.
#pragma once

#include "Faults.h"

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>

namespace lumo::recorder
{

enum class UpgradeState { Running = 0, Done = 1, Writing = 2, Failed = 3 };

/// A file that came in whole.
struct Received {
    std::string kind, path, sha256; // kind: "file", "firmware", "settings"
    int64_t size = 0;
    Json::Value announced; // of a file: what the command before it said
};

class DeviceState
{
public:
    static constexpr double kMaxTimes = 8.0;

    /// folder: where received files are kept.
    DeviceState(std::string folder, Faults& faults) : m_folder(std::move(folder)), m_faults(faults) {}

    // Files. A file must have been announced, with its size.
    bool announceFile(const Json::Value& announcement);
    /// False: it was not announced, or is of another size.
    bool takeFile(const std::string& bytes);
    const std::deque<Received>& received() const { return m_received; }

    // Firmware and settings that are uploaded: where to, how much came, all of it. kind: "firmware" or "settings".
    bool busy() const;
    std::string beginUpload(const std::string& kind);
    /// The kind of upload that this ticket is for; empty: for none, or there have been too many since.
    std::string uploadOf(const std::string& ticket) const;
    void uploadMoved(int64_t total, int64_t received);
    /// True when it was taken. The ticket is used up.
    bool finishUpload(const std::string& ticket, const std::string& bytes);
    /// How long the device writes before it answers, in milliseconds.
    int writingMs() const;

    // Firmware that the device fetches by itself.
    bool startFetching(const std::string& version);
    struct Progress {
        UpgradeState state = UpgradeState::Running;
        int64_t total = 0, sent = 0;
    };
    Progress progress();
    /// "1.0.0.20260101" before the first good upgrade.
    std::string firmware();
    static Json::Value newestVersion();

    // Two lenses. channel: -1 is the device itself.
    bool setTimes(int channel, int stream, double times);
    double times(int channel, int stream) const;

    Json::Value status();

private:
    const Received& keep(const std::string& kind, const std::string& bytes);
    void settle();

    const std::string m_folder;
    Faults& m_faults;
    std::deque<Received> m_received;
    Json::Value m_announced; // null: nothing
    int m_files = 0;
    struct Ticket {
        std::string id, kind;
    };
    std::deque<Ticket> m_tickets; // the last that were given out and not used
    int m_upgrades = 0;           // good ones
    bool m_busy = false;
    Progress m_progress;
    int64_t m_fetchedFrom = 0; // monotonic, microseconds; 0: nothing is fetched
    bool m_fetchFails = false, m_fetchSlow = false;
    std::map<std::pair<int, int>, double> m_times;
};

std::string sha256Of(const std::string& bytes);

} // namespace lumo::recorder
