// The environment of this process, as the libraries in it read theirs. One implementation file per system.
#pragma once

#include <string>

void setEnvironment(const char* name, const std::string& value);
