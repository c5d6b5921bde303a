// Tones for tests of talk, and what is left of them at the other end. A-law throughout.
#pragma once

#include "Bytes.h"

#include "G711.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace lumo::net::test
{

inline constexpr double kToneLevel = 8000; // of 32767

/// count samples from the from-th on.
inline Bytes tone(double hz, int rate, size_t count, size_t from = 0)
{
    Bytes out;
    for (size_t i = from; i < from + count; ++i)
        out.push_back(
            aLawOfLinear(int(std::lround(kToneLevel * std::sin(2 * std::numbers::pi * hz * double(i) / rate)))));
    return out;
}

/// By the crossings of zero, between samples; 0 for silence.
inline double hertzOf(const Bytes& codes, int rate)
{
    double first = -1, last = -1;
    int turns = -1;
    for (size_t i = 1; i < codes.size(); ++i) {
        const double a = linearOfALaw(codes[i - 1]), b = linearOfALaw(codes[i]);
        if (a >= 0 || b < 0 || b - a < 100)
            continue;
        last = double(i - 1) + a / (a - b);
        first = first < 0 ? last : first;
        ++turns;
    }
    return turns < 1 ? 0 : turns * rate / (last - first);
}

/// Root of the mean square.
inline double levelOf(const Bytes& codes)
{
    double sum = 0;
    for (const uint8_t c : codes)
        sum += std::pow(linearOfALaw(c), 2);
    return codes.empty() ? 0 : std::sqrt(sum / double(codes.size()));
}

/// One talk frame.
inline Bytes talkFrame(const Bytes& codes, int rate = 8000)
{
    Bytes out = {0, 0, 1, 0xFA, 14, uint8_t(rate == 16000 ? 4 : 2), uint8_t(codes.size()), uint8_t(codes.size() >> 8)};
    out.insert(out.end(), codes.begin(), codes.end());
    return out;
}

} // namespace lumo::net::test
