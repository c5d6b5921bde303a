#include "PlayedSound.h"

#include "Player.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace played
{

std::vector<double> left(const std::string& file)
{
    const clip::Bytes raw = readFile(file);
    std::vector<double> samples;
    for (size_t i = 0; i + 4 <= raw.size(); i += 4)
        samples.push_back(int16_t(raw[i] | raw[i + 1] << 8));
    return samples;
}

std::vector<double> heard(const std::string& file)
{
    auto samples = left(file);
    const auto loud = [](double s) { return std::abs(s) > 300; };
    const auto first = std::find_if(samples.begin(), samples.end(), loud);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), loud).base();
    return first < last ? std::vector<double>(first, last) : std::vector<double>();
}

size_t ms(const std::string& file)
{
    std::error_code none;
    const auto size = std::filesystem::file_size(file, none);
    return none ? 0 : size_t(size) / 4 / (kRate / 1000);
}

double share(const std::vector<double>& samples, double hz, int rate)
{
    double re = 0, im = 0, power = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double angle = 2 * std::numbers::pi * hz * double(i) / rate;
        re += samples[i] * std::cos(angle);
        im += samples[i] * std::sin(angle);
        power += samples[i] * samples[i];
    }
    return power > 0 ? 2 * (re * re + im * im) / (power * double(samples.size())) : 0;
}

} // namespace played
