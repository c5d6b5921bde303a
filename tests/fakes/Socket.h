// A blocking loopback connection; one implementation file per platform.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fakes
{

using SocketHandle = intptr_t;
inline constexpr SocketHandle kNoSocket = -1;

/// Connects to 127.0.0.1; kNoSocket on failure.
SocketHandle connectLoopback(uint16_t port);
/// Sends all; false when the peer is gone.
bool sendAll(SocketHandle socket, const char* data, size_t size);
/// Bytes received; 0 or less when the peer is gone.
long receiveSome(SocketHandle socket, char* data, size_t size);

} // namespace fakes
