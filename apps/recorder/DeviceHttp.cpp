#include "DeviceHttp.h"

#include "HttpTools.h"
#include "RtspAuth.h"
#include "StatusPage.h"

namespace lumo::recorder
{
namespace
{

constexpr const char* kRealm = "Lumo Recorder";
constexpr const char* kJson = "application/json";
constexpr int kSlowChunkMs = 2; // between two chunks of a slow upload, some kilobytes each
constexpr size_t kHugeBytes = 2u << 20;

std::string ticketOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

Json::Value noteJson(int channel, const HeardNote& note)
{
    Json::Value value;
    value["channel"] = channel;
    value["packets"] = static_cast<Json::Int64>(note.packets);
    value["bytes"] = static_cast<Json::Int64>(note.bytes);
    value["oddPackets"] = static_cast<Json::Int64>(note.oddPackets);
    value["largestGapMs"] = static_cast<double>(note.largestGapUs) / 1000.0;
    value["tone"] = note.toneHz;
    value["talking"] = note.talking;
    value["file"] = note.file;
    return value;
}

struct UploadWatch {
    DeviceState* state;
    Faults* faults;
    int64_t total = 0, received = 0;
};

void onChunk(SoupServerMessage* message, GBytes* chunk, gpointer p)
{
    auto* watch = static_cast<UploadWatch*>(p);
    watch->received += static_cast<int64_t>(g_bytes_get_size(chunk));
    watch->state->uploadMoved(watch->total, watch->received);
    if (watch->faults->uploadFault() == Faults::UploadFault::Slow) {
        afterPause(message, kSlowChunkMs, nullptr);
    }
}

} // namespace

DeviceHttp::DeviceHttp(const Options& options, Faults& faults, DeviceState& state,
                       std::vector<std::unique_ptr<TalkRoom>>& rooms)
    : m_options(options), m_faults(faults), m_state(state), m_rooms(rooms),
      m_commands(state, options.channels, static_cast<int>(rooms.size()), options.twoLenses)
{
}

template <DeviceHttp::Handler handler> void DeviceHttp::route(const char* path)
{
    soup_server_add_handler(
        m_server, path,
        [](SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer p) {
            auto* self = static_cast<DeviceHttp*>(p);
            if (!self->m_held(message)) {
                (self->*handler)(message, path);
            }
        },
        this, nullptr);
}

void DeviceHttp::begin(SoupServer* server, std::function<bool(SoupServerMessage*)> held)
{
    m_server = server;
    m_held = std::move(held);
    addDigest();
    route<&DeviceHttp::onCommand>(kCommandPath);
    route<&DeviceHttp::onUploaded>("/upload");
    route<&DeviceHttp::onDevice>("/api/device");
    route<&DeviceHttp::onTalk>("/api/talk");
    route<&DeviceHttp::onStatus>("/status");
    soup_server_add_early_handler(
        server, "/upload",
        [](SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer self) {
            static_cast<DeviceHttp*>(self)->onUploadBegins(message, path);
        },
        this, nullptr);
}

// Whoever has no right is told so before the body of a request: files are large.
void DeviceHttp::addDigest()
{
    SoupAuthDomain* domain = soup_auth_domain_digest_new("realm", kRealm, nullptr);
    soup_auth_domain_add_path(domain, kCommandPath);
    soup_auth_domain_digest_set_auth_callback(
        domain,
        [](SoupAuthDomain*, SoupServerMessage*, const char* user, gpointer p) -> char* {
            auto* self = static_cast<DeviceHttp*>(p);
            const bool known = !self->m_faults.refusesPassword() && self->m_options.user == user;
            return known ? soup_auth_domain_digest_encode_password(user, kRealm, self->m_options.password.c_str())
                         : nullptr;
        },
        this, nullptr);
    soup_auth_domain_set_filter(
        domain,
        [](SoupAuthDomain*, SoupServerMessage* message, gpointer p) -> gboolean {
            return static_cast<DeviceHttp*>(p)->m_faults.refusesPassword() ||
                   headerOf(message, "X-Lumo-Token") != kToken;
        },
        this, nullptr);
    soup_server_add_auth_domain(m_server, domain);
    g_object_unref(domain);
}

/// True when a fault has answered, or keeps the answer back.
bool DeviceHttp::spoiled(SoupServerMessage* message)
{
    using Fault = Faults::CommandFault;
    switch (m_faults.commandFault()) {
    case Fault::None:
        return false;
    case Fault::Refuse:
        answer(message, 403, kJson, "{\"error\":\"refused\"}");
        return true;
    case Fault::Broken:
        answer(message, 200, kJson, "{\"Name\":\"OPSensorGet\",\"OPSensorGet\":[{\"Times\":");
        return true;
    case Fault::Huge:
        answer(message, 200, kJson, "{\"Name\":\"" + std::string(kHugeBytes, 'x') + "\",\"Ret\":100}");
        return true;
    case Fault::Hang:
        soup_server_message_pause(message);
        m_hanging.push_back(SOUP_SERVER_MESSAGE(g_object_ref(message)));
        return true;
    }
    return false;
}

void DeviceHttp::releaseHanging()
{
    if (m_faults.commandFault() == Faults::CommandFault::Hang) {
        return;
    }
    for (SoupServerMessage* message : m_hanging) {
        soup_server_message_set_status(message, SOUP_STATUS_SERVICE_UNAVAILABLE, nullptr);
        soup_server_message_unpause(message);
        g_object_unref(message);
    }
    m_hanging.clear();
}

void DeviceHttp::onCommand(SoupServerMessage* message, const std::string& path)
{
    if (spoiled(message)) {
        return;
    }
    const std::string below = path.substr(std::string(kCommandPath).size());
    const ApiAnswer result =
        m_commands.handle(soup_server_message_get_method(message), below, queryOf(message), bodyOf(message));
    const auto tell = [result](SoupServerMessage* m) { answer(m, result.status, kJson, result.body); };
    if (m_faults.answerDelayMs() > 0) {
        afterPause(message, m_faults.answerDelayMs(), tell);
    } else {
        tell(message);
    }
}

void DeviceHttp::onUploadBegins(SoupServerMessage* message, const std::string& path)
{
    if (m_faults.silent()) {
        return; // its body comes, and its answer does not
    }
    if (m_state.uploadOf(ticketOf(path)).empty()) {
        soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
        return;
    }
    const auto total = soup_message_headers_get_content_length(soup_server_message_get_request_headers(message));
    auto* watch = new UploadWatch{&m_state, &m_faults, static_cast<int64_t>(total), 0};
    g_signal_connect_data(
        message, "got-chunk", G_CALLBACK(onChunk), watch,
        [](gpointer p, GClosure*) { delete static_cast<UploadWatch*>(p); }, G_CONNECT_DEFAULT);
}

void DeviceHttp::onUploaded(SoupServerMessage* message, const std::string& path)
{
    if (std::string(soup_server_message_get_method(message)) != "POST") {
        soup_server_message_set_status(message, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
        return;
    }
    const std::string ticket = ticketOf(path), bytes = bodyOf(message);
    afterPause(message, m_state.writingMs(), [this, ticket, bytes](SoupServerMessage* m) {
        soup_server_message_set_status(m, m_state.finishUpload(ticket, bytes) ? 200 : 500, nullptr);
    });
}

void DeviceHttp::onDevice(SoupServerMessage* message, const std::string&)
{
    if (!fromLoopback(message)) {
        soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
        return;
    }
    const ApiAnswer result = goodApiAnswer(m_state.status());
    answer(message, result.status, kJson, result.body);
}

TalkRoom* DeviceHttp::roomOf(int channel)
{
    const bool known = channel >= 0 && static_cast<size_t>(channel) < m_rooms.size();
    return known ? m_rooms[static_cast<size_t>(channel)].get() : nullptr;
}

void DeviceHttp::onTalk(SoupServerMessage* message, const std::string& path)
{
    if (!fromLoopback(message)) {
        soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
        return;
    }
    const bool post = std::string(soup_server_message_get_method(message)) == "POST";
    const TalkRoom* room = roomOf(queryNumber(queryOf(message), "channel").value_or(-1));
    if (!post && room && path == "/api/talk/heard") {
        answer(message, 200, "application/octet-stream", room->heard());
        return;
    }
    const ApiAnswer result = post   ? changeTalk(bodyOf(message))
                             : room ? goodApiAnswer(noteJson(room->channel, room->note()))
                                    : badApiAnswer(404, "this channel does not talk");
    answer(message, result.status, kJson, result.body);
}

ApiAnswer DeviceHttp::changeTalk(const std::string& body)
{
    Json::Value request;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const bool sound = reader->parse(body.data(), body.data() + body.size(), &request, &errors) && request.isObject() &&
                       request["channel"].isInt();
    TalkRoom* room = sound ? roomOf(request["channel"].asInt()) : nullptr;
    if (!room) {
        return badApiAnswer(400, "needs a channel that talks");
    }
    const Json::Value& tone = request["tone"];
    if (request["clear"].isBool() && request["clear"].asBool()) {
        room->clear();
    } else if (tone.isInt() && tone.asInt() >= 0 && tone.asInt() < 4000) {
        room->setTone(tone.asInt());
    } else {
        return badApiAnswer(400, "clear, or a tone below 4000 Hz");
    }
    return goodApiAnswer(Json::Value(Json::objectValue));
}

void DeviceHttp::onStatus(SoupServerMessage* message, const std::string&)
{
    if (!fromLoopback(message)) {
        soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
        return;
    }
    answer(message, 200, "text/html; charset=utf-8", kStatusPage);
}

} // namespace lumo::recorder
