// What goes wrong where no call can answer for it any more: one line on the error stream, for who looks for the reason.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace lumo
{

inline void tellTrouble(const std::string& what, const std::string& path)
{
    std::fprintf(stderr, "LumoDecode: %s: %s\n", what.c_str(), path.c_str());
}

/// With the system's own reason, as errno holds it.
inline void tellSystemTrouble(const std::string& what, const std::string& path)
{
    tellTrouble(what + " (" + std::strerror(errno) + ")", path);
}

} // namespace lumo
