// Turns a recorded file into an AVI, on a thread of its own.
#pragma once

#include "decode/LumoDecode.h"

#include <string>

namespace lumo
{

/// False when the source is no recording, or of a codec that stays as it is, or the target cannot be made. Otherwise
/// the callback tells how far it is, in thousandths, and at the end, whether it went well or not, that all is done:
/// whoever works through a list waits for that. A conversion that failed leaves no target.
bool startConverting(const std::string& source, const std::string& target, LumoConvertCallback position, intptr_t user);

} // namespace lumo
