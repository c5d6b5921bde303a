#include "OriginPolicy.h"

#include <algorithm>

namespace lumo::host
{

namespace
{

constexpr std::string_view kLoopbackNames[] = {"127.0.0.1", "localhost", "[::1]"};

std::string lowered(std::string_view text)
{
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return out;
}

bool isSchemeText(std::string_view text)
{
    return !text.empty() && text[0] >= 'a' && text[0] <= 'z' &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789+-.") == std::string_view::npos;
}

bool isHostText(std::string_view text)
{
    if (text.size() > 2 && text.front() == '[' && text.back() == ']')
        return text.substr(1, text.size() - 2).find_first_not_of("0123456789abcdef:.") == std::string_view::npos;
    return !text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-._") == std::string_view::npos;
}

/// The port's canonical digits; nothing when it is no number from 1 to 65535.
std::optional<std::string> normalPort(std::string_view text)
{
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    const int number = std::stoi(std::string(text));
    if (number < 1 || number > 65535)
        return std::nullopt;
    return std::to_string(number);
}

} // namespace

std::optional<std::string> normalOrigin(std::string_view text)
{
    std::string origin = lowered(text);
    if (!origin.empty() && origin.back() == '/')
        origin.pop_back();
    const size_t mark = origin.find("://");
    if (mark == std::string::npos)
        return std::nullopt;
    const std::string scheme = origin.substr(0, mark);
    const std::string_view authority = std::string_view(origin).substr(mark + 3);

    const size_t bracket = authority.rfind(']');
    const size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    const std::string_view name = authority.substr(0, colon);
    if (!isSchemeText(scheme) || !isHostText(name))
        return std::nullopt;

    std::string normal = scheme + "://" + std::string(name);
    if (colon == std::string_view::npos)
        return normal;
    const std::optional<std::string> port = normalPort(authority.substr(colon + 1));
    if (!port)
        return std::nullopt;
    const bool isDefault = (scheme == "http" && *port == "80") || (scheme == "https" && *port == "443");
    return isDefault ? normal : normal + ":" + *port;
}

OriginPolicy::OriginPolicy(uint16_t port, const std::vector<std::string>& extraOrigins)
{
    for (const std::string_view name : kLoopbackNames) {
        const std::string withPort = std::string(name) + ":" + std::to_string(port);
        hosts_.insert(withPort);
        if (port == 80)
            hosts_.insert(std::string(name));
        origins_.insert(*normalOrigin("http://" + withPort));
    }
    for (const std::string& extra : extraOrigins)
        if (const std::optional<std::string> origin = normalOrigin(extra))
            origins_.insert(*origin);
}

bool OriginPolicy::hostAllowed(std::string_view hostHeader) const
{
    return hosts_.count(lowered(hostHeader)) != 0;
}

bool OriginPolicy::originAllowed(std::string_view originHeader) const
{
    // A browser never writes the slash that normalOrigin tolerates, so it is no origin here.
    if (originHeader.empty() || originHeader.back() == '/')
        return false;
    const std::optional<std::string> origin = normalOrigin(originHeader);
    return origin && origins_.count(*origin) != 0;
}

} // namespace lumo::host
