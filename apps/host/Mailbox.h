// Closures on their way to the Qt thread, where the local sockets and the processes live.
//
// A queue of its own instead of queued Qt signals: what crosses is handed over under one mutex that the
// thread sanitizer can see, and only a wake-up goes through Qt.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include <QObject>

class QAbstractEventDispatcher;

namespace lumo::host
{

/// Lives on the Qt thread and must outlive every thread that posts.
class Mailbox : public QObject
{
public:
    explicit Mailbox(QObject* parent = nullptr);

    /// Any thread. The closure runs on the Qt thread, in order of posting. What it throws ends it alone, with a line on
    /// the error stream.
    void post(std::function<void()> work);

    /// Throws away what was posted and has not run, and what it holds.
    void clear();

private:
    void runAll();

    QAbstractEventDispatcher* dispatcher_; // set once; wakeUp() may be called from any thread
    std::mutex mutex_;
    std::vector<std::function<void()>> waiting_; // under mutex_
};

} // namespace lumo::host
