// Percent-decoding of request targets. Pure functions, any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumo::host
{

/// The bytes that percent-encoded text stands for; nothing when an escape is broken.
/// plusIsBlank: as in a query, where forms write a blank as '+'.
std::optional<std::string> percentDecode(std::string_view text, bool plusIsBlank);

/// Whether the bytes are well-formed UTF-8 (RFC 3629): nothing overlong, no halves of surrogate pairs, none above
/// U+10FFFF.
bool isUtf8(std::string_view bytes);

/// The part of a request target before the '?'.
std::string_view targetPath(std::string_view target);

/// The decoded value of one query key of a request target; empty when it is absent or broken.
std::string queryValue(std::string_view target, std::string_view key);

} // namespace lumo::host
