// One page's websocket: its text frames become commands, the process's messages become its text frames.
//
// Thread: made and run on the I/O thread; deliver() and finish() may be called from any thread. It keeps itself alive
// while its connection lasts.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

#include "BrowserWindow.h"
#include "Options.h"
#include "PendingCommands.h"

namespace lumo::host
{

class PageSession;

/// The far side of the pages: what starts and drives their processes. All calls come from the I/O thread.
class PageLink
{
public:
    virtual ~PageLink() = default;

    /// Room for one more page? A true is given back by gone() or released().
    virtual bool reserve() = 0;
    virtual void released() = 0;

    /// A page is connected; answers its session's id.
    virtual int opened(std::shared_ptr<PageSession> page, std::string title, PageConnection connection) = 0;
    virtual void command(int id, std::string text) = 0;
    virtual void gone(int id) = 0;

    /// Sessions that are not wholly over.
    virtual size_t sessions() const = 0;
};

class PageSession : public std::enable_shared_from_this<PageSession>
{
public:
    using UpgradeRequest = boost::beast::http::request<boost::beast::http::string_body>;

    /// The link and the options outlive the session. slot: released when the connection is over.
    PageSession(boost::beast::tcp_stream&& stream, PageLink& link, const Options& options, std::shared_ptr<void> slot);
    ~PageSession();

    /// Answers the upgrade and reads on. The link has reserved room for it.
    void accept(UpgradeRequest request);

    /// One message for the page. Any thread.
    void deliver(std::string text);

    /// Closes with a code and a reason once all was delivered. Any thread.
    void finish(uint16_t code, std::string reason);

    /// Commands that arrived and have not left for the process.
    std::shared_ptr<PendingCommands> pending() const { return pending_; }

private:
    void setUp();
    void onAccepted(boost::beast::error_code failed);
    void read();
    void onRead(boost::beast::error_code failed);
    bool admit(size_t bytes);
    void writeNext();
    void onWritten(boost::beast::error_code failed);
    void close(uint16_t code, const std::string& reason);
    void drop();
    void end();

    boost::beast::websocket::stream<boost::beast::tcp_stream> socket_;
    boost::asio::steady_timer closeTimer_;
    PageLink& link_;
    const Options& options_;
    std::shared_ptr<void> slot_;
    std::shared_ptr<PendingCommands> pending_ = std::make_shared<PendingCommands>();
    UpgradeRequest request_;
    boost::beast::flat_buffer incoming_;
    std::deque<std::string> outgoing_;
    std::atomic<size_t> unsent_{0};       // bytes: up by the Qt thread, down by the I/O thread
    std::atomic<bool> overflowed_{false}; // a message was dropped, so none after it may be delivered
    std::function<void()> closeWhenSent_;
    PageConnection connection_;
    int id_ = 0; // 0 until accepted
    bool closing_ = false;
    bool ended_ = false;
};

} // namespace lumo::host
