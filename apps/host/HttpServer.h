// Listens on the loopback addresses and makes a connection object for each client.
//
// Thread: everything runs on the one I/O thread that runs the io_context, except the constructor and listen().
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "Options.h"
#include "OriginPolicy.h"
#include "PageSession.h"
#include "StaticFiles.h"

namespace lumo::host
{

/// What every connection needs to answer. Constant while the server runs.
struct HttpContext {
    const Options& options;
    const OriginPolicy policy;
    const StaticFiles files;
    PageLink& link;
};

class HttpServer
{
public:
    HttpServer(boost::asio::io_context& io, const Options& options, PageLink& link);

    /// Takes the port on 127.0.0.1 and, where the system has it, on ::1, and begins to accept. Answers the port.
    /// Throws std::runtime_error in words for the user.
    uint16_t listen();

    /// Stops accepting. I/O thread.
    void close();

private:
    struct Listener {
        explicit Listener(boost::asio::io_context& io) : acceptor(io), retryTimer(io) {}
        boost::asio::ip::tcp::acceptor acceptor;
        boost::asio::steady_timer retryTimer;
    };

    bool open(uint16_t port);
    void accept(Listener& listener);
    void retryLater(Listener& listener);

    boost::asio::io_context& io_;
    const Options& options_;
    PageLink& link_;
    std::unique_ptr<HttpContext> context_;
    std::vector<std::unique_ptr<Listener>> listeners_; // one for each address
    std::shared_ptr<size_t> connections_ = std::make_shared<size_t>(0);
};

} // namespace lumo::host
