// What this process is in: its environment, as the libraries in it read theirs; its threads. One implementation file
// per system.
#pragma once

#include <filesystem>
#include <string>

void setEnvironment(const char* name, const std::string& value);

/// The path in the local 8-bit encoding; empty when that does not know all of it.
std::string localPathText(const std::filesystem::path& path);

/// How many threads there are; on Linux only. A sanitizer's own, which comes with the first thread that is made, is
/// there from the first call on.
int threadCount();
