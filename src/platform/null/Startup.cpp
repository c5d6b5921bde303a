#include "platform/Startup.h"

namespace platform
{
// A test has made its own surroundings.
void prepareProcess() {}
} // namespace platform
