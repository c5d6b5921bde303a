#include "ReplayServer.h"

#include "ReplayConnection.h"

#include <gio/gio.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <thread>

namespace lumo::recorder
{

int ReplayServer::start()
{
    GSocketAddress* address =
        g_inet_socket_address_new_from_string(m_options.address.c_str(), static_cast<guint>(m_options.replayPort));
    if (!address) {
        return 0;
    }
    sockaddr_storage native{};
    const auto size = static_cast<socklen_t>(g_socket_address_get_native_size(address));
    g_socket_address_to_native(address, &native, sizeof(native), nullptr);
    g_object_unref(address);
    const int listener = socket(native.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    socklen_t length = sizeof(native);
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&native), size) != 0 || listen(listener, 64) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&native), &length) != 0) {
        close(listener);
        return 0;
    }
    std::thread([this, listener] { accept(listener); }).detach();
    // The port stands at the same place in both kinds of address.
    return ntohs(reinterpret_cast<sockaddr_in*>(&native)->sin_port);
}

void ReplayServer::accept(int listener)
{
    for (;;) {
        const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            g_usleep(10000); // out of files, perhaps: the others may end
            continue;
        }
        const int yes = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
        std::thread([this, client] {
            try {
                ReplayConnection(client, m_options, m_store, m_faults).run();
            } catch (const std::exception& e) {
                std::fprintf(stderr, "lumo-recorder: replay: %s\n", e.what());
            }
        }).detach();
    }
}

} // namespace lumo::recorder
