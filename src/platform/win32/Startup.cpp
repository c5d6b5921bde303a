#include "platform/Startup.h"

namespace platform
{
// Windows gives every program a code page and Qt its only plug-in.
void prepareProcess() {}
} // namespace platform
