#include "HttpServer.h"

#include <stdexcept>

#include <boost/asio/ip/v6_only.hpp>

#include "HttpConnection.h"
#include "ListenSocket.h"

namespace lumo::host
{

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace
{

constexpr int kPortTries = 16;
constexpr std::chrono::milliseconds kAcceptRetry{100};

error_code bindAndListen(tcp::acceptor& acceptor, const tcp::endpoint& endpoint)
{
    error_code failed;
    acceptor.open(endpoint.protocol(), failed);
    if (failed)
        return failed;
    prepareListenSocket(acceptor.native_handle());
    if (endpoint.address().is_v6())
        acceptor.set_option(asio::ip::v6_only(true), failed);
    if (!failed)
        acceptor.bind(endpoint, failed);
    if (!failed)
        acceptor.listen(asio::socket_base::max_listen_connections, failed);
    return failed;
}

/// One of the connections that may exist at a time; gives its place back when the last holder lets go.
std::shared_ptr<void> takeSlot(const std::shared_ptr<size_t>& count)
{
    ++*count;
    return std::shared_ptr<void>(nullptr, [count](void*) { --*count; });
}

} // namespace

HttpServer::HttpServer(asio::io_context& io, const Options& options, PageLink& link)
    : io_(io), options_(options), link_(link)
{
}

uint16_t HttpServer::listen()
{
    // A port that the system picks for 127.0.0.1 may be taken on ::1; then another is picked.
    int tries = options_.port == 0 ? kPortTries : 1;
    while (!open(options_.port))
        if (--tries == 0)
            throw std::runtime_error("port " + std::to_string(options_.port) + " is taken on [::1]");

    const uint16_t port = listeners_.front()->acceptor.local_endpoint().port();
    context_.reset(new HttpContext{options_, OriginPolicy(port, options_.origins),
                                   StaticFiles(std::filesystem::path(options_.page.toStdU16String())), link_});
    for (const auto& listener : listeners_)
        accept(*listener);
    return port;
}

/// False when the port is taken on ::1 only. A system without ::1 is none the worse for it.
bool HttpServer::open(uint16_t port)
{
    listeners_.clear();
    auto v4 = std::make_unique<Listener>(io_);
    if (const error_code failed = bindAndListen(v4->acceptor, {asio::ip::address_v4::loopback(), port}))
        throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + failed.message());
    const uint16_t taken = v4->acceptor.local_endpoint().port();
    listeners_.push_back(std::move(v4));

    auto v6 = std::make_unique<Listener>(io_);
    const error_code failed = bindAndListen(v6->acceptor, {asio::ip::address_v6::loopback(), taken});
    if (!failed)
        listeners_.push_back(std::move(v6));
    return failed != asio::error::address_in_use;
}

void HttpServer::close()
{
    for (const auto& listener : listeners_) {
        listener->retryTimer.cancel();
        error_code ignored;
        listener->acceptor.close(ignored);
    }
}

void HttpServer::accept(Listener& listener)
{
    listener.acceptor.async_accept(io_, [this, &listener](error_code failed, tcp::socket socket) {
        if (!listener.acceptor.is_open())
            return;
        if (failed) {
            retryLater(listener);
            return;
        }
        accept(listener); // first: the next one must come whatever becomes of this one
        // One too many is closed at once: better than to let it wait behind those that may never speak.
        if (*connections_ < options_.maxConnections)
            std::make_shared<HttpConnection>(std::move(socket), *context_, takeSlot(connections_))->start();
    });
}

/// Out of descriptors or the like: it passes when others close.
void HttpServer::retryLater(Listener& listener)
{
    listener.retryTimer.expires_after(kAcceptRetry);
    listener.retryTimer.async_wait([this, &listener](error_code cancelled) {
        if (!cancelled && listener.acceptor.is_open())
            accept(listener);
    });
}

} // namespace lumo::host
