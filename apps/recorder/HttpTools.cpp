#include "HttpTools.h"

#include <memory>

namespace lumo::recorder
{
namespace
{

struct Pause {
    SoupServerMessage* message; // a reference
    std::function<void(SoupServerMessage*)> then;
};

} // namespace

std::string headerOf(SoupServerMessage* message, const char* name)
{
    const char* value = soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
    return value ? value : "";
}

std::string bodyOf(SoupServerMessage* message)
{
    GBytes* bytes = soup_message_body_flatten(soup_server_message_get_request_body(message));
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    std::string text(data ? data : "", size);
    g_bytes_unref(bytes);
    return text;
}

std::string queryOf(SoupServerMessage* message)
{
    const char* query = g_uri_get_query(soup_server_message_get_uri(message));
    return query ? query : "";
}

bool fromLoopback(SoupServerMessage* message)
{
    GSocketAddress* address = soup_server_message_get_remote_address(message);
    return G_IS_INET_SOCKET_ADDRESS(address) &&
           g_inet_address_get_is_loopback(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(address)));
}

std::string hostOf(SoupServerMessage* message, const std::string& otherwise)
{
    const std::string host = headerOf(message, "Host");
    return !host.empty() ? host
                         : otherwise + ":" + std::to_string(g_uri_get_port(soup_server_message_get_uri(message)));
}

void answer(SoupServerMessage* message, int status, const char* type, const std::string& body)
{
    soup_server_message_set_status(message, static_cast<guint>(status), nullptr);
    soup_server_message_set_response(message, type, SOUP_MEMORY_COPY, body.data(), body.size());
}

void afterPause(SoupServerMessage* message, int ms, std::function<void(SoupServerMessage*)> then)
{
    soup_server_message_pause(message);
    auto* pause = new Pause{SOUP_SERVER_MESSAGE(g_object_ref(message)), std::move(then)};
    g_timeout_add(
        static_cast<guint>(ms),
        [](gpointer p) -> gboolean {
            const std::unique_ptr<Pause> pause(static_cast<Pause*>(p));
            if (pause->then) {
                pause->then(pause->message);
            }
            soup_server_message_unpause(pause->message);
            g_object_unref(pause->message);
            return G_SOURCE_REMOVE;
        },
        pause);
}

} // namespace lumo::recorder
