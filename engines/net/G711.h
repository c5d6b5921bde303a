// ITU-T G.711: samples of 16 bits and their codes.
#pragma once

#include <cstdint>

namespace lumo::net
{

inline constexpr uint8_t kSilentALaw = 0xD5;

int linearOfALaw(uint8_t code);
uint8_t aLawOfLinear(int sample); // what 16 bits cannot hold is clipped
int linearOfMuLaw(uint8_t code);
uint8_t muLawOfLinear(int sample);

} // namespace lumo::net
