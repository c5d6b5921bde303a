#include "UrlText.h"

#include <QTextCodec>

#include <algorithm>

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

} // namespace

bool isUtf8(std::string_view bytes)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.data(), static_cast<int>(bytes.size()), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
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
