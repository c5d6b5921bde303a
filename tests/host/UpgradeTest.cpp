// Who may open a page's websocket.
#include <gtest/gtest.h>

#include "HostRunner.h"
#include "WebClient.h"

using namespace lumo::test;

namespace
{

/// "%" stands for the host's port.
std::string withPort(std::string text, uint16_t port)
{
    const size_t mark = text.find('%');
    return mark == std::string::npos ? text : text.replace(mark, 1, std::to_string(port));
}

int upgradeStatus(uint16_t port, const std::string& hostHeader, const std::string& origin)
{
    WebPage page;
    return page.connect(port, {"/", withPort(hostHeader, port), withPort(origin, port), false});
}

} // namespace

TEST(Upgrade, NamesAndOriginsDecide)
{
    HostRunner host({"--origin", "https://viewer.example", "--origin", "http://other.example:8080/"});
    struct Row {
        const char* host;
        const char* origin;
        int status;
    };
    const Row rows[] = {
        {"127.0.0.1:%", "http://127.0.0.1:%", 101},
        {"127.0.0.1:%", "http://localhost:%", 101},
        {"localhost:%", "http://[::1]:%", 101},
        {"[::1]:%", "https://viewer.example", 101},
        {"127.0.0.1:%", "http://other.example:8080", 101},
        {"127.0.0.1:%", "https://evil.example", 403},
        {"127.0.0.1:%", "http://viewer.example", 403},
        {"127.0.0.1:%", "null", 403},
        {"127.0.0.1:%", "", 403},
        {"127.0.0.1:%", "http://127.0.0.1:1", 403},
        {"rebound.example:%", "http://rebound.example:%", 403},
        {"rebound.example:%", "http://127.0.0.1:%", 403},
        {"127.0.0.1", "http://127.0.0.1:%", 403},
        {"127.0.0.1:1", "http://127.0.0.1:%", 403},
    };
    for (const Row& row : rows)
        EXPECT_EQ(upgradeStatus(host.port(), row.host, row.origin), row.status) << row.host << " " << row.origin;
}

TEST(Upgrade, TwoHostOrOriginHeadersAreRefused)
{
    HostRunner host;
    const std::string own = "127.0.0.1:" + std::to_string(host.port());
    for (const std::string extra : {"Host: evil.example\r\n", "Origin: https://evil.example\r\n"}) {
        RawConnection connection(host.port());
        connection.send("GET / HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own + "\r\n" + extra +
                        "Upgrade: websocket\r\nConnection: Upgrade, close\r\nSec-WebSocket-Version: 13\r\n"
                        "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n");
        EXPECT_EQ(statusOf(connection.readAll()), 403) << extra;
    }
}

TEST(Upgrade, TheWebsocketIsAtTheRootOnly)
{
    HostRunner host;
    WebPage page;
    EXPECT_EQ(page.connect(host.port(), {"/other", {}, {}, false}), 404);
}

TEST(Upgrade, AHandshakeWithoutAKeyIsRefused)
{
    HostRunner host;
    const std::string own = "127.0.0.1:" + std::to_string(host.port());
    RawConnection connection(host.port());
    connection.send("GET / HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own +
                    "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n\r\n");
    EXPECT_EQ(statusOf(connection.readUntil("\r\n\r\n")), 400);
    EXPECT_TRUE(eventually(
        [&] { return bodyOf(httpAnswer(host.port(), "/api/host")).find("\"sessions\":0") != std::string::npos; }));
}

TEST(Upgrade, MorePagesThanAllowedAreTurnedAwayUntilOneGoes)
{
    HostRunner host({"--max-pages", "2"});
    WebPage first(host.port());
    WebPage second(host.port());
    EXPECT_EQ(WebPage().connect(host.port()), 503);
    first.close();
    EXPECT_TRUE(eventually([&] { return WebPage().connect(host.port()) == 101; }));
    EXPECT_EQ(second.ask("still here"), "still here");
}
