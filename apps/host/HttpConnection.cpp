#include "HttpConnection.h"

#include <boost/beast/version.hpp>
#include <boost/beast/websocket.hpp>

#include "UrlText.h"

namespace lumo::host
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

namespace
{

constexpr size_t kMaxHeader = 16 * 1024; // browsers add the cookies of every page on 127.0.0.1
constexpr size_t kMaxBody = 4 * 1024;    // nothing here takes a body
constexpr size_t kMaxDiscard = 256 * 1024;
constexpr std::chrono::seconds kCloseLimit{2};

std::string_view view(beast::string_view text)
{
    return {text.data(), text.size()};
}

/// The value of a header that must be there exactly once; empty otherwise.
template <class Fields> std::string_view single(const Fields& fields, http::field name)
{
    return fields.count(name) == 1 ? view(fields[name]) : std::string_view();
}

// What a served page may do: load from here, talk to hosts over loopback, and ask the device that its user logs in to,
// which may be anywhere, for its list of recordings.
constexpr const char* kContentPolicy =
    "default-src 'self'; img-src 'self' data: blob:; media-src 'self' blob:; style-src 'self' 'unsafe-inline'; "
    "connect-src 'self' http: https: ws://127.0.0.1:* ws://localhost:*; "
    "object-src 'none'; base-uri 'self'; form-action 'self'; frame-ancestors 'self'";

} // namespace

HttpConnection::HttpConnection(asio::ip::tcp::socket&& socket, const HttpContext& context, std::shared_ptr<void> slot)
    : stream_(std::move(socket)), buffer_(2 * kMaxHeader), context_(context), slot_(std::move(slot))
{
}

void HttpConnection::readRequest()
{
    parser_.emplace();
    parser_->header_limit(kMaxHeader);
    parser_->body_limit(kMaxBody);
    stream_.expires_after(context_.options.requestTimeout);
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](beast::error_code failed, size_t) { self->onRequest(failed); });
}

void HttpConnection::onRequest(beast::error_code failed)
{
    if (!failed) {
        Request request = parser_->release();
        if (beast::websocket::is_upgrade(request))
            upgrade(std::move(request));
        else
            answer(request);
    } else if (failed == http::error::end_of_stream) {
        closeGently();
    } else if (failed.category() == make_error_code(http::error::bad_method).category()) {
        refuseDamaged(failed);
    }
    // Anything else is a connection that is gone or was too slow.
}

void HttpConnection::refuseDamaged(beast::error_code failed)
{
    http::status status = http::status::bad_request;
    if (failed == http::error::header_limit || failed == http::error::buffer_overflow)
        status = http::status::request_header_fields_too_large;
    else if (failed == http::error::body_limit)
        status = http::status::payload_too_large;
    Request unread;
    unread.version(11);
    unread.keep_alive(false);
    answerText(unread, status, "This is no request that the host understands.\n");
}

void HttpConnection::answer(const Request& request)
{
    if (!context_.policy.hostAllowed(single(request, http::field::host)))
        return answerText(request, http::status::forbidden, "The host answers to loopback names only.\n");
    if (request.target().empty() || request.target().front() != '/')
        return answerText(request, http::status::bad_request, "The target must be a path.\n");
    if (request.method() != http::verb::get && request.method() != http::verb::head)
        return answerText(request, http::status::method_not_allowed, "GET and HEAD only.\n");
    if (targetPath(view(request.target())) == "/api/host")
        return answerText(request, http::status::ok,
                          "{\"version\":\"" LUMO_VERSION "\",\"sessions\":" + std::to_string(context_.link.sessions()) +
                              "}\n",
                          "application/json");
    answerFile(request);
}

void HttpConnection::upgrade(Request request)
{
    if (!context_.policy.hostAllowed(single(request, http::field::host)))
        return answerText(request, http::status::forbidden, "The host answers to loopback names only.\n");
    if (!context_.policy.originAllowed(single(request, http::field::origin)))
        return answerText(request, http::status::forbidden, "Pages of this origin may not connect.\n");
    if (targetPath(view(request.target())) != "/")
        return answerText(request, http::status::not_found, "The websocket is at the path /.\n");
    if (!context_.link.reserve())
        return answerText(request, http::status::service_unavailable, "Too many pages are open.\n");
    std::make_shared<PageSession>(std::move(stream_), context_.link, context_.options, std::move(slot_))
        ->accept(std::move(request));
}

void HttpConnection::answerFile(const Request& request)
{
    const std::optional<std::filesystem::path> file = context_.files.find(targetPath(view(request.target())));
    http::response<http::file_body> response;
    beast::error_code failed;
    if (file)
        response.body().open(file->string().c_str(), beast::file_mode::scan, failed);
    if (!file || failed)
        return answerText(request, http::status::not_found, "There is no such file.\n");

    const std::string_view type = contentType(*file);
    response.result(http::status::ok);
    response.set(http::field::content_type, beast::string_view(type.data(), type.size()));
    prepare(response, request);
    response.content_length(response.body().size());
    if (request.method() != http::verb::head)
        return send(std::move(response));
    http::response<http::empty_body> head(std::move(response.base()));
    send(std::move(head));
}

void HttpConnection::answerText(const Request& request, http::status status, std::string text, const char* type)
{
    http::response<http::string_body> response(status, 11);
    response.set(http::field::content_type, type);
    if (status == http::status::method_not_allowed)
        response.set(http::field::allow, "GET, HEAD");
    prepare(response, request);
    response.content_length(text.size());
    if (request.method() != http::verb::head)
        response.body() = std::move(text);
    send(std::move(response));
}

template <class Body> void HttpConnection::prepare(http::response<Body>& response, const Request& request)
{
    response.version(request.version());
    response.keep_alive(request.keep_alive());
    response.set(http::field::server, "lumo-host");
    response.set(http::field::cache_control, "no-cache");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Content-Security-Policy", kContentPolicy);
    // A page of an allowed origin may ask whether the host is there.
    response.set(http::field::vary, "Origin");
    const std::string_view origin = single(request, http::field::origin);
    if (context_.policy.originAllowed(origin))
        response.set(http::field::access_control_allow_origin, beast::string_view(origin.data(), origin.size()));
}

template <class Body> void HttpConnection::send(http::response<Body>&& response)
{
    const auto kept = std::make_shared<http::response<Body>>(std::move(response));
    const bool keepAlive = kept->keep_alive();
    const auto serializer = std::make_shared<http::response_serializer<Body>>(*kept);
    stream_.expires_after(context_.options.requestTimeout);
    http::async_write(stream_, *serializer,
                      [self = shared_from_this(), kept, serializer, keepAlive](beast::error_code failed, size_t) {
                          self->onSent(failed, keepAlive);
                      });
}

void HttpConnection::onSent(beast::error_code failed, bool keepAlive)
{
    if (failed)
        return;
    if (keepAlive)
        readRequest();
    else
        closeGently();
}

/// Says that no more comes, then reads what the client still sends: closing at once could take the answer with it.
void HttpConnection::closeGently()
{
    beast::error_code ignored;
    stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    stream_.expires_after(kCloseLimit);
    discard();
}

void HttpConnection::discard()
{
    buffer_.clear();
    stream_.async_read_some(buffer_.prepare(4096), [self = shared_from_this()](beast::error_code failed, size_t count) {
        self->discarded_ += count;
        if (!failed && self->discarded_ < kMaxDiscard)
            self->discard();
    });
}

} // namespace lumo::host
