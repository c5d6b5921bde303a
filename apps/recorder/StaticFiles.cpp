#include "StaticFiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace lumo::recorder
{
namespace
{

std::string mimeType(const std::string& extension)
{
    static const std::map<std::string, std::string> types = {
        {".html", "text/html; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".json", "application/json"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".jpg", "image/jpeg"},
        {".ico", "image/x-icon"},
        {".woff2", "font/woff2"},
        {".map", "application/json"},
    };
    const auto it = types.find(extension);
    return it == types.end() ? "application/octet-stream" : it->second;
}

} // namespace

std::optional<PageFile> readPageFile(const std::string& folder, const std::string& path)
{
    namespace fs = std::filesystem;
    if (folder.empty() || path.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    std::error_code error;
    const fs::path root = fs::canonical(folder, error);
    fs::path file = fs::weakly_canonical(root / fs::path(path).relative_path(), error);
    if (error) {
        return std::nullopt;
    }
    if (fs::is_directory(file, error)) {
        file /= "index.html";
    }
    // Links are resolved by now: what does not start with the folder is outside.
    const auto inside = std::mismatch(root.begin(), root.end(), file.begin(), file.end());
    if (inside.first != root.end() || !fs::is_regular_file(file, error)) {
        return std::nullopt;
    }
    std::ifstream in(file, std::ios::binary);
    return PageFile{mimeType(file.extension().string()), {std::istreambuf_iterator<char>(in), {}}};
}

} // namespace lumo::recorder
