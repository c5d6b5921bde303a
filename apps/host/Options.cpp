#include "Options.h"

#include <limits>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStandardPaths>

#include "OriginPolicy.h"

namespace lumo::host
{

namespace
{

/// One option with a whole number: its range, and where it goes.
struct NumberOption {
    const char* name;
    const char* help;
    qint64 lowest;
    qint64 highest;
    qint64 (*get)(const Options&);
    void (*set)(Options&, qint64);
};

#define LUMO_NUMBER(field, type)                                                                                       \
    [](const Options& o) -> qint64 { return static_cast<qint64>(o.field); },                                           \
        [](Options& o, qint64 n) { o.field = static_cast<type>(n); }
#define LUMO_MILLISECONDS(field)                                                                                       \
    [](const Options& o) -> qint64 { return o.field.count(); },                                                        \
        [](Options& o, qint64 n) { o.field = std::chrono::milliseconds(n); }

constexpr qint64 kManyBytes = std::numeric_limits<int>::max();
constexpr qint64 kHour = 3600 * 1000;

const NumberOption kNumbers[] = {
    // clang-format off
    {"port", "port to listen on; 0 picks a free one", 0, 65535, LUMO_NUMBER(port, uint16_t)},
    {"max-message", "bytes of one command", 1, 65535, LUMO_NUMBER(maxMessage, size_t)},
    {"max-pending", "commands of one page that may wait", 1, 1000000, LUMO_NUMBER(maxPendingCommands, size_t)},
    {"max-pending-bytes", "bytes of commands of one page that may wait", 1, kManyBytes, LUMO_NUMBER(maxPendingBytes, size_t)},
    {"max-unsent-bytes", "bytes of replies that may wait for one page", 1, kManyBytes, LUMO_NUMBER(maxUnsentBytes, size_t)},
    {"max-connections", "TCP connections at a time", 1, 10000, LUMO_NUMBER(maxConnections, size_t)},
    {"max-pages", "pages at a time", 1, 1000, LUMO_NUMBER(maxPages, size_t)},
    {"log-size", "bytes of one log file", 1, kManyBytes, LUMO_NUMBER(logBytes, qint64)},
    {"log-files", "log files per session", 1, 1000, LUMO_NUMBER(logFiles, int)},
    {"log-keep", "log files of earlier sessions that are kept", 0, 100000, LUMO_NUMBER(logKeep, int)},
    {"request-timeout-ms", "time for an HTTP request to arrive", 1, kHour, LUMO_MILLISECONDS(requestTimeout)},
    {"idle-timeout-ms", "time after which a silent page is gone", 10, kHour, LUMO_MILLISECONDS(idleTimeout)},
    {"connect-timeout-ms", "time for the process to connect", 1, kHour, LUMO_MILLISECONDS(connectTimeout)},
    {"exit-timeout-ms", "time for the process to end", 1, kHour, LUMO_MILLISECONDS(exitTimeout)},
    // clang-format on
};

#undef LUMO_NUMBER
#undef LUMO_MILLISECONDS

void describe(QCommandLineParser& parser, const Options& defaults)
{
    parser.setApplicationDescription(
        QStringLiteral("Joins a web page (websocket on loopback) to a video process, one process per page."));
    parser.addOptions({
        {QStringLiteral("page"), QStringLiteral("folder to serve over HTTP"), QStringLiteral("dir")},
        {QStringLiteral("origin"), QStringLiteral("origin of pages that may connect; repeatable"),
         QStringLiteral("url")},
        {QStringLiteral("program"), QStringLiteral("program to start for each page"), QStringLiteral("path")},
        {QStringLiteral("log-dir"), QStringLiteral("folder for the sessions' log files"), QStringLiteral("dir")},
    });
    for (const NumberOption& option : kNumbers)
        parser.addOption({QString::fromLatin1(option.name), QString::fromLatin1(option.help), QStringLiteral("n"),
                          QString::number(option.get(defaults))});
    parser.addHelpOption();
    parser.addVersionOption();
}

bool readNumbers(const QCommandLineParser& parser, Options& options, QString& wrong)
{
    for (const NumberOption& option : kNumbers) {
        const QString text = parser.value(QString::fromLatin1(option.name));
        bool isNumber = false;
        const qint64 number = text.toLongLong(&isNumber);
        if (!isNumber || number < option.lowest || number > option.highest) {
            wrong = QStringLiteral("--%1 must be a number from %2 to %3, not \"%4\"")
                        .arg(QString::fromLatin1(option.name))
                        .arg(option.lowest)
                        .arg(option.highest)
                        .arg(text);
            return false;
        }
        option.set(options, number);
    }
    return true;
}

bool readOrigins(const QCommandLineParser& parser, Options& options, QString& wrong)
{
    for (const QString& text : parser.values(QStringLiteral("origin"))) {
        const std::optional<std::string> origin = normalOrigin(text.toStdString());
        if (!origin) {
            wrong = QStringLiteral("--origin must look like https://name:port, not \"%1\"").arg(text);
            return false;
        }
        options.origins.push_back(*origin);
    }
    return true;
}

void readPaths(const QCommandLineParser& parser, Options& options)
{
    options.page = parser.value(QStringLiteral("page"));
    options.program = parser.value(QStringLiteral("program"));
    options.logDir = parser.value(QStringLiteral("log-dir"));
    if (options.program.isEmpty()) {
        const QString beside = QCoreApplication::applicationDirPath();
        const QString found = QStandardPaths::findExecutable(QStringLiteral("LumoPlayTool"), {beside});
        options.program = found.isEmpty() ? beside + QStringLiteral("/LumoPlayTool") : found;
    }
    if (options.logDir.isEmpty())
        options.logDir =
            QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/logs");
}

} // namespace

std::optional<Options> readOptions(const QStringList& arguments, QString& printed, int& exitCode)
{
    Options options;
    QCommandLineParser parser;
    describe(parser, options);

    const bool parsed = parser.parse(arguments);
    exitCode = 0;
    if (parsed && parser.isSet(QStringLiteral("help"))) {
        printed = parser.helpText();
        return std::nullopt;
    }
    if (parsed && parser.isSet(QStringLiteral("version"))) {
        printed = QStringLiteral("lumo-host " LUMO_VERSION "\n");
        return std::nullopt;
    }
    QString wrong = parsed ? QString() : parser.errorText();
    if (wrong.isEmpty() && !parser.positionalArguments().isEmpty())
        wrong = QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first());
    if (!wrong.isEmpty() || !readNumbers(parser, options, wrong) || !readOrigins(parser, options, wrong)) {
        printed = QStringLiteral("lumo-host: %1\n").arg(wrong);
        exitCode = 2;
        return std::nullopt;
    }
    readPaths(parser, options);
    return options;
}

} // namespace lumo::host
