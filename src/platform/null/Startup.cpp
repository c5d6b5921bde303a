#include "platform/Startup.h"

namespace platform
{
// A test has made its own surroundings.
void prepareProcess() {}

std::vector<QByteArray> commandLine(int argc, char* argv[])
{
    return {argv, argv + argc};
}
} // namespace platform
