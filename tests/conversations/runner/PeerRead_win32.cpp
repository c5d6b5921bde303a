#include "Host.h"

#include "platform/win32/SharedReadCount.h"

PeerRead makePeerRead(QLocalSocket& socket)
{
    const auto count = std::make_shared<platform::SharedReadCount>(reinterpret_cast<HANDLE>(socket.socketDescriptor()));
    return [count](qint64 written) { return count->value() == written; };
}
