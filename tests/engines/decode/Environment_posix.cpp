#include "Environment.h"

#include <cstdlib>

void setEnvironment(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

std::string localPathText(const std::filesystem::path& path)
{
    return path.string();
}
