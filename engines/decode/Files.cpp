#include "Files.h"

#include "common/LocalText.h"

#include <system_error>

namespace lumo
{
namespace
{

constexpr size_t kBufferBytes = 64 << 10; // frames are small, calls to the system are not free

} // namespace

FilePtr createFile(const std::string& path)
{
    if (path.empty())
        return nullptr;
    std::error_code ignored; // what is missing shows when the file is opened
    const std::filesystem::path folder = localPath(path).parent_path();
    if (!folder.empty())
        std::filesystem::create_directories(folder, ignored);
    FilePtr file(std::fopen(path.c_str(), "w+b"));
    if (file)
        std::setvbuf(file.get(), nullptr, _IOFBF, kBufferBytes);
    return file;
}

bool renameFile(const std::string& from, const std::string& to)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(localPath(from), error))
        return false;
    std::filesystem::rename(localPath(from), localPath(to), error);
    return !error;
}

std::string pathWith(const std::string& path, const std::string& addition)
{
    const size_t dot = path.find_last_of('.');
    const size_t folder = path.find_last_of("/\\");
    const bool hasDot = dot != std::string::npos && (folder == std::string::npos || dot > folder);
    return hasDot ? path.substr(0, dot) + addition + path.substr(dot) : path + addition;
}

void removeFile(const std::string& path)
{
    std::error_code ignored;
    if (std::filesystem::is_regular_file(localPath(path), ignored))
        std::filesystem::remove(localPath(path), ignored);
}

} // namespace lumo
