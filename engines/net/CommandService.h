// What ONVIF cannot say: a device's own JSON commands, abilities, files and firmware over HTTP, where GetServices
// announces them by kCommandNamespace. The calls stand in docs/engines-net.md.
//
// Thread: any; each call is a conversation of its own, and blocks for its time-out at most, or until the cancel flag.
#pragma once

#include "Http.h"
#include "Onvif.h"

#include <atomic>
#include <memory>
#include <string>

namespace lumo::net
{

/// A request, as the library's callers put it.
struct JsonQuestion {
    std::string name;
    int number = 0, channel = -1;
    std::string input;      // JSON text, or empty
    int timeoutMs = 0;      // 0: the library's own
    size_t maxAnswer = 0;   // bytes
    bool mustAgree = false; // a "Ret" other than 100 is a refusal
};

struct FirmwareVersion {
    int count = 0;
    std::string version, buildDate;
};

struct UpgradeProgress {
    int state = 0; // LUMO_UPGRADE_...
    long total = 0, sent = 0;
};

class CommandService
{
public:
    using Cancel = std::shared_ptr<const std::atomic<bool>>;

    /// url: of the service, without a slash at its end.
    CommandService(std::string url, OnvifPeer peer, const Timings& timings);

    // Each returns 0 or LUMONET_ERROR; _BUSY where the device says 503 to an upgrade.
    int command(const JsonQuestion& question, const Cancel& cancel, std::string& answer) const;
    int ability(const JsonQuestion& question, const Cancel& cancel, std::string& answer) const;
    int newestVersion(int timeoutMs, const Cancel& cancel, FirmwareVersion& version) const;
    int startUpgrade(const std::string& version, const Cancel& cancel) const;
    int upgradeProgress(const Cancel& cancel, UpgradeProgress& progress) const;
    int sendFile(const HttpUpload& upload, const Cancel& cancel) const;

private:
    struct Request {
        std::string path;
        bool post = false;
        std::string body = {};
        int timeoutMs = 0;
        size_t maxAnswer = 65536;
    };
    int ask(const Request& request, const Cancel& cancel, std::string& answer, bool* pBusy = nullptr) const;
    std::unique_ptr<HttpClient> newHttp(int timeoutMs, const Cancel& cancel) const;
    std::vector<std::string> headers() const;

    const std::string m_url;
    const OnvifPeer m_peer;
    const int m_connectMs, m_requestMs;
};

/// "bypass%40SystemFunction"
std::string percentEncoded(const std::string& text);
/// The Boolean at the end of a path of keys with slashes, in a text like {"Name":"N","N":{...}} that names its own
/// first key; for a path "First/..." the first key is what the name ends in. False where anything is missing.
bool boolAtPath(const std::string& json, const std::string& path);

} // namespace lumo::net
