// Nothing signals that the peer of a local socket has read all (writability comes earlier), so it is looked at again
// and again while a frame is under way.
#include "PacedChannel.h"

namespace lumo::host
{

namespace
{

constexpr int kEagerMs = 1;
constexpr int kEagerLooks = 100;
constexpr int kPatientMs = 5;

class PolledWatch final : public ReadWatch
{
public:
    PolledWatch(QLocalSocket& socket, std::function<void()> onRead)
        : socket_(socket), onRead_(std::move(onRead)), peerHasRead_(makePeerRead(socket))
    {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { look(); });
    }

    void start(qint64 bytes) override
    {
        written_ += bytes;
        looks_ = 0;
        timer_.start(kEagerMs);
    }

    bool allRead() override { return socket_.bytesToWrite() == 0 && peerHasRead_(written_); }

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
    const PeerRead peerHasRead_;
    QTimer timer_;
    qint64 written_ = 0;
    int looks_ = 0;
};

} // namespace

std::unique_ptr<ReadWatch> makeReadWatch(QLocalSocket& socket, std::function<void()> onRead)
{
    return std::make_unique<PolledWatch>(socket, std::move(onRead));
}

} // namespace lumo::host
