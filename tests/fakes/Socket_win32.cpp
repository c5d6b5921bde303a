#include "Socket.h"

#include <winsock2.h>

namespace fakes
{

SocketHandle connectLoopback(uint16_t port)
{
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        return kNoSocket;
    }
    const SOCKET s = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (s == INVALID_SOCKET) {
        return kNoSocket;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::closesocket(s);
        return kNoSocket;
    }
    const BOOL on = TRUE;
    ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    return static_cast<SocketHandle>(s);
}

bool sendAll(SocketHandle socket, const char* data, size_t size)
{
    while (size > 0) {
        const int sent = ::send(static_cast<SOCKET>(socket), data, static_cast<int>(size), 0);
        if (sent <= 0) {
            return false;
        }
        data += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

long receiveSome(SocketHandle socket, char* data, size_t size)
{
    return ::recv(static_cast<SOCKET>(socket), data, static_cast<int>(size), 0);
}

} // namespace fakes
