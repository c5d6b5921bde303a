// Linux: the kernel counts what the peer of a Unix socket has not read yet (SIOCOUTQ). Nothing signals that the
// count fell to zero (writability comes earlier), so it is looked at again and again while a frame is under way.
#include "PacedChannel.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace lumo::host
{

namespace
{

constexpr int kEagerMs = 1;
constexpr int kEagerLooks = 100;
constexpr int kPatientMs = 5;

class OutstandingBytesWatch final : public ReadWatch
{
public:
    OutstandingBytesWatch(QLocalSocket& socket, std::function<void()> onRead)
        : socket_(socket), onRead_(std::move(onRead))
    {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { look(); });
    }

    void start() override
    {
        looks_ = 0;
        timer_.start(kEagerMs);
    }

    bool allRead() override
    {
        if (socket_.bytesToWrite() > 0)
            return false;
        int outstanding = 0;
        const bool known = ioctl(static_cast<int>(socket_.socketDescriptor()), SIOCOUTQ, &outstanding) == 0;
        return known && outstanding == 0;
    }

private:
    void look()
    {
        if (socket_.state() == QLocalSocket::UnconnectedState) {
            timer_.stop();
        } else if (allRead()) {
            timer_.stop();
            onRead_();
        } else if (++looks_ == kEagerLooks) {
            timer_.setInterval(kPatientMs);
        }
    }

    QLocalSocket& socket_;
    std::function<void()> onRead_;
    QTimer timer_;
    int looks_ = 0;
};

} // namespace

std::unique_ptr<ReadWatch> makeReadWatch(QLocalSocket& socket, std::function<void()> onRead)
{
    return std::make_unique<OutstandingBytesWatch>(socket, std::move(onRead));
}

} // namespace lumo::host
