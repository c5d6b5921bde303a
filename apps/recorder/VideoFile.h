// A given video file as a clip: its own access units where they can be looped as they are, else encoded once.
#pragma once

#include "Clip.h"

namespace lumo::recorder
{

/// The main stream keeps the file's access units when they are H.264 or H.265 without B-frames; the sub stream is
/// scaled to the sub size. At most one minute. Throws std::runtime_error with a text for the user.
Clip readVideoFile(const Options& options, int stream);

} // namespace lumo::recorder
