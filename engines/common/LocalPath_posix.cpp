// Bytes are bytes here: no call looks into a path's encoding.
#include "common/LocalPath.h"

namespace lumo
{

std::filesystem::path localPath(const std::string& path)
{
    return path;
}

std::string utf8Path(const std::string& path)
{
    return path;
}

} // namespace lumo
