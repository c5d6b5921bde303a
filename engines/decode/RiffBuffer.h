// Bytes of RIFF chunks, low byte first; the size of an open chunk or list is filled in when it closes.
// Thread: one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace lumo
{

class RiffBuffer
{
public:
    void tag(const char* four) { m_bytes.insert(m_bytes.end(), four, four + 4); }
    void u16(uint32_t v) { put(v, 2); }
    void u32(uint32_t v) { put(v, 4); }
    void bytes(const uint8_t* data, size_t size) { m_bytes.insert(m_bytes.end(), data, data + size); }
    size_t open(const char* four)
    {
        tag(four);
        u32(0);
        return m_bytes.size();
    }
    void close(size_t at)
    {
        const auto size = uint32_t(m_bytes.size() - at);
        for (int i = 0; i < 4; ++i)
            m_bytes[at - 4 + size_t(i)] = uint8_t(size >> (8 * i));
        if (size & 1)
            m_bytes.push_back(0);
    }
    size_t size() const { return m_bytes.size(); }
    std::vector<uint8_t> take() { return std::move(m_bytes); }

private:
    void put(uint32_t v, int count)
    {
        for (int i = 0; i < count; ++i)
            m_bytes.push_back(uint8_t(v >> (8 * i)));
    }
    std::vector<uint8_t> m_bytes;
};

} // namespace lumo
