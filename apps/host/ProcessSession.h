// One process for one page: starts it, joins it by a local socket, keeps its debug stream, sees to its end.
//
// Thread: the Qt thread only. Life: start(), then commands and messages, then exactly one ended() unless the page went
// first, and at the very last gone(), after which the owner deletes it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <QElapsedTimer>
#include <QLocalServer>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include "BrowserWindow.h"
#include "Options.h"
#include "PacedChannel.h"
#include "RotatingLog.h"

namespace lumo::host
{

// Close codes that tell the page why its session is over.
constexpr uint16_t kCloseProcessEnded = 4001;
constexpr uint16_t kCloseProcessNotStarted = 4002;

struct ProcessRequest {
    int id = 0;
    std::string title; // of the page, as its window's title will hold it; may be empty
    PageConnection connection;
    QString log; // path of its log file
};

class ProcessSession : public QObject
{
public:
    struct Events {
        std::function<void(std::string)> message;                     // one message for the page
        std::function<void(uint16_t code, std::string reason)> ended; // the page is to be closed
        std::function<void()> gone;                                   // nothing is left running
    };

    ProcessSession(const Options& options, ProcessRequest request, std::shared_ptr<PendingCommands> pending,
                   Events events, QObject* parent);
    ~ProcessSession() override;

    void start();

    /// One command for the process; kept until it is connected.
    void send(std::string command);

    /// The page is gone: closes the channel, waits for the process's end, kills it if that takes too long.
    void pageGone();

private:
    bool listen();
    void findWindow();
    void startProcess(uint64_t window);
    void onConnection();
    void onChannelClosed();
    void onStartFailed();
    void onFinished(int exitCode, QProcess::ExitStatus status);
    void onConnectTimeout();
    void onExitTimeout();
    void readDebugStream();
    void tellEnd(uint16_t code, const QString& reason);
    void finish();

    const Options& options_;
    const ProcessRequest request_;
    Events events_;
    RotatingLog log_;
    QLocalServer server_;
    QProcess process_;
    PacedChannel channel_;
    QTimer connectTimer_;
    QTimer exitTimer_;
    QElapsedTimer windowSearch_;
    QString endReason_; // why the process is being ended, when that is our doing
    QString exitText_;  // how it ended; set once it has
    bool connected_ = false;
    bool channelClosed_ = false;
    bool endTold_ = false;
    bool pageGone_ = false;
    bool gone_ = false;
};

} // namespace lumo::host
