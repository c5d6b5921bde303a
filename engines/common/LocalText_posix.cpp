// Bytes are bytes here: no call looks into a path's encoding, and the local one is UTF-8 by the program's own wish.
#include "common/LocalText.h"

namespace lumo
{

std::filesystem::path localPath(const std::string& path)
{
    return path;
}

std::string utf8OfLocal(const std::string& text)
{
    return text;
}

std::string localOfUtf8(const std::string& text)
{
    return text;
}

} // namespace lumo
