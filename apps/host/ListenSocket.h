// What a listening socket needs before it is bound, per system.
#pragma once

namespace lumo::host
{

/// Makes the port ours alone, yet free again at once after a restart. handle: the native socket. Any thread.
void prepareListenSocket(unsigned long long handle);

} // namespace lumo::host
