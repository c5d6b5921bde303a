#include "Host.h"

#include <windows.h>

// Flushing a pipe waits until its other end has read all.
qint64 unreadByPeer(QLocalSocket& socket)
{
    FlushFileBuffers(reinterpret_cast<HANDLE>(socket.socketDescriptor()));
    return 0;
}
