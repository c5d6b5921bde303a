#include "Host.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

qint64 unreadByPeer(QLocalSocket& socket)
{
    int queued = 0;
    ::ioctl(static_cast<int>(socket.socketDescriptor()), SIOCOUTQ, &queued);
    return queued;
}
