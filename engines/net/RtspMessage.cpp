#include "RtspMessage.h"

#include "Text.h"

#include <algorithm>
#include <cstring>

namespace lumo::net
{
namespace
{

/// Begins like "RTSP/1.0 200" or like the name of a request, as far as there are bytes.
bool looksLikeMessage(const uint8_t* p, size_t size)
{
    for (size_t i = 0; i < std::min<size_t>(size, 4); ++i)
        if (!std::isupper(p[i]) && !(i == 3 && p[i] == '_'))
            return false;
    return size > 0;
}

size_t bytesToSkip(const uint8_t* p, size_t size)
{
    size_t at = 1;
    while (at < size && p[at] != '$' && !looksLikeMessage(p + at, size - at))
        ++at;
    return at;
}

size_t headerEnd(const uint8_t* p, size_t size)
{
    static const char end[] = "\r\n\r\n";
    const auto* stop = p + size;
    const auto* found = std::search(p, stop, end, end + 4);
    return found == stop ? 0 : size_t(found - p) + 4;
}

bool parseStartLine(std::string_view line, RtspMessage& m)
{
    if (line.starts_with("RTSP/")) {
        takeUntil(line, ' ');
        m.status = int(toNumber(line, 0));
        return m.status >= 100 && m.status <= 599;
    }
    m.method = std::string(takeUntil(line, ' '));
    return line.find("RTSP/") != std::string_view::npos;
}

} // namespace

std::string RtspMessage::header(std::string_view name) const
{
    for (const auto& [key, value] : headers)
        if (sameText(key, name))
            return value;
    return {};
}

std::vector<std::string> RtspMessage::headersNamed(std::string_view name) const
{
    std::vector<std::string> found;
    for (const auto& [key, value] : headers)
        if (sameText(key, name))
            found.push_back(value);
    return found;
}

RtspItem nextRtspItem(const uint8_t* p, size_t size)
{
    RtspItem item;
    if (size == 0)
        return item;
    if (p[0] == '$') {
        if (size < 4)
            return item;
        const size_t length = size_t(p[2]) << 8 | p[3];
        if (size < 4 + length)
            return item;
        item.kind = RtspItem::Kind::Data;
        item.channel = p[1];
        item.data = p + 4;
        item.size = length;
        item.used = 4 + length;
        return item;
    }
    if (!looksLikeMessage(p, size)) {
        item.kind = RtspItem::Kind::Skipped;
        item.used = bytesToSkip(p, size);
        return item;
    }
    const size_t head = headerEnd(p, std::min(size, kMaxRtspHeader));
    if (head == 0) {
        if (size >= kMaxRtspHeader)
            item.kind = RtspItem::Kind::Bad;
        return item;
    }
    std::string_view text(reinterpret_cast<const char*>(p), head);
    if (!parseStartLine(trim(takeUntil(text, '\n')), item.message)) {
        item.kind = RtspItem::Kind::Bad;
        return item;
    }
    while (!text.empty()) {
        std::string_view line = trim(takeUntil(text, '\n'));
        if (line.empty())
            continue;
        const std::string key(trim(takeUntil(line, ':')));
        item.message.headers.emplace_back(key, std::string(trim(line)));
    }
    const int64_t length = toNumber(item.message.header("Content-Length"), 0);
    if (length < 0 || size_t(length) > kMaxRtspBody) {
        item.kind = RtspItem::Kind::Bad;
        return item;
    }
    if (size < head + size_t(length))
        return item;
    item.message.body.assign(reinterpret_cast<const char*>(p) + head, size_t(length));
    item.kind = RtspItem::Kind::Message;
    item.used = head + size_t(length);
    return item;
}

std::string bracketed(const std::string& host)
{
    return host.find(':') != std::string::npos && !host.starts_with('[') ? "[" + host + "]" : host;
}

namespace
{

std::string withoutTransport(std::string_view rest, bool& udp)
{
    const size_t mark = rest.find('?');
    if (mark == std::string_view::npos)
        return std::string(rest);
    std::string kept;
    for (const auto part : split(rest.substr(mark + 1), '&')) {
        if (sameText(part, "transport=udp")) {
            udp = true;
        } else if (!sameText(part, "transport=tcp")) {
            kept += (kept.empty() ? "?" : "&") + std::string(part);
        }
    }
    return std::string(rest.substr(0, mark)) + kept;
}

} // namespace

std::string percentDecoded(std::string_view s)
{
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        unsigned value = 0;
        if (s[i] == '%' && i + 2 < s.size() &&
            std::from_chars(s.data() + i + 1, s.data() + i + 3, value, 16).ptr == s.data() + i + 3) {
            out += char(value);
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

RtspUrl parseRtspUrl(std::string_view text)
{
    RtspUrl url;
    text = trim(text);
    if (text.size() < 8 || !sameText(text.substr(0, 7), "rtsp://"))
        return url;
    text.remove_prefix(7);
    const size_t slash = text.find_first_of("/?");
    std::string_view authority = text.substr(0, slash);
    const std::string path =
        slash == std::string_view::npos ? std::string() : withoutTransport(text.substr(slash), url.udp);
    if (const size_t at = authority.rfind('@'); at != std::string_view::npos) {
        std::string_view who = authority.substr(0, at);
        url.user = percentDecoded(takeUntil(who, ':'));
        url.password = percentDecoded(who);
        authority.remove_prefix(at + 1);
    }
    std::string_view port;
    if (authority.starts_with('[')) {
        const size_t end = authority.find(']');
        if (end == std::string_view::npos)
            return url;
        url.host = std::string(authority.substr(1, end - 1));
        port = authority.substr(end + 1);
        if (port.starts_with(':'))
            port.remove_prefix(1);
    } else {
        url.host = std::string(takeUntil(authority, ':'));
        port = authority;
    }
    const int64_t number = port.empty() ? 554 : toNumber(port, 0);
    if (url.host.empty() || number < 1 || number > 65535)
        return url;
    url.port = uint16_t(number);
    url.text = "rtsp://" + bracketed(url.host) + ":" + std::to_string(url.port) + path;
    // No line break may reach a request.
    url.valid = std::none_of(url.text.begin(), url.text.end(), [](char c) { return uint8_t(c) <= ' '; });
    return url;
}

std::string withHost(const std::string& text, const std::string& host)
{
    const size_t begin = text.find("://");
    if (begin == std::string::npos)
        return text;
    const size_t path = std::min(text.find_first_of("/?", begin + 3), text.size());
    std::string authority = text.substr(begin + 3, path - begin - 3);
    if (const size_t at = authority.rfind('@'); at != std::string::npos)
        authority.erase(0, at + 1);
    const size_t bracket = authority.find(']');
    const size_t colon = authority.find(':', bracket == std::string::npos ? 0 : bracket);
    const std::string port = colon == std::string::npos ? std::string() : authority.substr(colon);
    return text.substr(0, begin + 3) + bracketed(host) + port + text.substr(path);
}

std::string resolveControl(const std::string& base, const std::string& control)
{
    if (control.empty() || control == "*")
        return base;
    if (control.find("://") != std::string::npos)
        return control;
    if (control.starts_with('/')) {
        const size_t begin = base.find("://");
        const size_t path = begin == std::string::npos ? std::string::npos : base.find('/', begin + 3);
        return base.substr(0, path) + control;
    }
    return base.ends_with('/') ? base + control : base + "/" + control;
}

} // namespace lumo::net
