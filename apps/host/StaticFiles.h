// The page's files below one folder: which file a request's path means, and what kind of content it is.
// Thread: any, nothing is kept. Blocking: looks at the file system.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace lumo::host
{

class StaticFiles
{
public:
    /// An empty folder serves nothing.
    explicit StaticFiles(const std::filesystem::path& folder);

    /// The regular file a path (still percent-encoded, without query) stands for; "/" at its end means index.html.
    /// Nothing when there is none, or when it would lie outside the folder, links followed.
    std::optional<std::filesystem::path> find(std::string_view urlPath) const;

private:
    std::filesystem::path root_; // canonical; empty when there is nothing to serve
};

/// The Content-Type for a file's name.
std::string_view contentType(const std::filesystem::path& file);

} // namespace lumo::host
