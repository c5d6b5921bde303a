// A still as JPEG: of a clip's key frame; of a live stream, the key frame at or before the picture that left last.
#pragma once

#include "LiveStream.h"

#include <optional>
#include <string>

namespace lumo::recorder
{

/// Blocking: each decodes and encodes one picture, the second makes the clip if need be. Thread: any.
std::optional<std::string> jpegOf(const Clip& clip, const ClipFrame& keyUnit);
std::optional<std::string> makeSnapshot(const LiveStream& stream);

} // namespace lumo::recorder
