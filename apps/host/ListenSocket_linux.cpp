// Linux: SO_REUSEADDR only passes over connections that are being forgotten (TIME_WAIT); a second listener still fails.
#include "ListenSocket.h"

#include <sys/socket.h>

namespace lumo::host
{

void prepareListenSocket(unsigned long long handle)
{
    const int on = 1;
    setsockopt(static_cast<int>(handle), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

} // namespace lumo::host
