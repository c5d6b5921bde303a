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

/// Gives a file another name; what had it is replaced. False on failure, and for devices and folders.
bool renameFile(const std::string& from, const std::string& to);

/// The path with this between its name and its ending: "a/clip_1.avi" from "a/clip.avi" and "_1".
std::string pathWith(const std::string& path, const std::string& addition);

/// Removes what createFile made; leaves devices and folders alone.
void removeFile(const std::string& path);

} // namespace lumo
