#include "PacedChannel.h"

namespace lumo::host
{

namespace
{

// Replies are below 64 KiB; ten times that tells a large one from a header that was garbage.
constexpr size_t kMaxBody = 1024 * 1024;

// The kernel's buffer holds a flooding process back once this much is unread here.
constexpr qint64 kReadAhead = 256 * 1024;

} // namespace

PacedChannel::PacedChannel(Events events, std::shared_ptr<PendingCommands> pending, QObject* parent)
    : QObject(parent), events_(std::move(events)), pending_(std::move(pending)), reader_(kMaxBody)
{
    closeTimer_.setSingleShot(true);
    connect(&closeTimer_, &QTimer::timeout, this, &PacedChannel::closeNow);
}

PacedChannel::~PacedChannel()
{
    watch_.reset();
    if (socket_)
        socket_->disconnect(this);
}

void PacedChannel::attach(QLocalSocket* socket)
{
    socket_ = socket;
    socket_->setParent(this);
    socket_->setReadBufferSize(kReadAhead);
    watch_ = makeReadWatch(*socket_, [this] { pump(); });
    connect(socket_, &QLocalSocket::readyRead, this, &PacedChannel::readFrames);
    connect(socket_, &QLocalSocket::disconnected, this, [this] {
        if (!aborted_)
            readFrames(); // the last words
        closing_ = true;
        tellClosed();
    });
    if (!isOpen()) {
        // It connected and went before we looked.
        QTimer::singleShot(0, this, [this] { tellClosed(); });
        return;
    }
    readFrames();
    pump();
}

void PacedChannel::send(std::string command)
{
    if (closing_)
        return;
    queue_.push_back(std::move(command));
    pump();
}

void PacedChannel::closeWhenRead(std::chrono::milliseconds limit)
{
    closing_ = true;
    closeTimer_.start(limit);
    pump();
}

void PacedChannel::closeNow()
{
    closing_ = true;
    aborted_ = true;
    queue_.clear();
    if (isOpen())
        socket_->abort();
}

bool PacedChannel::isOpen() const
{
    return socket_ && socket_->state() != QLocalSocket::UnconnectedState;
}

void PacedChannel::pump()
{
    if (!isOpen())
        return;
    if (frameUnread_ && !watch_->allRead())
        return;
    frameUnread_ = false;
    if (queue_.empty()) {
        if (closing_)
            closeNow();
        return;
    }
    const std::string command = std::move(queue_.front());
    queue_.pop_front();
    pending_->count.fetch_sub(1);
    pending_->bytes.fetch_sub(command.size());

    const std::string frame = wireFrame(command);
    frameUnread_ = true;
    socket_->write(frame.data(), static_cast<qint64>(frame.size()));
    socket_->flush();
    watch_->start(static_cast<qint64>(frame.size()));
}

void PacedChannel::readFrames()
{
    const QByteArray bytes = socket_->readAll();
    reader_.append(bytes.constData(), static_cast<size_t>(bytes.size()));
    while (std::optional<std::string> body = reader_.next())
        events_.message(std::move(*body));
    if (reader_.damaged()) {
        socket_->disconnect(this);
        events_.damaged();
        closeNow();
        tellClosed();
        return;
    }
    // An answer often means that the command before it was read.
    if (frameUnread_)
        pump();
}

void PacedChannel::tellClosed()
{
    if (closedTold_)
        return;
    closedTold_ = true;
    events_.closed();
}

} // namespace lumo::host
