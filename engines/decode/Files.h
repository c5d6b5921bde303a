// Files by their local 8-bit path.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace lumo
{

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileClose>;

/// An empty file for reading and writing, its folders made. Null on failure.
FilePtr createFile(const std::string& path);

/// Removes what createFile made; leaves devices and folders alone.
void removeFile(const std::string& path);

} // namespace lumo
