// Linux: the kernel counts what the peer of a Unix socket has not read yet (SIOCOUTQ).
#include "PacedChannel.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace lumo::host
{

PeerRead makePeerRead(QLocalSocket& socket)
{
    return [&socket](qint64) {
        int outstanding = 0;
        const bool known = ioctl(static_cast<int>(socket.socketDescriptor()), SIOCOUTQ, &outstanding) == 0;
        return known && outstanding == 0;
    };
}

} // namespace lumo::host
