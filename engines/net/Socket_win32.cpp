#include "Socket.h"

// Each of these needs the one before it.
#include <winsock2.h>

#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstring>

namespace lumo::net
{
namespace
{

constexpr int kRefusedLookMs = 100; // between two looks for refused connections

const sockaddr* raw(const Address& a)
{
    return reinterpret_cast<const sockaddr*>(a.bytes);
}

Address fromRaw(const void* p, int size)
{
    Address a;
    a.size = uint32_t(std::min<size_t>(size_t(size), sizeof a.bytes));
    std::memcpy(a.bytes, p, a.size);
    return a;
}

bool makeNonBlocking(SOCKET s)
{
    u_long one = 1;
    return ::ioctlsocket(s, FIONBIO, &one) == 0;
}

IoResult result(int n, bool stream)
{
    if (n > 0 || (n == 0 && !stream))
        return {Io::Done, size_t(n)};
    if (n == 0)
        return {Io::Closed, 0};
    const int error = ::WSAGetLastError();
    // A datagram socket reports that an earlier datagram found nobody: no reason to stop.
    if (error == WSAEWOULDBLOCK || (!stream && error == WSAECONNRESET))
        return {Io::WouldBlock, 0};
    return {Io::Failed, 0};
}

SOCKET os(intptr_t h)
{
    return SOCKET(h);
}

} // namespace

void initSockets()
{
    static const int done = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data);
    }();
    (void)done;
}

std::string Address::hostText() const
{
    char text[NI_MAXHOST] = "";
    ::getnameinfo(raw(*this), socklen_t(size), text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    return text;
}

uint16_t Address::port() const
{
    if (!valid())
        return 0;
    return raw(*this)->sa_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6*>(bytes)->sin6_port)
                                             : ntohs(reinterpret_cast<const sockaddr_in*>(bytes)->sin_port);
}

Address Address::withPort(uint16_t port) const
{
    Address a = *this;
    if (raw(a)->sa_family == AF_INET6)
        reinterpret_cast<sockaddr_in6*>(a.bytes)->sin6_port = htons(port);
    else
        reinterpret_cast<sockaddr_in*>(a.bytes)->sin_port = htons(port);
    return a;
}

bool Address::sameHost(const Address& other) const
{
    if (!valid() || !other.valid() || raw(*this)->sa_family != raw(other)->sa_family)
        return false;
    if (raw(*this)->sa_family == AF_INET6)
        return std::memcmp(&reinterpret_cast<const sockaddr_in6*>(bytes)->sin6_addr,
                           &reinterpret_cast<const sockaddr_in6*>(other.bytes)->sin6_addr, 16) == 0;
    return std::memcmp(&reinterpret_cast<const sockaddr_in*>(bytes)->sin_addr,
                       &reinterpret_cast<const sockaddr_in*>(other.bytes)->sin_addr, 4) == 0;
}

Address resolveAddress(const std::string& host, uint16_t port)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* list = nullptr;
    const std::string service = std::to_string(port);
    if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &list) != 0) {
        hints.ai_flags = 0;
        if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &list) != 0)
            return {};
    }
    const Address a = fromRaw(list->ai_addr, int(list->ai_addrlen));
    ::freeaddrinfo(list);
    return a;
}

std::vector<std::string> localAddresses()
{
    std::vector<std::string> found;
    ULONG size = 64 * 1024;
    std::vector<uint8_t> buffer(size);
    auto* list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
    if (::GetAdaptersAddresses(AF_INET, GAA_FLAG_SKIP_DNS_SERVER, nullptr, list, &size) != NO_ERROR)
        return found;
    for (const auto* adapter = list; adapter; adapter = adapter->Next)
        if (adapter->OperStatus == IfOperStatusUp)
            for (const auto* a = adapter->FirstUnicastAddress; a; a = a->Next)
                found.push_back(fromRaw(a->Address.lpSockaddr, a->Address.iSockaddrLength).hostText());
    return found;
}

Socket& Socket::operator=(Socket&& other) noexcept
{
    std::swap(m_handle, other.m_handle);
    return *this;
}

bool Socket::startConnect(const Address& to)
{
    close();
    if (!to.valid())
        return false;
    m_handle = intptr_t(::socket(raw(to)->sa_family, SOCK_STREAM, 0));
    if (m_handle == -1 || !makeNonBlocking(os(m_handle)))
        return false;
    const BOOL one = TRUE;
    ::setsockopt(os(m_handle), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&one), sizeof one);
    return ::connect(os(m_handle), raw(to), int(to.size)) == 0 || ::WSAGetLastError() == WSAEWOULDBLOCK;
}

bool Socket::connected()
{
    int error = 0;
    int size = sizeof error;
    return ::getsockopt(os(m_handle), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) == 0 &&
           error == 0 && peerAddress().valid();
}

bool Socket::listen(const Address& at)
{
    close();
    m_handle = intptr_t(::socket(raw(at)->sa_family, SOCK_STREAM, 0));
    return m_handle != -1 && makeNonBlocking(os(m_handle)) && ::bind(os(m_handle), raw(at), int(at.size)) == 0 &&
           ::listen(os(m_handle), 64) == 0;
}

Socket Socket::accept()
{
    const SOCKET s = ::accept(os(m_handle), nullptr, nullptr);
    if (s == INVALID_SOCKET)
        return {};
    makeNonBlocking(s);
    return Socket(intptr_t(s));
}

bool Socket::bindDatagram(const Address& at, size_t bufferBytes)
{
    close();
    m_handle = intptr_t(::socket(raw(at)->sa_family, SOCK_DGRAM, 0));
    if (m_handle == -1 || !makeNonBlocking(os(m_handle)))
        return false;
    if (bufferBytes > 0) {
        const int size = int(bufferBytes);
        ::setsockopt(os(m_handle), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&size), sizeof size);
    }
    return ::bind(os(m_handle), raw(at), int(at.size)) == 0;
}

bool Socket::setMulticastInterface(const std::string& localAddress)
{
    in_addr a{};
    return ::inet_pton(AF_INET, localAddress.c_str(), &a) == 1 &&
           ::setsockopt(os(m_handle), IPPROTO_IP, IP_MULTICAST_IF, reinterpret_cast<const char*>(&a), sizeof a) == 0;
}

IoResult Socket::receive(void* data, size_t size)
{
    return result(::recv(os(m_handle), static_cast<char*>(data), int(size), 0), true);
}

IoResult Socket::send(const void* data, size_t size)
{
    return result(::send(os(m_handle), static_cast<const char*>(data), int(size), 0), true);
}

IoResult Socket::receiveFrom(void* data, size_t size, Address& from)
{
    int length = sizeof from.bytes;
    const int n = ::recvfrom(os(m_handle), static_cast<char*>(data), int(size), 0,
                             reinterpret_cast<sockaddr*>(from.bytes), &length);
    from.size = uint32_t(length);
    return result(n, false);
}

IoResult Socket::sendTo(const void* data, size_t size, const Address& to)
{
    return result(::sendto(os(m_handle), static_cast<const char*>(data), int(size), 0, raw(to), int(to.size)), false);
}

Address Socket::localAddress() const
{
    sockaddr_storage s{};
    int size = sizeof s;
    return ::getsockname(os(m_handle), reinterpret_cast<sockaddr*>(&s), &size) == 0 ? fromRaw(&s, size) : Address{};
}

Address Socket::peerAddress() const
{
    sockaddr_storage s{};
    int size = sizeof s;
    return ::getpeername(os(m_handle), reinterpret_cast<sockaddr*>(&s), &size) == 0 ? fromRaw(&s, size) : Address{};
}

void Socket::close()
{
    if (m_handle != -1)
        ::closesocket(os(m_handle));
    m_handle = -1;
}

/// A datagram socket connected to itself: WSAPoll waits for sockets only.
struct Waker::Impl {
    Socket socket;
};

Waker::Waker() : m_impl(new Impl)
{
    initSockets();
    m_impl->socket.bindDatagram(resolveAddress("127.0.0.1", 0));
    const Address self = m_impl->socket.localAddress();
    ::connect(os(m_impl->socket.handle()), raw(self), int(self.size));
}

Waker::~Waker() = default;

void Waker::wake()
{
    m_impl->socket.send("w", 1);
}

void Waker::drain()
{
    char sink[64];
    Address from;
    while (m_impl->socket.receiveFrom(sink, sizeof sink, from).state == Io::Done) {
    }
}

intptr_t Waker::handle() const
{
    return m_impl->socket.handle();
}

struct PollSet::Impl {
    std::vector<WSAPOLLFD> items;
    std::vector<size_t> unused;

    bool anyConnects() const;
    bool markRefused();
};

/// Who waits for writing may wait for a connection.
bool PollSet::Impl::anyConnects() const
{
    return std::any_of(items.begin(), items.end(), [](const WSAPOLLFD& item) { return item.events & POLLWRNORM; });
}

/// Before its version 2004 Windows 10 tells WSAPoll nothing of a connection that was refused, but does tell select.
/// True when there is one.
bool PollSet::Impl::markRefused()
{
    bool any = false;
    for (WSAPOLLFD& item : items) {
        if (item.fd == INVALID_SOCKET || !(item.events & POLLWRNORM))
            continue;
        fd_set one;
        FD_ZERO(&one);
        FD_SET(item.fd, &one);
        timeval atOnce{};
        if (::select(0, nullptr, nullptr, &one, &atOnce) > 0) {
            item.revents |= POLLERR;
            any = true;
        }
    }
    return any;
}

PollSet::PollSet() : m_impl(new Impl) {}
PollSet::~PollSet() = default;

size_t PollSet::add(intptr_t handle, bool read, bool write)
{
    size_t slot = m_impl->items.size();
    if (m_impl->unused.empty()) {
        m_impl->items.push_back({});
    } else {
        slot = m_impl->unused.back();
        m_impl->unused.pop_back();
    }
    m_impl->items[slot] = {os(handle), 0, 0};
    set(slot, read, write);
    return slot;
}

void PollSet::set(size_t slot, bool read, bool write)
{
    m_impl->items[slot].events = short((read ? POLLRDNORM : 0) | (write ? POLLWRNORM : 0));
}

void PollSet::remove(size_t slot)
{
    m_impl->items[slot] = {INVALID_SOCKET, 0, 0};
    m_impl->unused.push_back(slot);
}

size_t PollSet::size() const
{
    return m_impl->items.size();
}

bool PollSet::wait(int timeoutMs)
{
    const auto poll = [this](int ms) { return ::WSAPoll(m_impl->items.data(), ULONG(m_impl->items.size()), ms) > 0; };
    if (!m_impl->anyConnects())
        return poll(timeoutMs);
    const ULONGLONG begin = ::GetTickCount64();
    for (;;) {
        const int left = timeoutMs < 0 ? kRefusedLookMs : std::max(0, timeoutMs - int(::GetTickCount64() - begin));
        const bool ready = poll(std::min(left, kRefusedLookMs));
        if (m_impl->markRefused() || ready)
            return true;
        if (left == 0)
            return false;
    }
}

bool PollSet::readable(size_t slot) const
{
    const auto& item = m_impl->items[slot];
    return item.fd != INVALID_SOCKET && (item.revents & (POLLRDNORM | POLLERR | POLLHUP | POLLNVAL)) != 0;
}

bool PollSet::writable(size_t slot) const
{
    const auto& item = m_impl->items[slot];
    return item.fd != INVALID_SOCKET && (item.revents & (POLLWRNORM | POLLERR | POLLHUP | POLLNVAL)) != 0;
}

} // namespace lumo::net
