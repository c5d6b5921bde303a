#include "FileReader.h"

#include "ContainerFile.h"
#include "RawFile.h"

namespace lumo
{

std::unique_ptr<FileReader> openFileReader(const std::string& path)
{
    if (path.empty())
        return nullptr;
    if (auto raw = RawFile::open(path))
        return raw;
    return ContainerFile::open(path);
}

} // namespace lumo
