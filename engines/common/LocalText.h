// Texts as the libraries' calls take and give them, in the local 8-bit encoding, for those who take them otherwise. The
// C library's own calls take paths as they are. One implementation file per system.
//
// Thread: any. Errors: characters that an encoding does not know become others; opening the file tells.
#pragma once

#include <filesystem>
#include <string>

namespace lumo
{

/// A path of std::filesystem, which takes plain text for UTF-8 on every system.
std::filesystem::path localPath(const std::string& path);

/// In UTF-8, as FFmpeg wants paths and devices want names.
std::string utf8OfLocal(const std::string& text);
std::string localOfUtf8(const std::string& text);

} // namespace lumo
