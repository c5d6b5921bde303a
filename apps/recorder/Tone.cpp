#include "Tone.h"

#include <cmath>

namespace lumo::recorder
{

uint8_t toALaw(int sample)
{
    const int sign = sample >= 0 ? 0x80 : 0;
    int magnitude = (sample >= 0 ? sample : -sample - 1) >> 3; // 13 bits: sign apart, 12 remain
    magnitude = magnitude > 4095 ? 4095 : magnitude;
    int segment = 0;
    while (segment < 7 && magnitude >> (segment + 5) != 0) {
        ++segment;
    }
    const int step = magnitude >> (segment > 1 ? segment : 1) & 0x0F;
    return static_cast<uint8_t>((sign | segment << 4 | step) ^ 0x55);
}

std::vector<uint8_t> Tone::next(int frame, double fps)
{
    m_owed += kRate / fps;
    const auto count = static_cast<size_t>(m_owed);
    m_owed -= static_cast<double>(count);
    const bool sounding = std::fmod(frame / fps, 1.0) < 0.5;
    std::vector<uint8_t> samples(count);
    for (auto& sample : samples) {
        const double turn = 6.283185307179586 * 440.0 * static_cast<double>(m_sample++) / kRate;
        sample = toALaw(sounding ? static_cast<int>(12000 * std::sin(turn)) : 0);
    }
    return samples;
}

} // namespace lumo::recorder
