// One TCP connection: answers HTTP requests one after the other, until it is closed or becomes a page's websocket.
//
// Thread: I/O thread. It keeps itself alive while something is under way. Each request has one limit of time for all
// of it, so that a client that sends a byte now and then is put out as surely as a silent one.
#pragma once

#include <memory>
#include <optional>

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "HttpServer.h"

namespace lumo::host
{

class HttpConnection : public std::enable_shared_from_this<HttpConnection>
{
public:
    /// slot: its place among the connections that may exist; passed on to the websocket.
    HttpConnection(boost::asio::ip::tcp::socket&& socket, const HttpContext& context, std::shared_ptr<void> slot);

    void start() { readRequest(); }

private:
    using Request = boost::beast::http::request<boost::beast::http::string_body>;

    void readRequest();
    void onRequest(boost::beast::error_code failed);
    void answer(const Request& request);
    void upgrade(Request request);
    void answerFile(const Request& request);
    void answerText(const Request& request, boost::beast::http::status status, std::string text,
                    const char* type = "text/plain; charset=utf-8");
    void refuseDamaged(boost::beast::error_code failed);
    template <class Body> void prepare(boost::beast::http::response<Body>& response, const Request& request);
    template <class Body> void send(boost::beast::http::response<Body>&& response);
    void onSent(boost::beast::error_code failed, bool keepAlive);
    void closeGently();
    void discard();

    boost::beast::tcp_stream stream_;
    boost::beast::flat_buffer buffer_;
    const HttpContext& context_;
    std::shared_ptr<void> slot_;
    std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
    size_t discarded_ = 0; // bytes thrown away while closing
};

} // namespace lumo::host
