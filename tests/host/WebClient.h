// A page's side of the host for tests: a websocket, and bare TCP for everything that no decent client would send.
// Every call waits for its fact with a generous bound and throws std::runtime_error beyond it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace lumo::test
{

struct PageOptions {
    std::string target = "/";
    std::optional<std::string> host;   // default: 127.0.0.1:PORT
    std::optional<std::string> origin; // default: http://127.0.0.1:PORT; empty: none is sent
    bool v6 = false;
};

struct Closed {
    int code = 0;
    std::string reason;
};

class WebPage
{
public:
    WebPage();
    explicit WebPage(uint16_t port, const PageOptions& options = {});
    ~WebPage();

    /// Asks for the upgrade; the HTTP status, 101 when the websocket stands.
    int connect(uint16_t port, const PageOptions& options = {});

    void send(const std::string& text);
    void sendBinary(const std::string& bytes);

    /// A text frame whose bytes are no valid text.
    void sendBadText();

    /// The next message. Throws when the socket closes instead.
    std::string receive();

    /// Sends one command and gives the next message.
    std::string ask(const std::string& command);

    /// Reads until the host closes, dropping messages; code 0 when the connection just broke.
    Closed awaitClose();

    /// Closes as a page does; or just lets the connection fall.
    void close();
    void drop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class RawConnection
{
public:
    explicit RawConnection(uint16_t port, bool v6 = false);
    ~RawConnection();

    void send(const std::string& bytes);

    /// Everything until the host closes its side.
    std::string readAll();

    /// Bytes up to and including the mark.
    std::string readUntil(const std::string& mark);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// One request on a connection of its own; the whole answer. path goes out as it is.
std::string httpAnswer(uint16_t port, const std::string& path, const std::string& method = "GET",
                       const std::string& moreHeaders = "");

/// Status code and body of an answer.
int statusOf(const std::string& answer);
std::string bodyOf(const std::string& answer);

} // namespace lumo::test
