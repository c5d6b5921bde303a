#include "UrlText.h"

#include <algorithm>
#include <iterator>

namespace lumo::host
{

namespace
{

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

/// Bytes of a sequence of more than one: how its first byte begins, how many follow, and what the second may be.
struct SequenceForm {
    unsigned char firstLow, firstHigh;
    size_t following;
    unsigned char secondLow, secondHigh;
};

constexpr SequenceForm kSequences[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F},
    {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

/// The length of the well-formed character that text begins with; 0 when it begins with none.
size_t characterLength(std::string_view text)
{
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80)
        return 1;
    const auto* const form = std::find_if(std::begin(kSequences), std::end(kSequences), [&](const SequenceForm& row) {
        return byte(0) >= row.firstLow && byte(0) <= row.firstHigh;
    });
    if (form == std::end(kSequences) || text.size() <= form->following || byte(1) < form->secondLow ||
        byte(1) > form->secondHigh)
        return 0;
    for (size_t i = 2; i <= form->following; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    return form->following + 1;
}

} // namespace

bool isUtf8(std::string_view bytes)
{
    while (!bytes.empty()) {
        const size_t length = characterLength(bytes);
        if (length == 0)
            return false;
        bytes.remove_prefix(length);
    }
    return true;
}

std::optional<std::string> percentDecode(std::string_view text, bool plusIsBlank)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size())
                return std::nullopt;
            const int high = hexDigit(text[i + 1]);
            const int low = hexDigit(text[i + 2]);
            if (high < 0 || low < 0)
                return std::nullopt;
            out.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            out.push_back(plusIsBlank && text[i] == '+' ? ' ' : text[i]);
        }
    }
    return out;
}

std::string_view targetPath(std::string_view target)
{
    return target.substr(0, target.find_first_of("?#"));
}

std::string queryValue(std::string_view target, std::string_view key)
{
    const size_t mark = target.find('?');
    if (mark == std::string_view::npos)
        return {};
    std::string_view query = target.substr(mark + 1);
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        const size_t equals = pair.find('=');
        if (equals != std::string_view::npos && percentDecode(pair.substr(0, equals), true) == std::string(key))
            return percentDecode(pair.substr(equals + 1), true).value_or(std::string());
        query.remove_prefix(std::min(query.size(), pair.size() + 1));
    }
    return {};
}

} // namespace lumo::host
