#include "ProcessSession.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QSysInfo>

namespace lumo::host
{

namespace
{

// A page sets its title just before it connects, and the browser hands it to the window system a little later.
constexpr int kWindowSearchMs = 1000;
constexpr int kWindowLookMs = 50;

// How long commands that still wait may hold up the end when their page is gone.
constexpr std::chrono::milliseconds kLastCommandsLimit{2000};

// How long the last bytes of a process that ended may take through its socket.
constexpr std::chrono::milliseconds kLastBytesLimit{2000};

/// Not to be guessed, so that nobody else on the machine connects first; short, as a socket's path has its limit.
QString serverName(int id)
{
    return QStringLiteral("lumo-%1-%2-%3")
        .arg(QCoreApplication::applicationPid())
        .arg(id)
        .arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0'));
}

/// Where Qt's plug-ins are: beside the host in a package that brings its own, else where Qt was installed.
QString pluginFolder()
{
    const QString beside = QCoreApplication::applicationDirPath();
    if (QFileInfo(beside + QStringLiteral("/platforms")).isDir())
        return beside;
    return QLibraryInfo::location(QLibraryInfo::PluginsPath);
}

/// A program without a console would tell its debug stream to a debugger (Windows) or to the journal.
QProcessEnvironment processEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
    return environment;
}

QString describeExit(int exitCode, QProcess::ExitStatus status)
{
    if (status == QProcess::NormalExit)
        return QStringLiteral("the process ended with exit code %1").arg(exitCode);
    if (QSysInfo::kernelType() == QLatin1String("winnt"))
        return QStringLiteral("the process crashed with exception 0x%1")
            .arg(static_cast<uint>(exitCode), 8, 16, QLatin1Char('0'));
    return QStringLiteral("the process was ended by signal %1").arg(exitCode);
}

} // namespace

ProcessSession::ProcessSession(const Options& options, ProcessRequest request, std::shared_ptr<PendingCommands> pending,
                               Events events, QObject* parent)
    : QObject(parent), options_(options), request_(std::move(request)), events_(std::move(events)),
      log_(request_.log, options.logBytes, options.logFiles),
      channel_({[this](std::string message) {
                    if (!pageGone_)
                        events_.message(std::move(message));
                },
                [this] { endReason_ = QStringLiteral("the process sent a damaged frame"); },
                [this] { onChannelClosed(); }},
               std::move(pending), nullptr)
{
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setProcessEnvironment(processEnvironment());
    process_.setStandardInputFile(QProcess::nullDevice());
    connect(&process_, &QProcess::readyRead, this, &ProcessSession::readDebugStream);
    connect(&process_, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this, &ProcessSession::onFinished);
    connect(&process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            onStartFailed();
    });
    connect(&server_, &QLocalServer::newConnection, this, &ProcessSession::onConnection);
    connectTimer_.setSingleShot(true);
    exitTimer_.setSingleShot(true);
    connect(&connectTimer_, &QTimer::timeout, this, &ProcessSession::onConnectTimeout);
    connect(&exitTimer_, &QTimer::timeout, this, &ProcessSession::onExitTimeout);
}

ProcessSession::~ProcessSession()
{
    // QProcess kills what still runs; its signals must not reach a half-gone object.
    process_.disconnect(this);
}

void ProcessSession::start()
{
    if (!listen())
        return;
    windowSearch_.start();
    findWindow();
}

void ProcessSession::send(std::string command)
{
    channel_.send(std::move(command));
}

void ProcessSession::pageGone()
{
    if (pageGone_)
        return;
    pageGone_ = true;
    log_.note(QStringLiteral("the page is gone"));
    if (process_.state() == QProcess::NotRunning) {
        finish();
        return;
    }
    exitTimer_.start(options_.exitTimeout);
    if (connected_)
        channel_.closeWhenRead(std::min(kLastCommandsLimit, options_.exitTimeout));
    else
        process_.kill();
}

bool ProcessSession::listen()
{
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    server_.setMaxPendingConnections(1);
    if (server_.listen(serverName(request_.id)))
        return true;
    tellEnd(kCloseProcessNotStarted, QStringLiteral("no local socket for the process: ") + server_.errorString());
    finish();
    return false;
}

void ProcessSession::findWindow()
{
    if (pageGone_)
        return;
    const WindowChoice choice = findBrowserWindow(request_.connection, request_.title);
    if (choice.sure || windowSearch_.hasExpired(kWindowSearchMs))
        startProcess(choice.handle);
    else
        QTimer::singleShot(kWindowLookMs, this, &ProcessSession::findWindow);
}

void ProcessSession::startProcess(uint64_t window)
{
    const QStringList arguments = {QString::number(request_.id), server_.serverName(), pluginFolder(),
                                   QString::fromStdString(windowText(window))};
    log_.note(QStringLiteral("starts %1 %2").arg(options_.program, arguments.join(QLatin1Char(' '))));
    connectTimer_.start(options_.connectTimeout);
    process_.start(options_.program, arguments, QIODevice::ReadOnly);
}

void ProcessSession::onConnection()
{
    QLocalSocket* const socket = server_.nextPendingConnection();
    if (!socket)
        return;
    connectTimer_.stop();
    server_.close();
    connected_ = true;
    channel_.attach(socket);
    if (pageGone_)
        channel_.closeNow();
}

void ProcessSession::onChannelClosed()
{
    channelClosed_ = true;
    if (!exitText_.isEmpty())
        finish();
    else if (!exitTimer_.isActive())
        exitTimer_.start(options_.exitTimeout);
}

void ProcessSession::onStartFailed()
{
    connectTimer_.stop();
    tellEnd(kCloseProcessNotStarted, QStringLiteral("the process cannot be started: ") + process_.errorString());
    finish();
}

void ProcessSession::onFinished(int exitCode, QProcess::ExitStatus status)
{
    readDebugStream();
    connectTimer_.stop();
    exitText_ = describeExit(exitCode, status);
    log_.note(exitText_);
    // What the process said last may still be in its socket; the page gets it before it hears of the end.
    if (connected_ && !channelClosed_)
        exitTimer_.start(kLastBytesLimit);
    else
        finish();
}

void ProcessSession::onConnectTimeout()
{
    tellEnd(kCloseProcessNotStarted,
            QStringLiteral("the process did not connect within %1 ms").arg(options_.connectTimeout.count()));
    process_.kill();
}

void ProcessSession::onExitTimeout()
{
    if (process_.state() == QProcess::NotRunning) {
        finish();
        return;
    }
    endReason_ = QStringLiteral("the process did not end within %1 ms").arg(options_.exitTimeout.count());
    log_.note(endReason_ + QStringLiteral(" and is killed"));
    process_.kill();
}

void ProcessSession::readDebugStream()
{
    log_.write(process_.readAll());
}

void ProcessSession::tellEnd(uint16_t code, const QString& reason)
{
    if (endTold_)
        return;
    endTold_ = true;
    if (reason != exitText_)
        log_.note(reason);
    if (!pageGone_)
        events_.ended(code, reason.toStdString());
}

/// Nothing runs any more: tells the page unless it knows, and the owner.
void ProcessSession::finish()
{
    if (gone_)
        return;
    gone_ = true;
    connectTimer_.stop();
    exitTimer_.stop();
    server_.close();
    if (endReason_.isEmpty())
        endReason_ = exitText_;
    else if (!exitText_.isEmpty())
        endReason_ += QStringLiteral("; ") + exitText_;
    if (!pageGone_)
        tellEnd(kCloseProcessEnded, endReason_);
    events_.gone();
}

} // namespace lumo::host
