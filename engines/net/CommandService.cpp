#include "CommandService.h"

#include "Text.h"

#include "device/LumoNet.h"

#include <json/json.h>

#include <algorithm>

namespace lumo::net
{
namespace
{

/// Sound JSON, an object or a list, and nothing behind it.
bool parseJson(const std::string& text, Json::Value& value)
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["rejectDupKeys"] = false; // devices repeat themselves
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        return reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const std::exception&) { // nested deeper than any sound answer
        return false;
    }
}

std::string textOf(const Json::Value& object, const char* key)
{
    return object.isObject() && object[key].isString() ? object[key].asString() : std::string();
}

long numberOf(const Json::Value& object, const char* key, long otherwise)
{
    return object.isObject() && object[key].isInt() ? object[key].asInt() : otherwise;
}

constexpr long kAgreed = 100;

int errorOfStatus(int status)
{
    switch (status) {
    case 200:
        return 0;
    case 401:
        return LUMONET_ERR_PASSWORD;
    case 404:
    case 405:
    case 501:
        return LUMONET_ERR_UNSUPPORTED;
    case 408:
    case 504:
        return LUMONET_ERR_TIMEOUT;
    case 423:
        return LUMONET_ERR_LOCKED;
    default:
        return LUMONET_ERR_REFUSED;
    }
}

std::string query(const JsonQuestion& q)
{
    return "?number=" + std::to_string(q.number) + "&channel=" + std::to_string(q.channel);
}

/// 0, or the refusal that an answer holds.
int refusalIn(const std::string& answer)
{
    Json::Value value;
    return parseJson(answer, value) && numberOf(value, "Ret", kAgreed) == kAgreed ? 0 : int(LUMONET_ERR_REFUSED);
}

} // namespace

std::string percentEncoded(const std::string& text)
{
    static const char* digits = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        if (std::isalnum(uint8_t(c)) || c == '-' || c == '_' || c == '.' || c == '~')
            out += c;
        else
            out += {'%', digits[uint8_t(c) >> 4], digits[uint8_t(c) & 15]};
    }
    return out;
}

bool boolAtPath(const std::string& json, const std::string& path)
{
    Json::Value root;
    if (!parseJson(json, root) || !root.isObject())
        return false;
    const std::string name = textOf(root, "Name");
    const auto keys = split(path, '/');
    if (!name.ends_with(keys.front()))
        return false;
    const Json::Value* at = &root[name];
    for (size_t i = 1; i < keys.size(); ++i) {
        if (!at->isObject())
            return false;
        at = &(*at)[std::string(keys[i])];
    }
    return at->isBool() && at->asBool();
}

CommandService::CommandService(std::string url, OnvifPeer peer, const Timings& timings)
    : m_url(std::move(url)), m_peer(std::move(peer)), m_connectMs(timings.connectMs), m_requestMs(timings.requestMs)
{
}

std::unique_ptr<HttpClient> CommandService::newHttp(int timeoutMs, const Cancel& cancel) const
{
    const int limit = timeoutMs > 0 ? timeoutMs : m_requestMs;
    auto http = std::make_unique<HttpClient>(std::min(m_connectMs, limit), limit, cancel);
    if (m_peer.token.empty())
        http->setCredentials(m_peer.user, m_peer.password);
    return http;
}

std::vector<std::string> CommandService::headers() const
{
    return m_peer.token.empty() ? std::vector<std::string>() : std::vector{"X-Lumo-Token: " + m_peer.token};
}

int CommandService::ask(const Request& request, const Cancel& cancel, std::string& answer, bool* pBusy) const
{
    const auto http = newHttp(request.timeoutMs, cancel);
    http->setMaxReply(request.maxAnswer);
    const HttpReply reply = request.post ? http->post(m_url + request.path, "application/json", request.body, headers())
                                         : http->get(m_url + request.path, headers());
    if (reply.error != 0)
        return reply.error;
    if (pBusy)
        *pBusy = reply.status == 503;
    if (const int error = errorOfStatus(reply.status))
        return error;
    Json::Value unused;
    if (!parseJson(reply.body, unused))
        return LUMONET_ERR_REFUSED;
    answer = reply.body;
    return 0;
}

int CommandService::command(const JsonQuestion& q, const Cancel& cancel, std::string& answer) const
{
    const int error =
        ask({"/command/" + percentEncoded(q.name) + query(q), true, q.input, q.timeoutMs, q.maxAnswer}, cancel, answer);
    return error != 0 || !q.mustAgree ? error : refusalIn(answer);
}

int CommandService::ability(const JsonQuestion& q, const Cancel& cancel, std::string& answer) const
{
    return ask({"/ability/" + percentEncoded(q.name) + query(q), false, {}, q.timeoutMs, q.maxAnswer}, cancel, answer);
}

int CommandService::newestVersion(int timeoutMs, const Cancel& cancel, FirmwareVersion& version) const
{
    std::string answer;
    if (const int error = ask({"/version", false, {}, timeoutMs}, cancel, answer))
        return error;
    Json::Value value;
    parseJson(answer, value);
    const Json::Value versions = value.isObject() ? value["Versions"] : Json::Value();
    if (!versions.isArray())
        return LUMONET_ERR_REFUSED;
    version.count = int(versions.size());
    version.version = version.count > 0 ? textOf(versions[0], "Version") : std::string();
    version.buildDate = version.count > 0 ? textOf(versions[0], "BuildDate") : std::string();
    return 0;
}

int CommandService::startUpgrade(const std::string& version, const Cancel& cancel) const
{
    Json::Value body;
    body["Version"] = version;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    std::string answer;
    bool busy = false;
    const int error = ask({"/upgrade", true, Json::writeString(writer, body)}, cancel, answer, &busy);
    return busy ? int(LUMONET_ERR_BUSY) : error != 0 ? error : refusalIn(answer);
}

int CommandService::upgradeProgress(const Cancel& cancel, UpgradeProgress& progress) const
{
    std::string answer;
    if (const int error = ask({"/upgrade"}, cancel, answer))
        return error;
    Json::Value value;
    parseJson(answer, value);
    const long state = numberOf(value, "State", -1);
    if (state < LUMO_UPGRADE_RUNNING || state > LUMO_UPGRADE_FAILED)
        return LUMONET_ERR_REFUSED;
    progress.state = int(state);
    progress.total = std::max(numberOf(value, "Total", 0), 0L);
    progress.sent = std::max(numberOf(value, "Sent", 0), 0L);
    return 0;
}

int CommandService::sendFile(const HttpUpload& upload, const Cancel& cancel) const
{
    const auto http = newHttp(0, cancel);
    const HttpReply reply = http->upload(m_url + "/file", upload, headers());
    if (reply.error != 0)
        return reply.error;
    const int error = errorOfStatus(reply.status);
    return error != 0 ? error : refusalIn(reply.body);
}

} // namespace lumo::net
