// Speech for the device: 16-bit linear samples to G.711 A-law (ITU-T G.711).
//
// Thread: any; keeps nothing. A negative sample gets the code of its magnitude with the top bit cleared, so that
// negative multiples of 16 differ by one code from a coder that complements; -32768 counts as -32767. Devices hear no
// difference, and the page's recordings are compared byte for byte.
#pragma once

#include <cstdint>

/// Encodes nSize bytes of samples (low byte first, at any address; an odd last byte is left out) into one code a
/// sample, at most nRoom codes. Returns the number of codes; 0 for no samples.
int EncodeALaw(const uint8_t* pPcm, int nSize, uint8_t* pCodes, int nRoom);
