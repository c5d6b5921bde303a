#include "StaticFiles.h"

#include <algorithm>
#include <string>

#include "UrlText.h"

namespace lumo::host
{

namespace fs = std::filesystem;

namespace
{

struct SuffixType {
    std::string_view suffix;
    std::string_view type;
};

constexpr SuffixType kTypes[] = {
    // suffix       content
    {".html", "text/html; charset=utf-8"},
    {".htm", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".json", "application/json"},
    {".map", "application/json"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".jpeg", "image/jpeg"},
    {".gif", "image/gif"},
    {".webp", "image/webp"},
    {".ico", "image/x-icon"},
    {".woff", "font/woff"},
    {".woff2", "font/woff2"},
    {".ttf", "font/ttf"},
    {".wasm", "application/wasm"},
    {".mp3", "audio/mpeg"},
    {".wav", "audio/wav"},
    {".mp4", "video/mp4"},
};

/// True for a name that means the same one entry of a folder on every system: no parent, no drive or stream
/// behind a colon, no other separator, nothing hidden, and text, as not every system has names of other bytes.
bool isPlainName(std::string_view name)
{
    return !name.empty() && name.front() != '.' && name.back() != '.' && name.back() != ' ' &&
           name.find_first_of(std::string_view("\\:\0", 3)) == std::string_view::npos && isUtf8(name);
}

/// The path below the folder that a URL path means; nothing when any of its parts is suspicious.
std::optional<fs::path> relativePath(std::string_view decoded)
{
    fs::path relative;
    while (!decoded.empty()) {
        decoded.remove_prefix(1); // the slash in front of the part
        const std::string_view part = decoded.substr(0, decoded.find('/'));
        decoded.remove_prefix(part.size());
        if (part.empty() && decoded.empty())
            break;
        if (!isPlainName(part))
            return std::nullopt;
        relative /= fs::path(std::u8string(part.begin(), part.end()));
    }
    return relative;
}

bool isBelow(const fs::path& root, const fs::path& file)
{
    return std::mismatch(root.begin(), root.end(), file.begin(), file.end()).first == root.end();
}

} // namespace

StaticFiles::StaticFiles(const fs::path& folder)
{
    std::error_code failed;
    if (!folder.empty())
        root_ = fs::canonical(folder, failed);
    if (failed)
        root_.clear();
}

std::optional<fs::path> StaticFiles::find(std::string_view urlPath) const
{
    const std::optional<std::string> decoded = percentDecode(urlPath, false);
    if (root_.empty() || !decoded || decoded->empty() || decoded->front() != '/')
        return std::nullopt;
    std::optional<fs::path> relative = relativePath(*decoded);
    if (!relative)
        return std::nullopt;
    if (decoded->back() == '/')
        *relative /= "index.html";

    std::error_code failed;
    const fs::path file = fs::canonical(root_ / *relative, failed);
    if (failed || !isBelow(root_, file) || !fs::is_regular_file(file, failed))
        return std::nullopt;
    return file;
}

std::string_view contentType(const fs::path& file)
{
    std::string suffix = file.extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    for (const SuffixType& row : kTypes)
        if (row.suffix == suffix)
            return row.type;
    return "application/octet-stream";
}

} // namespace lumo::host
