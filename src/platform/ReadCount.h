// What this process has read of its host's socket, told to the host where the system does not: the host sends a frame
// only when the one before it was read.
//
// Thread:  the socket thread.
// Errors:  none are told; a host that learns nothing sends no second frame.
#pragma once

#include <QtGlobal>

namespace platform
{
/// So many bytes more have been read, and what was in them is on its way.
void countRead(qint64 nBytes);
} // namespace platform
