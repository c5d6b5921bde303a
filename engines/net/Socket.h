// Non-blocking sockets and waiting for them: all that LumoNet needs of the operating system. One file per platform
// (Socket_posix.cpp, Socket_win32.cpp) implements it; no other file of this folder knows a system call.
// Thread: a Socket and a PollSet belong to one thread at a time; Waker::wake may be called from any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumo::net
{

/// Once per process, before any other call here. May be repeated.
void initSockets();

/// A resolved socket address, opaque.
struct Address {
    alignas(8) uint8_t bytes[128] = {};
    uint32_t size = 0; // 0: none

    bool valid() const { return size != 0; }
    std::string hostText() const; // numeric
    uint16_t port() const;
    Address withPort(uint16_t port) const;
    bool sameHost(const Address& other) const;
};

/// Numeric addresses at once; names through the system's resolver, which may take seconds.
Address resolveAddress(const std::string& host, uint16_t port);
/// The IPv4 addresses of this machine's interfaces that are up, loopback included.
std::vector<std::string> localAddresses();

enum class Io { Done, WouldBlock, Closed, Failed };
struct IoResult {
    Io state = Io::Failed;
    size_t size = 0; // bytes, when Done
};

class Socket
{
public:
    Socket() = default;
    ~Socket() { close(); }
    Socket(Socket&& other) noexcept : m_handle(other.m_handle) { other.m_handle = -1; }
    Socket& operator=(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// Begins a connection, without small-packet delay; writable means it came to an end: see connected().
    bool startConnect(const Address& to);
    /// After writable: true when the connection stands.
    bool connected();
    /// Listens on the address (port 0: any free one).
    bool listen(const Address& at);
    Socket accept();
    /// Binds for datagrams (port 0: any free one), with a large receive buffer where bufferBytes is not 0.
    bool bindDatagram(const Address& at, size_t bufferBytes = 0);
    /// Chooses the interface for multicasts, by its IPv4 address.
    bool setMulticastInterface(const std::string& localAddress);

    IoResult receive(void* data, size_t size);
    IoResult send(const void* data, size_t size);
    IoResult receiveFrom(void* data, size_t size, Address& from);
    IoResult sendTo(const void* data, size_t size, const Address& to);

    Address localAddress() const;
    Address peerAddress() const;
    bool open() const { return m_handle != -1; }
    intptr_t handle() const { return m_handle; }
    void close();

private:
    explicit Socket(intptr_t handle) : m_handle(handle) {}
    intptr_t m_handle = -1;
};

/// Ends a PollSet's wait from another thread.
class Waker
{
public:
    Waker();
    ~Waker();
    void wake();  // any thread
    void drain(); // the waiting thread
    intptr_t handle() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The sockets a thread waits for. Slots are numbered from 0; removing one leaves the numbers of the others alone.
class PollSet
{
public:
    PollSet();
    ~PollSet();
    size_t add(intptr_t handle, bool read, bool write);
    void set(size_t slot, bool read, bool write);
    void remove(size_t slot);
    size_t size() const;
    /// Waits at most timeoutMs (below 0: for ever). False when nothing is ready.
    bool wait(int timeoutMs);
    bool readable(size_t slot) const; // also when the peer is gone or the socket failed
    bool writable(size_t slot) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lumo::net
