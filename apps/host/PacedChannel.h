// The local socket to one process: frames out one at a time, frames in as they come.
//
// The process takes two frames that arrive in one read for a single message. So a frame leaves only when the process
// has read the one before it, which is more than having been written: see ReadWatch.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <QLocalSocket>
#include <QObject>
#include <QTimer>

#include "PendingCommands.h"
#include "WireFrame.h"

namespace lumo::host
{

/// Tells when the peer of a local socket has read everything written to it. Qt thread only.
class ReadWatch
{
public:
    virtual ~ReadWatch() = default;

    /// To be called after each write of so many bytes: begins to watch.
    virtual void start(qint64 bytes) = 0;

    /// True when nothing written is left unread.
    virtual bool allRead() = 0;
};

/// True when the peer of a socket has read all of so many bytes, which were written since it connected.
using PeerRead = std::function<bool(qint64 written)>;

/// The socket must outlive it. One implementation file per system.
PeerRead makePeerRead(QLocalSocket& socket);

/// onRead runs on the Qt thread after a start(), once all was read. The socket must outlive the watch.
std::unique_ptr<ReadWatch> makeReadWatch(QLocalSocket& socket, std::function<void()> onRead);

/// Qt thread only.
class PacedChannel : public QObject
{
public:
    struct Events {
        std::function<void(std::string)> message; // one body from the process
        std::function<void()> damaged;            // the process sent what is no frame; nothing more is read
        std::function<void()> closed;             // the socket is closed, by either side
    };

    PacedChannel(Events events, std::shared_ptr<PendingCommands> pending, QObject* parent);
    ~PacedChannel() override;

    /// Takes over the process's connection. Commands sent before it wait.
    void attach(QLocalSocket* socket);

    /// Queues one command for the process.
    void send(std::string command);

    /// Closes once the process has read all that was sent, at the latest after the limit.
    void closeWhenRead(std::chrono::milliseconds limit);

    /// Closes now; what was not sent is lost.
    void closeNow();

    bool isOpen() const;

private:
    void pump();
    void readFrames();
    void tellClosed();

    Events events_;
    std::shared_ptr<PendingCommands> pending_;
    std::deque<std::string> queue_;
    QLocalSocket* socket_ = nullptr; // child
    std::unique_ptr<ReadWatch> watch_;
    WireFrameReader reader_;
    QTimer closeTimer_;
    bool frameUnread_ = false; // a frame was written and the process has not read all of it
    bool closing_ = false;
    bool aborted_ = false; // closed by us, with nothing left to read
    bool closedTold_ = false;
};

} // namespace lumo::host
