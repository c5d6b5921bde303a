// The environment of this process, as the libraries in it read theirs. One implementation file per system.
#pragma once

#include <filesystem>
#include <string>

void setEnvironment(const char* name, const std::string& value);

/// The path in the local 8-bit encoding; empty when that does not know all of it.
std::string localPathText(const std::filesystem::path& path);
