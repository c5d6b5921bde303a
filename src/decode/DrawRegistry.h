// From the 32-bit user word that the decode library can carry to the channel that registered it.
//
// Thread: add and remove on the GUI thread, find on library threads; no lock.
#pragma once

#include <cstdint>

class CDecodeChannel;

namespace drawregistry
{

/// A word above 0 that leads back to pChannel until it is removed; 0 when the table is full.
int32_t add(CDecodeChannel* pChannel);
void remove(int32_t nWord);
/// Null for a word that leads nowhere.
CDecodeChannel* find(int32_t nWord);

} // namespace drawregistry
