// Windows: SO_REUSEADDR would let any program take the port over; exclusive use is what is wanted.
#include "ListenSocket.h"

#include <winsock2.h>

namespace lumo::host
{

void prepareListenSocket(unsigned long long handle)
{
    const BOOL on = TRUE;
    setsockopt(static_cast<SOCKET>(handle), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
               sizeof on);
}

} // namespace lumo::host
