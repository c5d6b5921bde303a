// What the command line sets. Read once at start, constant afterwards.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QString>
#include <QStringList>

namespace lumo::host
{

struct Options {
    uint16_t port = 9002;             // 0: the system picks one
    QString page;                     // folder served over HTTP; empty: none
    std::vector<std::string> origins; // allowed beside the host's own pages, normal form
    QString program;                  // what is started for each page
    QString logDir;                   // folder of the sessions' log files

    size_t maxMessage = 65535;                       // bytes of one command; the process takes less than 65536
    size_t maxPendingCommands = 512;                 // commands of one page that the process has not read yet
    size_t maxPendingBytes = 4 * 1024 * 1024;        // the same in bytes
    size_t maxUnsentBytes = 16 * 1024 * 1024;        // replies of one process that its page has not read yet
    size_t maxConnections = 128;                     // TCP connections at a time, pages included
    size_t maxPages = 32;                            // pages at a time
    qint64 logBytes = 4 * 1024 * 1024;               // of one log file
    int logFiles = 4;                                // per session, the current one included
    int logKeep = 100;                               // log files kept in the folder when a session starts
    std::chrono::milliseconds requestTimeout{10000}; // for one HTTP request to arrive whole, and one reply to leave
    std::chrono::milliseconds idleTimeout{20000};    // a page that answers no ping for so long is gone
    std::chrono::milliseconds connectTimeout{30000}; // for the started process to connect
    std::chrono::milliseconds exitTimeout{10000};    // for a process to end after its channel was closed
};

/// Reads the arguments, arguments[0] being the program's own name. On anything wrong, and for --help and --version,
/// answers nothing and sets what to print and the exit code. Needs the application object.
std::optional<Options> readOptions(const QStringList& arguments, QString& printed, int& exitCode);

} // namespace lumo::host
