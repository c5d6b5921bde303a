// The sound of channel 0: G.711 A-law at 8000 Hz, a tone of 440 Hz in the first half of each second of the
// loop and silence in the second half, so that what is heard can be told from what is merely loud.
#pragma once

#include <cstdint>
#include <vector>

namespace lumo::recorder
{

/// One sample of 16 bits in A-law (ITU-T G.711).
uint8_t toALaw(int sample);

class Tone
{
public:
    static constexpr int kRate = 8000; // samples a second, a byte each

    /// The samples that go with one picture of the loop.
    std::vector<uint8_t> next(int frame, double fps);

private:
    double m_owed = 0.0; // fraction of a sample carried over
    uint64_t m_sample = 0;
};

} // namespace lumo::recorder
