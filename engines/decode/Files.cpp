#include "Files.h"

#include <filesystem>
#include <system_error>

namespace lumo
{

FilePtr createFile(const std::string& path)
{
    if (path.empty())
        return nullptr;
    std::error_code ignored; // what is missing shows when the file is opened
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty())
        std::filesystem::create_directories(folder, ignored);
    return FilePtr(std::fopen(path.c_str(), "w+b"));
}

void removeFile(const std::string& path)
{
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored))
        std::filesystem::remove(path, ignored);
}

} // namespace lumo
