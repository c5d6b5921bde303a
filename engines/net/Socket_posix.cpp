#include "Socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumo::net
{
namespace
{

const sockaddr* raw(const Address& a)
{
    return reinterpret_cast<const sockaddr*>(a.bytes);
}

Address fromRaw(const void* p, socklen_t size)
{
    Address a;
    a.size = uint32_t(std::min<size_t>(size, sizeof a.bytes));
    std::memcpy(a.bytes, p, a.size);
    return a;
}

bool makeNonBlocking(int fd)
{
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    return ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL, 0) | O_NONBLOCK) == 0;
}

IoResult result(ssize_t n, bool stream)
{
    if (n > 0 || (n == 0 && !stream))
        return {Io::Done, size_t(n)};
    if (n == 0)
        return {Io::Closed, 0};
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
        return {Io::WouldBlock, 0};
    return {Io::Failed, 0};
}

} // namespace

void initSockets() {}

std::string Address::hostText() const
{
    char text[NI_MAXHOST] = "";
    ::getnameinfo(raw(*this), size, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
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
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const std::string service = std::to_string(port);
    if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &list) != 0) {
        hints.ai_flags = AI_NUMERICSERV;
        if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &list) != 0)
            return {};
    }
    const Address a = fromRaw(list->ai_addr, list->ai_addrlen);
    ::freeaddrinfo(list);
    return a;
}

std::vector<std::string> localAddresses()
{
    std::vector<std::string> found;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return found;
    for (const ifaddrs* i = list; i; i = i->ifa_next)
        if (i->ifa_addr && i->ifa_addr->sa_family == AF_INET && (i->ifa_flags & IFF_UP))
            found.push_back(fromRaw(i->ifa_addr, sizeof(sockaddr_in)).hostText());
    ::freeifaddrs(list);
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
    m_handle = ::socket(raw(to)->sa_family, SOCK_STREAM, 0);
    if (m_handle < 0 || !makeNonBlocking(int(m_handle)))
        return false;
    const int one = 1;
    ::setsockopt(int(m_handle), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return ::connect(int(m_handle), raw(to), to.size) == 0 || errno == EINPROGRESS;
}

bool Socket::connected()
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(int(m_handle), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0 && peerAddress().valid();
}

bool Socket::listen(const Address& at)
{
    close();
    m_handle = ::socket(raw(at)->sa_family, SOCK_STREAM, 0);
    const int one = 1;
    ::setsockopt(int(m_handle), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    return m_handle >= 0 && makeNonBlocking(int(m_handle)) && ::bind(int(m_handle), raw(at), at.size) == 0 &&
           ::listen(int(m_handle), 64) == 0;
}

Socket Socket::accept()
{
    const int fd = ::accept(int(m_handle), nullptr, nullptr);
    if (fd < 0)
        return {};
    makeNonBlocking(fd);
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return Socket(fd);
}

bool Socket::bindDatagram(const Address& at, size_t bufferBytes)
{
    close();
    m_handle = ::socket(raw(at)->sa_family, SOCK_DGRAM, 0);
    if (m_handle < 0 || !makeNonBlocking(int(m_handle)))
        return false;
    if (bufferBytes > 0) {
        const int size = int(bufferBytes);
        ::setsockopt(int(m_handle), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    }
    return ::bind(int(m_handle), raw(at), at.size) == 0;
}

bool Socket::setMulticastInterface(const std::string& localAddress)
{
    in_addr a{};
    return ::inet_pton(AF_INET, localAddress.c_str(), &a) == 1 &&
           ::setsockopt(int(m_handle), IPPROTO_IP, IP_MULTICAST_IF, &a, sizeof a) == 0;
}

IoResult Socket::receive(void* data, size_t size)
{
    return result(::recv(int(m_handle), data, size, 0), true);
}

IoResult Socket::send(const void* data, size_t size)
{
    return result(::send(int(m_handle), data, size, MSG_NOSIGNAL), true);
}

IoResult Socket::receiveFrom(void* data, size_t size, Address& from)
{
    socklen_t length = sizeof from.bytes;
    const ssize_t n = ::recvfrom(int(m_handle), data, size, 0, reinterpret_cast<sockaddr*>(from.bytes), &length);
    from.size = length;
    return result(n, false);
}

IoResult Socket::sendTo(const void* data, size_t size, const Address& to)
{
    return result(::sendto(int(m_handle), data, size, MSG_NOSIGNAL, raw(to), to.size), false);
}

Address Socket::localAddress() const
{
    sockaddr_storage s{};
    socklen_t size = sizeof s;
    return ::getsockname(int(m_handle), reinterpret_cast<sockaddr*>(&s), &size) == 0 ? fromRaw(&s, size) : Address{};
}

Address Socket::peerAddress() const
{
    sockaddr_storage s{};
    socklen_t size = sizeof s;
    return ::getpeername(int(m_handle), reinterpret_cast<sockaddr*>(&s), &size) == 0 ? fromRaw(&s, size) : Address{};
}

void Socket::close()
{
    if (m_handle >= 0)
        ::close(int(m_handle));
    m_handle = -1;
}

struct Waker::Impl {
    int ends[2] = {-1, -1};
};

Waker::Waker() : m_impl(new Impl)
{
    if (::pipe(m_impl->ends) == 0) {
        makeNonBlocking(m_impl->ends[0]);
        makeNonBlocking(m_impl->ends[1]);
    }
}

Waker::~Waker()
{
    ::close(m_impl->ends[0]);
    ::close(m_impl->ends[1]);
}

void Waker::wake()
{
    // A full pipe means that a wake is under way already.
    [[maybe_unused]] const ssize_t n = ::write(m_impl->ends[1], "w", 1);
}

void Waker::drain()
{
    char sink[64];
    while (::read(m_impl->ends[0], sink, sizeof sink) == ssize_t(sizeof sink)) {
    }
}

intptr_t Waker::handle() const
{
    return m_impl->ends[0];
}

struct PollSet::Impl {
    std::vector<pollfd> items;
    std::vector<size_t> unused;
};

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
    m_impl->items[slot] = {int(handle), 0, 0};
    set(slot, read, write);
    return slot;
}

void PollSet::set(size_t slot, bool read, bool write)
{
    m_impl->items[slot].events = short((read ? POLLIN : 0) | (write ? POLLOUT : 0));
}

void PollSet::remove(size_t slot)
{
    m_impl->items[slot] = {-1, 0, 0};
    m_impl->unused.push_back(slot);
}

size_t PollSet::size() const
{
    return m_impl->items.size();
}

bool PollSet::wait(int timeoutMs)
{
    return ::poll(m_impl->items.data(), m_impl->items.size(), timeoutMs) > 0;
}

bool PollSet::readable(size_t slot) const
{
    return (m_impl->items[slot].revents & (POLLIN | POLLERR | POLLHUP | POLLNVAL)) != 0;
}

bool PollSet::writable(size_t slot) const
{
    return (m_impl->items[slot].revents & (POLLOUT | POLLERR | POLLHUP | POLLNVAL)) != 0;
}

} // namespace lumo::net
