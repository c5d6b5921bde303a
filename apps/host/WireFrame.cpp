#include "WireFrame.h"

#include <charconv>
#include <cstdint>
#include <cstdio>

namespace lumo::host
{

namespace
{

constexpr size_t kHeaderSize = 8;

} // namespace

std::string wireFrame(std::string_view body)
{
    char header[kHeaderSize + 1];
    std::snprintf(header, sizeof header, "%08x", static_cast<unsigned>(body.size()));
    std::string frame(header, kHeaderSize);
    frame.append(body);
    return frame;
}

void WireFrameReader::append(const char* bytes, size_t count)
{
    if (damaged_)
        return;
    buffer_.erase(0, consumed_);
    consumed_ = 0;
    buffer_.append(bytes, count);
}

std::optional<std::string> WireFrameReader::next()
{
    if (damaged_ || buffer_.size() - consumed_ < kHeaderSize)
        return std::nullopt;
    const char* const header = buffer_.data() + consumed_;
    uint32_t size = 0;
    const auto [end, error] = std::from_chars(header, header + kHeaderSize, size, 16);
    if (error != std::errc() || end != header + kHeaderSize || size > maxBody_) {
        damaged_ = true;
        buffer_.clear();
        consumed_ = 0;
        return std::nullopt;
    }
    if (buffer_.size() - consumed_ - kHeaderSize < size)
        return std::nullopt;
    std::string body = buffer_.substr(consumed_ + kHeaderSize, size);
    consumed_ += kHeaderSize + size;
    return body;
}

} // namespace lumo::host
