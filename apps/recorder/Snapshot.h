// A still of a stream as JPEG: the key frame at or before the picture that left last.
#pragma once

#include "LiveStream.h"

#include <optional>
#include <string>

namespace lumo::recorder
{

/// Blocking: decodes and encodes one picture, and makes the clip if need be. Thread: any.
std::optional<std::string> makeSnapshot(const LiveStream& stream);

} // namespace lumo::recorder
