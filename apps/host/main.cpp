// lumo-host: lets a web page drive a native video process. See README.md beside this file.
//
// Two threads: Qt's (local sockets, processes) and one for all TCP connections. They talk by Mailbox in one direction
// and by boost::asio::post in the other.
#include <cstdio>
#include <stdexcept>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>

#include <QCoreApplication>
#include <QFileInfo>

#include "HandlerLoop.h"
#include "HttpServer.h"
#include "Mailbox.h"
#include "Options.h"
#include "SessionTable.h"

namespace
{

using namespace lumo::host;

/// Ends every session, then the program. The end goes by the I/O thread, behind the pages' farewells.
void shutDown(SessionTable& table, HttpServer& server, boost::asio::io_context& io, Mailbox& mailbox)
{
    boost::asio::post(io, [&server] { server.close(); });
    table.closeAll([&] { boost::asio::post(io, [&] { mailbox.post([] { QCoreApplication::quit(); }); }); });
}

int run(const Options& options)
{
    Mailbox mailbox;
    SessionTable table(options, mailbox);
    boost::asio::io_context io(1);
    HttpServer server(io, options, table);
    const uint16_t port = server.listen();

    boost::asio::signal_set endSignals(io, SIGINT, SIGTERM);
    endSignals.async_wait([&](boost::system::error_code failed, int) {
        if (!failed)
            mailbox.post([&] { shutDown(table, server, io, mailbox); });
    });
    const auto untilStopped = boost::asio::make_work_guard(io);
    std::thread ioThread([&io] { runHandlers(io); });

    std::printf("{\"port\":%u}\n", static_cast<unsigned>(port));
    std::fflush(stdout);
    const int exitCode = QCoreApplication::exec();

    io.stop();
    ioThread.join();
    mailbox.clear(); // it may hold pages, which must go before what they run on
    return exitCode;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lumo-host"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LUMO_VERSION));

    QString printed;
    int exitCode = 0;
    const std::optional<Options> options = readOptions(QCoreApplication::arguments(), printed, exitCode);
    if (!options) {
        std::fputs(qUtf8Printable(printed), exitCode == 0 ? stdout : stderr);
        return exitCode;
    }
    if (!options->page.isEmpty() && !QFileInfo(options->page).isDir())
        std::fprintf(stderr, "lumo-host: there is no folder %s, so no page is served\n", qUtf8Printable(options->page));
    try {
        return run(*options);
    } catch (const std::runtime_error& wrong) {
        std::fprintf(stderr, "lumo-host: %s\n", wrong.what());
        return 1;
    }
}
