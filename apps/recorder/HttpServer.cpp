#include "HttpServer.h"

#include "HttpTools.h"
#include "Snapshot.h"
#include "StaticFiles.h"

#include <cstdio>

namespace lumo::recorder
{
namespace
{

/// The list of recordings is also for pages that the host on the viewer's machine serves.
void allowHostedPages(SoupServerMessage* message)
{
    const std::string path = g_uri_get_path(soup_server_message_get_uri(message));
    const std::string origin = headerOf(message, "Origin");
    if (path.rfind("/api/recordings", 0) != 0) {
        return;
    }
    for (const char* loopback : {"http://127.0.0.1:", "http://localhost:", "http://[::1]:"}) {
        if (origin.rfind(loopback, 0) == 0) {
            SoupMessageHeaders* headers = soup_server_message_get_response_headers(message);
            soup_message_headers_replace(headers, "Access-Control-Allow-Origin", origin.c_str());
            soup_message_headers_replace(headers, "Vary", "Origin");
        }
    }
}

void answerOpenly(SoupServerMessage* message, int status, const char* type, const std::string& body)
{
    allowHostedPages(message);
    answer(message, status, type, body);
}

// An answer that is made on a thread of its own: it may have to wait for a clip.
struct LaterJob {
    SoupServer* server;
    SoupServerMessage* message;
    std::function<ApiAnswer()> make;
    std::string type;
    int delayMs;
    ApiAnswer result;
};

gboolean finishLater(gpointer p)
{
    std::unique_ptr<LaterJob> job(static_cast<LaterJob*>(p));
    answerOpenly(job->message, job->result.status, job->type.c_str(), job->result.body);
    soup_server_message_unpause(job->message);
    g_object_unref(job->message);
    g_object_unref(job->server);
    return G_SOURCE_REMOVE;
}

gpointer runLater(gpointer p)
{
    auto* job = static_cast<LaterJob*>(p);
    try {
        job->result = job->make();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "lumo-recorder: %s\n", e.what());
        job->result = {500, ""};
    }
    g_usleep(static_cast<gulong>(job->delayMs) * 1000);
    g_idle_add(finishLater, job);
    return nullptr;
}

} // namespace

HttpServer::HttpServer(const Options& options, Faults& faults, OnvifServices& onvif, TestApi& api,
                       RecordingApi& recordingApi, RecordingStore& recordings,
                       std::vector<std::unique_ptr<LiveStream>>& streams, DeviceHttp& device, AlarmBoard& alarms,
                       EventHub& events)
    : m_options(options), m_faults(faults), m_onvif(onvif), m_api(api), m_recordingApi(recordingApi),
      m_recordings(recordings), m_streams(streams), m_device(device), m_events(events), m_alarmApi(alarms, events),
      m_server(soup_server_new("server-header", "lumo-recorder", nullptr))
{
    route<&HttpServer::onOnvif>("/onvif");
    route<&HttpServer::onApi>("/api");
    route<&HttpServer::onSnapshot>("/snapshot");
    route<&HttpServer::onPage>("/");
    m_device.begin(m_server, [this](SoupServerMessage* message) { return held(message); });
}

template <HttpServer::Handler handler> void HttpServer::route(const char* path)
{
    soup_server_add_handler(
        m_server, path,
        [](SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer self) {
            (static_cast<HttpServer*>(self)->*handler)(message, path);
        },
        this, nullptr);
}

int HttpServer::start(std::string& error)
{
    GSocketAddress* address =
        g_inet_socket_address_new_from_string(m_options.address.c_str(), static_cast<guint>(m_options.httpPort));
    GError* problem = nullptr;
    if (!address || !soup_server_listen(m_server, address, static_cast<SoupServerListenOptions>(0), &problem)) {
        error = problem ? problem->message : "'" + m_options.address + "' is not an address";
        g_clear_error(&problem);
        g_clear_object(&address);
        return 0;
    }
    g_object_unref(address);
    GSList* uris = soup_server_get_uris(m_server);
    const int port = g_uri_get_port(static_cast<GUri*>(uris->data));
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
    return port;
}

bool HttpServer::held(SoupServerMessage* message)
{
    if (!m_faults.silent()) {
        return false;
    }
    soup_server_message_pause(message);
    m_held.push_back(SOUP_SERVER_MESSAGE(g_object_ref(message)));
    return true;
}

void HttpServer::releaseHeld()
{
    for (SoupServerMessage* message : m_held) {
        soup_server_message_set_status(message, SOUP_STATUS_SERVICE_UNAVAILABLE, nullptr);
        soup_server_message_unpause(message);
        g_object_unref(message);
    }
    m_held.clear();
}

void HttpServer::onOnvif(SoupServerMessage* message, const std::string& path)
{
    if (held(message)) {
        return;
    }
    if (std::string(soup_server_message_get_method(message)) != "POST") {
        soup_server_message_set_status(message, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
        return;
    }
    const std::string host = hostOf(message, m_options.address);
    const SoapAnswer result = m_onvif.handle(bodyOf(message), headerOf(message, "X-Lumo-Token"), host, path);
    const char* type = "application/soap+xml; charset=utf-8";
    if (result.later) {
        soup_server_message_pause(message);
        result.later([kept = SOUP_SERVER_MESSAGE(g_object_ref(message)), type](const SoapAnswer& now) {
            answer(kept, now.httpStatus, type, now.body);
            soup_server_message_unpause(kept);
            g_object_unref(kept);
        });
    } else if (m_faults.answerDelayMs() > 0) {
        answerLater(
            message,
            [result] {
                return ApiAnswer{result.httpStatus, result.body};
            },
            type);
    } else {
        answer(message, result.httpStatus, type, result.body);
    }
}

void HttpServer::answerLater(SoupServerMessage* message, std::function<ApiAnswer()> make, const char* type)
{
    soup_server_message_pause(message);
    auto* job = new LaterJob{SOUP_SERVER(g_object_ref(m_server)),
                             SOUP_SERVER_MESSAGE(g_object_ref(message)),
                             std::move(make),
                             type,
                             m_faults.answerDelayMs(),
                             {}};
    g_thread_unref(g_thread_new("answer", runLater, job));
}

// Unlike the test calls, for every page that reaches the recorder.
void HttpServer::onRecordings(SoupServerMessage* message, const std::string& path)
{
    if (held(message)) {
        return;
    }
    const std::string method = soup_server_message_get_method(message), query = queryOf(message);
    answerLater(
        message, [this, method, path, query] { return m_recordingApi.handle(method, path, query); },
        "application/json");
}

void HttpServer::onApi(SoupServerMessage* message, const std::string& path)
{
    if (RecordingApi::knows(path)) {
        onRecordings(message, path);
        return;
    }
    if (!fromLoopback(message)) {
        soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
        return;
    }
    const std::string method = soup_server_message_get_method(message);
    const ApiAnswer result = path == "/api/alarm" ? m_alarmApi.handle(method, bodyOf(message))
                                                  : m_api.handle(method, path, queryOf(message), bodyOf(message));
    answer(message, result.status, "application/json", result.body);
    if (!m_faults.silent()) {
        releaseHeld();
    }
    m_device.releaseHanging();
    m_events.releaseHanging();
}

void HttpServer::onSnapshot(SoupServerMessage* message, const std::string& path)
{
    if (held(message)) {
        return;
    }
    int channel = -1, end = 0;
    if (std::sscanf(path.c_str(), "/snapshot/%d.jpg%n", &channel, &end) != 1 || end != static_cast<int>(path.size()) ||
        channel < 0 || channel >= m_options.channels) {
        soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
        return;
    }
    // With a time it is a recorded picture, else what the channel shows now.
    const auto time = parseClockText(queryText(queryOf(message), "time"));
    LiveStream* live = m_streams[static_cast<size_t>(channel) * 2].get();
    answerLater(
        message,
        [this, channel, time, live]() -> ApiAnswer {
            const bool recorded = time && channel < m_recordings.channels();
            const auto jpeg = recorded ? std::optional(m_recordings.jpegAt(channel, *time))
                              : time   ? std::optional(std::string())
                                       : makeSnapshot(*live);
            const int status = !jpeg ? 500 : jpeg->empty() ? 404 : 200;
            return {status, jpeg.value_or("")};
        },
        "image/jpeg");
}

void HttpServer::onPage(SoupServerMessage* message, const std::string& path)
{
    if (held(message)) {
        return;
    }
    const std::string method = soup_server_message_get_method(message);
    const auto file = method == "GET" || method == "HEAD" ? readPageFile(m_options.webDir, path) : std::nullopt;
    if (file) {
        answer(message, 200, file->type.c_str(), file->content);
    } else {
        soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
    }
}

} // namespace lumo::recorder
