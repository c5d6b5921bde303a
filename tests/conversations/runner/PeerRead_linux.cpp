#include "Host.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

PeerRead makePeerRead(QLocalSocket& socket)
{
    return [&socket](qint64) {
        int queued = 0;
        ::ioctl(static_cast<int>(socket.socketDescriptor()), SIOCOUTQ, &queued);
        return queued == 0;
    };
}
