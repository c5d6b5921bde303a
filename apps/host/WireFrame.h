// Frames of the local socket: 8 hexadecimal digits with the body's size in bytes, then the body (UTF-8).
// Pure values; a reader belongs to one stream and one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace lumo::host
{

/// The frame that carries a body: lower-case digits, zero-filled.
std::string wireFrame(std::string_view body);

/// Cuts a byte stream into bodies, however the bytes were split on their way.
class WireFrameReader
{
public:
    explicit WireFrameReader(size_t maxBody) : maxBody_(maxBody) {}

    void append(const char* bytes, size_t count);

    /// The next whole body; nothing when more bytes are needed or the stream is damaged.
    std::optional<std::string> next();

    /// True after a header that is no hexadecimal number, or a body above the limit; nothing can follow it.
    bool damaged() const { return damaged_; }

private:
    std::string buffer_;
    size_t consumed_ = 0; // bytes at the head of buffer_ that were handed out
    size_t maxBody_;
    bool damaged_ = false;
};

} // namespace lumo::host
