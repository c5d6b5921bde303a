// The bytes of an RTSP connection (RFC 2326): replies, requests of the server, and interleaved data between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumo::net
{

struct RtspMessage {
    int status = 0;     // of a reply; 0: a request of the server
    std::string method; // of a request
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    std::string header(std::string_view name) const; // the first of that name; empty when there is none
    std::vector<std::string> headersNamed(std::string_view name) const;
};

struct RtspItem {
    enum class Kind { NeedMore, Data, Message, Skipped, Bad } kind = Kind::NeedMore;
    size_t used = 0;               // bytes that the item took from the front
    uint8_t channel = 0;           // of Data
    const uint8_t* data = nullptr; // of Data; points into what was parsed
    size_t size = 0;
    RtspMessage message;
};

inline constexpr size_t kMaxRtspHeader = 16 * 1024;
inline constexpr size_t kMaxRtspBody = 256 * 1024;

/// The next item at the front of the bytes. Skipped: bytes that begin nothing; Bad: the peer is beyond understanding.
RtspItem nextRtspItem(const uint8_t* data, size_t size);

/// An rtsp:// address in parts. A user and a password in it are taken out of the text.
struct RtspUrl {
    std::string host;
    uint16_t port = 554;
    std::string user, password;
    std::string text; // as it stands in requests: no user, no options of ours
    bool udp = false; // ?transport=udp
    bool valid = false;
};

RtspUrl parseRtspUrl(std::string_view text);
/// The same address at another host, port and path kept.
std::string withHost(const std::string& url, const std::string& host);
/// A control attribute against its base (RFC 2326 C.1.1): absolute, "*", or relative.
std::string resolveControl(const std::string& base, const std::string& control);
/// "%20" and the like as characters.
std::string percentDecoded(std::string_view text);
/// An IPv6 address in brackets; others as they are.
std::string bracketed(const std::string& host);

} // namespace lumo::net
