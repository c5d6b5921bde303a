// The size of a picture, from the first frame itself, for frames whose header does not tell.
#pragma once

#include "Packet.h"

namespace lumo
{

/// Leaves width and height as they are when the frame does not tell either.
void readPictureSize(const Packet& packet, int& width, int& height);

} // namespace lumo
