#include "WebClient.h"

#include <chrono>
#include <stdexcept>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

namespace lumo::test
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using asio::ip::tcp;

namespace
{

constexpr std::chrono::seconds kPatience{60};

/// Runs one operation to its end; start gets the flag and the error to set.
template <class Start> beast::error_code finish(asio::io_context& io, Start start)
{
    bool done = false;
    beast::error_code result;
    start([&done, &result](beast::error_code failed, auto&&...) {
        done = true;
        result = failed;
    });
    io.restart();
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!done && io.run_one_until(limit) > 0) {
    }
    if (!done)
        throw std::runtime_error("the host did not answer in time");
    return result;
}

void mustWork(beast::error_code failed)
{
    if (failed)
        throw std::runtime_error(failed.message());
}

tcp::endpoint loopback(uint16_t port, bool v6)
{
    if (v6)
        return {asio::ip::address_v6::loopback(), port};
    return {asio::ip::address_v4::loopback(), port};
}

} // namespace

// ---- The websocket

struct WebPage::Impl {
    asio::io_context io;
    websocket::stream<tcp::socket> socket{io};
};

WebPage::WebPage() : impl_(std::make_unique<Impl>()) {}

WebPage::WebPage(uint16_t port, const PageOptions& options) : WebPage()
{
    const int status = connect(port, options);
    if (status != 101)
        throw std::runtime_error("the upgrade was refused with " + std::to_string(status));
}

WebPage::~WebPage() = default;

int WebPage::connect(uint16_t port, const PageOptions& options)
{
    impl_->socket.next_layer().connect(loopback(port, options.v6));
    const std::string own = (options.v6 ? "[::1]:" : "127.0.0.1:") + std::to_string(port);
    const std::string origin = options.origin.value_or("http://" + own);
    impl_->socket.set_option(websocket::stream_base::decorator([origin](websocket::request_type& request) {
        if (!origin.empty())
            request.set(beast::http::field::origin, origin);
    }));
    websocket::response_type response;
    const beast::error_code failed = finish(impl_->io, [&](auto handler) {
        impl_->socket.async_handshake(response, options.host.value_or(own), options.target, handler);
    });
    if (failed && failed != websocket::error::upgrade_declined)
        throw std::runtime_error(failed.message());
    return static_cast<int>(response.result_int());
}

void WebPage::send(const std::string& text)
{
    impl_->socket.text(true);
    mustWork(finish(impl_->io, [&](auto handler) { impl_->socket.async_write(asio::buffer(text), handler); }));
}

void WebPage::sendBinary(const std::string& bytes)
{
    impl_->socket.binary(true);
    mustWork(finish(impl_->io, [&](auto handler) { impl_->socket.async_write(asio::buffer(bytes), handler); }));
}

void WebPage::sendBadText()
{
    // A final text frame of two bytes, masked with zeroes: a lone continuation byte is no UTF-8.
    const std::string frame("\x81\x82\0\0\0\0\x80\x80", 8);
    mustWork(finish(
        impl_->io, [&](auto handler) { asio::async_write(impl_->socket.next_layer(), asio::buffer(frame), handler); }));
}

std::string WebPage::receive()
{
    beast::flat_buffer buffer;
    mustWork(finish(impl_->io, [&](auto handler) { impl_->socket.async_read(buffer, handler); }));
    return beast::buffers_to_string(buffer.data());
}

std::string WebPage::ask(const std::string& command)
{
    send(command);
    return receive();
}

Closed WebPage::awaitClose()
{
    for (;;) {
        beast::flat_buffer buffer;
        const beast::error_code failed =
            finish(impl_->io, [&](auto handler) { impl_->socket.async_read(buffer, handler); });
        if (!failed)
            continue;
        // The answer to the close may find a host that is gone; what it said still counts.
        const websocket::close_reason& reason = impl_->socket.reason();
        return {reason.code, std::string(reason.reason.data(), reason.reason.size())};
    }
}

void WebPage::close()
{
    mustWork(
        finish(impl_->io, [&](auto handler) { impl_->socket.async_close(websocket::close_code::normal, handler); }));
}

void WebPage::drop()
{
    impl_->socket.next_layer().close();
}

// ---- Bare TCP

struct RawConnection::Impl {
    asio::io_context io;
    tcp::socket socket{io};
    std::string unread;
};

RawConnection::RawConnection(uint16_t port, bool v6) : impl_(std::make_unique<Impl>())
{
    impl_->socket.connect(loopback(port, v6));
}

RawConnection::~RawConnection() = default;

void RawConnection::send(const std::string& bytes)
{
    mustWork(finish(impl_->io, [&](auto handler) { asio::async_write(impl_->socket, asio::buffer(bytes), handler); }));
}

std::string RawConnection::readAll()
{
    finish(impl_->io,
           [&](auto handler) { asio::async_read(impl_->socket, asio::dynamic_buffer(impl_->unread), handler); });
    return std::move(impl_->unread);
}

std::string RawConnection::readUntil(const std::string& mark)
{
    mustWork(finish(impl_->io, [&](auto handler) {
        asio::async_read_until(impl_->socket, asio::dynamic_buffer(impl_->unread), mark, handler);
    }));
    const size_t size = impl_->unread.find(mark) + mark.size();
    std::string taken = impl_->unread.substr(0, size);
    impl_->unread.erase(0, size);
    return taken;
}

std::string httpAnswer(uint16_t port, const std::string& path, const std::string& method,
                       const std::string& moreHeaders)
{
    RawConnection connection(port);
    connection.send(method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                    "\r\nConnection: close\r\n" + moreHeaders + "\r\n");
    return connection.readAll();
}

int statusOf(const std::string& answer)
{
    return answer.size() > 12 ? std::stoi(answer.substr(9, 3)) : 0;
}

std::string bodyOf(const std::string& answer)
{
    const size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
}

} // namespace lumo::test
