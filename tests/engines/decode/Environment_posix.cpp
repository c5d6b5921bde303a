#include "Environment.h"

#include <cstdlib>
#include <mutex>
#include <thread>

void setEnvironment(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

std::string localPathText(const std::filesystem::path& path)
{
    return path.string();
}

int threadCount()
{
    static std::once_flag once;
    std::call_once(once, [] { std::thread([] {}).join(); });
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}
