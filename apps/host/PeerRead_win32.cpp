// Windows: the process itself counts what it has read.
#include "PacedChannel.h"

#include "platform/win32/SharedReadCount.h"

namespace lumo::host
{

PeerRead makePeerRead(QLocalSocket& socket)
{
    const auto count = std::make_shared<platform::SharedReadCount>(reinterpret_cast<HANDLE>(socket.socketDescriptor()));
    return [count](qint64 written) { return count->value() == written; };
}

} // namespace lumo::host
