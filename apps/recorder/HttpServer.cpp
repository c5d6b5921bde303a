#include "HttpServer.h"

#include "Snapshot.h"
#include "StaticFiles.h"

#include <cstdio>

namespace lumo::recorder
{
namespace
{

void answer(SoupServerMessage* message, int status, const char* type, const std::string& body)
{
    soup_server_message_set_status(message, static_cast<guint>(status), nullptr);
    soup_server_message_set_response(message, type, SOUP_MEMORY_COPY, body.data(), body.size());
}

std::string header(SoupServerMessage* message, const char* name)
{
    const char* value = soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value ? value : "";
}

std::string requestBody(SoupServerMessage* message)
{
    GBytes* bytes = soup_message_body_flatten(soup_server_message_get_request_body(message));
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    std::string text(data ? data : "", size);
    g_bytes_unref(bytes);
    return text;
}

bool fromLoopback(SoupServerMessage* message)
{
    GSocketAddress* address = soup_server_message_get_remote_address(message);
    return G_IS_INET_SOCKET_ADDRESS(address) &&
           g_inet_address_get_is_loopback(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(address)));
}

// A picture is made on a thread of its own: it may have to wait for a clip.
struct SnapshotJob {
    SoupServer* server;
    SoupServerMessage* message;
    LiveStream* stream;
    std::optional<std::string> jpeg;
};

gboolean finishSnapshot(gpointer p)
{
    std::unique_ptr<SnapshotJob> job(static_cast<SnapshotJob*>(p));
    if (job->jpeg) {
        answer(job->message, 200, "image/jpeg", *job->jpeg);
    } else {
        soup_server_message_set_status(job->message, 500, nullptr);
    }
    soup_server_message_unpause(job->message);
    g_object_unref(job->message);
    g_object_unref(job->server);
    return G_SOURCE_REMOVE;
}

gpointer makeSnapshotJob(gpointer p)
{
    auto* job = static_cast<SnapshotJob*>(p);
    job->jpeg = makeSnapshot(*job->stream);
    g_idle_add(finishSnapshot, job);
    return nullptr;
}

} // namespace

HttpServer::HttpServer(const Options& options, Faults& faults, OnvifServices& onvif, TestApi& api, ClipStore& store,
                       std::vector<std::unique_ptr<LiveStream>>& streams)
    : m_options(options), m_faults(faults), m_onvif(onvif), m_api(api), m_store(store), m_streams(streams),
      m_server(soup_server_new("server-header", "lumo-recorder", nullptr))
{
    route<&HttpServer::onOnvif>("/onvif");
    route<&HttpServer::onApi>("/api");
    route<&HttpServer::onSnapshot>("/snapshot");
    route<&HttpServer::onPage>("/");
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

void HttpServer::onOnvif(SoupServerMessage* message, const std::string&)
{
    if (held(message)) {
        return;
    }
    if (std::string(soup_server_message_get_method(message)) != "POST") {
        soup_server_message_set_status(message, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
        return;
    }
    std::string host = header(message, "Host");
    if (host.empty()) {
        GUri* uri = soup_server_message_get_uri(message);
        host = m_options.address + ":" + std::to_string(g_uri_get_port(uri));
    }
    const SoapAnswer result = m_onvif.handle(requestBody(message), header(message, "X-Lumo-Token"), host);
    answer(message, result.httpStatus, "application/soap+xml; charset=utf-8", result.body);
}

void HttpServer::onApi(SoupServerMessage* message, const std::string& path)
{
    if (!fromLoopback(message)) {
        soup_server_message_set_status(message, SOUP_STATUS_FORBIDDEN, nullptr);
        return;
    }
    const char* query = g_uri_get_query(soup_server_message_get_uri(message));
    const ApiAnswer result =
        m_api.handle(soup_server_message_get_method(message), path, query ? query : "", requestBody(message));
    answer(message, result.status, "application/json", result.body);
    if (!m_faults.silent()) {
        releaseHeld();
    }
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
    soup_server_message_pause(message);
    auto* job = new SnapshotJob{SOUP_SERVER(g_object_ref(m_server)), SOUP_SERVER_MESSAGE(g_object_ref(message)),
                                m_streams[static_cast<size_t>(channel) * 2].get(), std::nullopt};
    g_thread_unref(g_thread_new("snapshot", makeSnapshotJob, job));
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
