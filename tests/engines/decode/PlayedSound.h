// What was heard: SDL's disk driver stands for the sound card and writes each block when it would be played.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace played
{

inline constexpr int kRate = 48000; // of the device, two channels

/// The left channel of what was played.
std::vector<double> left(const std::string& file);
/// The part of it between the first and the last sample that is heard.
std::vector<double> heard(const std::string& file);
/// How long the device has run.
size_t ms(const std::string& file);
/// How much of the power lies at this pitch, 0 to 1 (Goertzel).
double share(const std::vector<double>& samples, double hz, int rate = kRate);

} // namespace played
