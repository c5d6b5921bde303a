// Small helpers for protocol text: trimming, comparing without case, numbers that cannot overflow.
#pragma once

#include <cctype>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net
{

inline std::string_view trim(std::string_view s)
{
    while (!s.empty() && std::isspace(uint8_t(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(uint8_t(s.back())))
        s.remove_suffix(1);
    return s;
}

inline std::string lower(std::string_view s)
{
    std::string out(s);
    for (char& c : out)
        c = char(std::tolower(uint8_t(c)));
    return out;
}

inline bool sameText(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(uint8_t(a[i])) != std::tolower(uint8_t(b[i])))
            return false;
    return true;
}

/// The number at the beginning of s, or otherwise when there is none or it does not fit.
inline int64_t toNumber(std::string_view s, int64_t otherwise)
{
    s = trim(s);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    return error == std::errc() && end != s.data() ? value : otherwise;
}

inline std::vector<std::string_view> split(std::string_view s, char by)
{
    std::vector<std::string_view> parts;
    while (true) {
        const size_t at = s.find(by);
        parts.push_back(s.substr(0, at));
        if (at == std::string_view::npos)
            return parts;
        s.remove_prefix(at + 1);
    }
}

/// The part before the first `by`; s is left with what follows it.
inline std::string_view takeUntil(std::string_view& s, char by)
{
    const size_t at = s.find(by);
    const std::string_view head = s.substr(0, at);
    s = at == std::string_view::npos ? std::string_view() : s.substr(at + 1);
    return head;
}

} // namespace lumo::net
