#include "PageSession.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>

#include "UrlText.h"

namespace lumo::host
{

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

namespace
{

constexpr size_t kMaxTitle = 1024;             // bytes that are looked for in window titles
constexpr size_t kMaxReason = 123;             // bytes; a control frame holds no more
constexpr std::chrono::seconds kCloseLimit{5}; // for a page to answer a close

/// Cut to what a close frame holds, at the beginning of a character.
std::string closeReason(std::string reason)
{
    if (reason.size() <= kMaxReason)
        return reason;
    size_t size = kMaxReason;
    while (size > 0 && (static_cast<unsigned char>(reason[size]) & 0xC0) == 0x80)
        --size;
    reason.resize(size);
    return reason;
}

} // namespace

PageSession::PageSession(beast::tcp_stream&& stream, PageLink& link, const Options& options, std::shared_ptr<void> slot)
    : socket_(std::move(stream)), closeTimer_(socket_.get_executor()), link_(link), options_(options),
      slot_(std::move(slot))
{
}

PageSession::~PageSession()
{
    if (!ended_)
        link_.released();
}

void PageSession::accept(UpgradeRequest request)
{
    request_ = std::move(request);
    setUp();
    socket_.async_accept(request_, [self = shared_from_this()](beast::error_code failed) { self->onAccepted(failed); });
}

void PageSession::setUp()
{
    beast::error_code ignored;
    beast::tcp_stream& tcp = beast::get_lowest_layer(socket_);
    connection_.peerPort = tcp.socket().remote_endpoint(ignored).port();
    connection_.ownPort = tcp.socket().local_endpoint(ignored).port();
    tcp.socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    // The websocket keeps its own time from here on.
    tcp.expires_never();

    websocket::stream_base::timeout limits{};
    limits.handshake_timeout = options_.requestTimeout;
    limits.idle_timeout = options_.idleTimeout;
    limits.keep_alive_pings = true;
    socket_.set_option(limits);
    socket_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& response) { response.set(beast::http::field::server, "lumo-host"); }));
    socket_.read_message_max(options_.maxMessage);
    socket_.auto_fragment(false);
    socket_.text(true);
}

void PageSession::onAccepted(beast::error_code failed)
{
    if (failed)
        return;
    std::string title = queryValue(std::string(request_.target()), "title");
    if (title.size() > kMaxTitle)
        title.clear();
    request_ = {};
    id_ = link_.opened(shared_from_this(), std::move(title), connection_);
    read();
}

void PageSession::read()
{
    socket_.async_read(incoming_,
                       [self = shared_from_this()](beast::error_code failed, size_t) { self->onRead(failed); });
}

void PageSession::onRead(beast::error_code failed)
{
    if (failed) {
        end();
        return;
    }
    if (closing_) {
        // Too late for the process; read on only for the page's answer to the close.
        incoming_.clear();
        read();
        return;
    }
    if (!socket_.got_text()) {
        close(websocket::close_code::unknown_data, "commands are text, not binary");
        return;
    }
    if (!admit(incoming_.size())) {
        close(websocket::close_code::policy_error, "too many commands wait for the process");
        return;
    }
    link_.command(id_, beast::buffers_to_string(incoming_.data()));
    incoming_.clear();
    read();
}

/// Counts a command in; false when the page has more of them waiting than it may.
bool PageSession::admit(size_t bytes)
{
    if (pending_->count.load() >= options_.maxPendingCommands ||
        pending_->bytes.load() + bytes > options_.maxPendingBytes)
        return false;
    pending_->count.fetch_add(1);
    pending_->bytes.fetch_add(bytes);
    return true;
}

void PageSession::deliver(std::string text)
{
    // Counted here, before the hand-over: a process that floods must not fill the queue between the threads.
    const size_t size = text.size() + 1;
    if (overflowed_.load())
        return;
    if (unsent_.fetch_add(size) + size > options_.maxUnsentBytes) {
        overflowed_.store(true);
        finish(websocket::close_code::policy_error, "the page does not read its messages");
        return;
    }
    asio::post(socket_.get_executor(), [self = shared_from_this(), text = std::move(text), size]() mutable {
        if (self->closing_ || self->closeWhenSent_) {
            self->unsent_.fetch_sub(size);
            return;
        }
        self->outgoing_.push_back(std::move(text));
        if (self->outgoing_.size() == 1)
            self->writeNext();
    });
}

void PageSession::finish(uint16_t code, std::string reason)
{
    asio::post(socket_.get_executor(), [self = shared_from_this(), code, reason = std::move(reason)] {
        if (self->closing_ || self->closeWhenSent_)
            return;
        self->closeWhenSent_ = [self = self.get(), code, reason] { self->close(code, reason); };
        // A page that reads nothing never gets to the end of the queue.
        self->closeTimer_.expires_after(kCloseLimit);
        self->closeTimer_.async_wait([self](beast::error_code cancelled) {
            if (!cancelled)
                self->drop();
        });
        if (self->outgoing_.empty())
            self->closeWhenSent_();
    });
}

void PageSession::writeNext()
{
    socket_.async_write(asio::buffer(outgoing_.front()),
                        [self = shared_from_this()](beast::error_code failed, size_t) { self->onWritten(failed); });
}

void PageSession::onWritten(beast::error_code failed)
{
    if (failed)
        return; // the read that is always under way fails too, and ends the session
    unsent_.fetch_sub(outgoing_.front().size() + 1);
    outgoing_.pop_front();
    if (!outgoing_.empty())
        writeNext();
    else if (closeWhenSent_ && !closing_)
        closeWhenSent_();
}

void PageSession::close(uint16_t code, const std::string& reason)
{
    if (closing_ || ended_)
        return;
    closing_ = true;
    const std::string text = closeReason(reason);
    closeTimer_.expires_after(kCloseLimit);
    closeTimer_.async_wait([self = shared_from_this()](beast::error_code cancelled) {
        if (!cancelled)
            self->drop();
    });
    socket_.async_close(
        websocket::close_reason(static_cast<websocket::close_code>(code), beast::string_view(text.data(), text.size())),
        [self = shared_from_this()](beast::error_code) { self->end(); });
}

/// Ends the connection without a word; what is under way fails.
void PageSession::drop()
{
    beast::get_lowest_layer(socket_).close();
    end();
}

void PageSession::end()
{
    if (ended_)
        return;
    ended_ = true;
    closing_ = true;
    closeTimer_.cancel();
    beast::get_lowest_layer(socket_).close();
    slot_.reset();
    link_.gone(id_);
}

} // namespace lumo::host
