#include "HalfRate.h"

#include "G711.h"

#include <cmath>
#include <numbers>

namespace lumo::net
{
namespace
{

constexpr double kPassHz = 3700, kRateHz = 16000; // speech ends at 3400 Hz, and above 4000 nothing may be left

} // namespace

/// A sinc under a Hamming window.
HalfRate::HalfRate()
{
    const double middle = double(kTaps - 1) / 2, turn = 2 * std::numbers::pi * kPassHz / kRateHz;
    double sum = 0;
    std::array<double, kTaps> weights{};
    for (size_t i = 0; i < kTaps; ++i) {
        const double x = double(i) - middle;
        const double sinc = x == 0 ? turn : std::sin(turn * x) / x;
        weights[i] = sinc * (0.54 - 0.46 * std::cos(2 * std::numbers::pi * double(i) / double(kTaps - 1)));
        sum += weights[i];
    }
    for (size_t i = 0; i < kTaps; ++i)
        m_weights[i] = float(weights[i] / sum);
}

void HalfRate::push(const uint8_t* codes, size_t size, std::vector<uint8_t>& out)
{
    for (size_t n = 0; n < size; ++n) {
        m_past[m_at] = float(linearOfALaw(codes[n]));
        m_at = (m_at + 1) % kTaps;
        m_skip = !m_skip;
        if (m_skip)
            continue;
        float sample = 0;
        for (size_t i = 0; i < kTaps; ++i)
            sample += m_weights[i] * m_past[(m_at + i) % kTaps];
        out.push_back(aLawOfLinear(int(std::lround(sample))));
    }
}

} // namespace lumo::net
