// A picture as a BMP file of 24 bits a pixel.
#pragma once

#include "FfmpegPtr.h"

#include <string>

namespace lumo
{

/// Writes the whole picture at its own size, neutral in colour. Creates folders. Errors: false, and no file is left.
bool writeBmp(const AVFrame& frame, const std::string& path);

} // namespace lumo
