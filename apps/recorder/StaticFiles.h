// Files of the page, read from one folder and never from outside it.
#pragma once

#include <optional>
#include <string>

namespace lumo::recorder
{

struct PageFile {
    std::string type; // MIME
    std::string content;
};

/// path: as in the request, decoded, with its leading '/'. Nothing when there is no such file below `folder`.
std::optional<PageFile> readPageFile(const std::string& folder, const std::string& path);

} // namespace lumo::recorder
