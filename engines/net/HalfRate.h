// Halves the rate of sound, 16000 to 8000 Hz: a low pass, then every second sample. Keeps what it needs from call to
// call, so that blocks join without a seam. Thread: one at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumo::net
{

class HalfRate
{
public:
    HalfRate();
    /// A-law in, A-law appended; half as many, one more or less where the sizes are odd.
    void push(const uint8_t* codes, size_t size, std::vector<uint8_t>& out);

private:
    static constexpr size_t kTaps = 63; // 31 samples at 16000 Hz: a delay of 2 ms
    std::array<float, kTaps> m_weights{};
    std::array<float, kTaps> m_past{}; // a ring
    size_t m_at = 0;
    bool m_skip = false;
};

} // namespace lumo::net
