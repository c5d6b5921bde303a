// The served page, and what the HTTP side makes of clients that mean no good.
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "HostRunner.h"
#include "WebClient.h"

using namespace lumo::test;

namespace
{

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/// What a process has had of the processors so far.
double processorSeconds(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skipped;
    for (int i = 0; i < 11; ++i) // from the state, the third, on
        fields >> skipped;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/// The next that a process would get.
rlim_t lowestFreeDescriptor(pid_t pid)
{
    const std::filesystem::path all = "/proc/" + std::to_string(pid) + "/fd";
    rlim_t free = 0;
    while (std::filesystem::exists(std::filesystem::symlink_status(all / std::to_string(free))))
        ++free;
    return free;
}

/// A host that serves a small page.
struct PageHost {
    QTemporaryDir folder;
    HostRunner host;

    explicit PageHost(const QStringList& more = {}) : host(QStringList{"--page", makePage(folder.path())} + more) {}

    static QString makePage(const QString& path)
    {
        const std::string base = path.toStdString();
        QDir(path).mkpath("page/assets");
        std::ofstream(base + "/page/index.html") << "<title>index</title>";
        std::ofstream(base + "/page/assets/app.js") << "run();";
        std::ofstream(base + "/page/assets/big.bin") << std::string(3 * 1024 * 1024, 'b');
        std::ofstream(base + "/secret.txt") << "secret";
        return path + "/page";
    }

    std::string get(const std::string& path, const std::string& method = "GET", const std::string& headers = "")
    {
        return httpAnswer(host.port(), path, method, headers);
    }
};

} // namespace

TEST(Http, FilesAreServedWithTheirTypes)
{
    PageHost page;
    const std::string index = page.get("/?title=x");
    EXPECT_EQ(statusOf(index), 200);
    EXPECT_EQ(bodyOf(index), "<title>index</title>");
    for (const char* header : {"Content-Type: text/html; charset=utf-8\r\n", "Cache-Control: no-cache\r\n",
                               "X-Content-Type-Options: nosniff\r\n", "Content-Security-Policy: default-src 'self'",
                               "Referrer-Policy: no-referrer\r\n"})
        EXPECT_TRUE(contains(index, header)) << header;
    EXPECT_TRUE(contains(page.get("/assets/app.js"), "Content-Type: text/javascript; charset=utf-8\r\n"));
    EXPECT_EQ(bodyOf(page.get("/assets/big.bin")), std::string(3 * 1024 * 1024, 'b'));
    EXPECT_EQ(statusOf(page.get("/none.html")), 404);
    EXPECT_EQ(statusOf(page.get("/assets")), 404);
}

TEST(Http, ThePageMayAskADeviceAnywhereButLoadsFromHereOnly)
{
    PageHost page;
    const std::string index = page.get("/");
    const size_t begin = index.find("Content-Security-Policy: ");
    ASSERT_NE(begin, std::string::npos);
    const std::string policy = index.substr(begin, index.find("\r\n", begin) - begin);
    EXPECT_TRUE(contains(policy, "default-src 'self';")) << policy;
    EXPECT_TRUE(contains(policy, "connect-src 'self' http: https: ws://127.0.0.1:* ws://localhost:*;")) << policy;
    EXPECT_FALSE(contains(policy, "script-src")) << policy; // that of default-src
}

TEST(Http, HeadGivesTheHeadOnly)
{
    PageHost page;
    for (const char* path : {"/", "/api/host", "/none.html"}) {
        const std::string head = page.get(path, "HEAD");
        EXPECT_EQ(bodyOf(head), "");
        const std::string length = "Content-Length: " + std::to_string(bodyOf(page.get(path)).size()) + "\r\n";
        EXPECT_TRUE(contains(head, length)) << head;
    }
}

TEST(Http, OtherMethodsAreRefused)
{
    PageHost page;
    EXPECT_EQ(statusOf(page.get("/", "DELETE")), 405);
    EXPECT_EQ(statusOf(page.get("/", "OPTIONS")), 405);
    RawConnection connection(page.host.port());
    connection.send("POST / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(page.host.port()) +
                    "\r\nConnection: close\r\nContent-Length: 2\r\n\r\n{}");
    const std::string post = connection.readAll();
    EXPECT_EQ(statusOf(post), 405);
    EXPECT_TRUE(contains(post, "Allow: GET, HEAD\r\n"));
}

TEST(Http, NothingOutsideThePageIsServed)
{
    PageHost page;
    for (const char* path : {"/../secret.txt", "/%2e%2e/secret.txt", "/assets/../../secret.txt", "/..%2fsecret.txt",
                             "/assets/..%5c..%5csecret.txt", "//etc/passwd", "/%00", "/assets/"}) {
        const std::string answer = page.get(path);
        EXPECT_EQ(statusOf(answer), 404) << path;
        EXPECT_FALSE(contains(answer, "secret\n") || contains(bodyOf(answer), "root:")) << path;
    }
    EXPECT_EQ(statusOf(page.get("http://127.0.0.1/")), 400);
    EXPECT_EQ(statusOf(page.get("*")), 400);
}

TEST(Http, OnlyLoopbackNamesAreAnswered)
{
    PageHost page;
    for (const char* header : {"Host: evil.example\r\n", "Host: 127.0.0.1\r\n", "Host: 127.0.0.1:1\r\n", ""}) {
        RawConnection connection(page.host.port());
        connection.send(std::string("GET / HTTP/1.1\r\n") + header + "Connection: close\r\n\r\n");
        EXPECT_EQ(statusOf(connection.readAll()), 403) << header;
    }
}

TEST(Http, TheHostTellsVersionAndSessions)
{
    PageHost page;
    EXPECT_EQ(bodyOf(page.get("/api/host")), "{\"version\":\"1.0.0\",\"sessions\":0}\n");
    WebPage first(page.host.port());
    EXPECT_EQ(first.ask("x"), "x");
    EXPECT_EQ(bodyOf(page.get("/api/host")), "{\"version\":\"1.0.0\",\"sessions\":1}\n");
}

TEST(Http, OnlyPagesOfAllowedOriginsMayReadAnswers)
{
    PageHost page({"--origin", "https://viewer.example"});
    EXPECT_TRUE(contains(page.get("/api/host", "GET", "Origin: https://viewer.example\r\n"),
                         "Access-Control-Allow-Origin: https://viewer.example\r\n"));
    EXPECT_FALSE(contains(page.get("/api/host", "GET", "Origin: https://evil.example\r\n"), "Access-Control"));
}

TEST(Http, AConnectionServesManyRequests)
{
    PageHost page;
    RawConnection connection(page.host.port());
    const std::string request =
        "GET /assets/app.js HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(page.host.port()) + "\r\n\r\n";
    for (int i = 0; i < 20; ++i) {
        connection.send(request);
        EXPECT_TRUE(contains(connection.readUntil("run();"), "200 OK"));
    }
    connection.send(request + request);
    connection.readUntil("run();");
    EXPECT_TRUE(contains(connection.readUntil("run();"), "200 OK"));
}

TEST(Http, GarbageIsAnsweredAndTheHostLivesOn)
{
    PageHost page;
    for (const std::string& garbage :
         {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n", 15), std::string(5000, '\0'),
          std::string("GET\r\n\r\n"), std::string("GET / HTTP/9.9\r\n\r\n"), std::string("\r\n\r\n\r\n \r\n"),
          std::string("GET / HTTP/1.1\r\nBroken header\r\n\r\n"),
          std::string("GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n")}) {
        RawConnection connection(page.host.port());
        connection.send(garbage);
        EXPECT_EQ(statusOf(connection.readAll()), 400) << garbage;
    }
    EXPECT_EQ(statusOf(page.get("/")), 200);
}

TEST(Http, NamesThatAreNoTextAreNotFoundAndTheHostLivesOn)
{
    PageHost page;
    for (const char* path : {"/%FF", "/%C0%AF", "/%ED%A0%80", "/assets/%FF.js"})
        EXPECT_EQ(statusOf(page.get(path)), 404) << path;
    EXPECT_EQ(statusOf(page.get("/")), 200);
}

TEST(Http, HeadersAndBodiesAreBounded)
{
    PageHost page;
    RawConnection endless(page.host.port());
    endless.send("GET / HTTP/1.1\r\nX: " + std::string(64 * 1024, 'x'));
    EXPECT_EQ(statusOf(endless.readAll()), 431);
    RawConnection large(page.host.port());
    large.send("POST / HTTP/1.1\r\nContent-Length: 100000000\r\n\r\n");
    EXPECT_EQ(statusOf(large.readAll()), 413);
}

TEST(Http, SlowAndSilentClientsArePutOut)
{
    PageHost page({"--request-timeout-ms", "300"});
    RawConnection silent(page.host.port());
    RawConnection half(page.host.port());
    half.send("GET / HTTP/1.1\r\nHost: 127");
    EXPECT_EQ(silent.readAll(), "");
    EXPECT_EQ(half.readAll(), "");

    // Byte after byte, each in time: the limit is on the whole request.
    RawConnection slow(page.host.port());
    EXPECT_TRUE(eventually([&] {
        try {
            slow.send("G");
            return false;
        } catch (const std::runtime_error&) {
            return true;
        }
    }));
    EXPECT_EQ(statusOf(page.get("/")), 200);
}

TEST(Http, ConnectionsAreCountedAndFreedAgain)
{
    PageHost page({"--max-connections", "4", "--request-timeout-ms", "1500"});
    std::vector<std::unique_ptr<RawConnection>> silent;
    for (int i = 0; i < 4; ++i)
        silent.push_back(std::make_unique<RawConnection>(page.host.port()));
    EXPECT_EQ(RawConnection(page.host.port()).readAll(), ""); // one too many: closed at once
    EXPECT_TRUE(eventually([&] {
        try {
            return statusOf(page.get("/")) == 200;
        } catch (const std::runtime_error&) {
            return false;
        }
    }));
}

TEST(Http, OutOfDescriptorsItWaitsAndGoesOnLater)
{
    if (!QFile::exists("/proc/net/if_inet6"))
        GTEST_SKIP() << "this machine has no IPv6, so one address only";
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer looks at each object's type through a pipe, so without descriptors all are wrong";
#endif
    PageHost page;
    const pid_t pid = static_cast<pid_t>(page.host.pid());
    EXPECT_EQ(statusOf(page.get("/")), 200);

    rlimit before{};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit noMore{lowestFreeDescriptor(pid), before.rlim_max};
    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &noMore, nullptr), 0);
    const RawConnection v4(page.host.port());
    const RawConnection v6(page.host.port(), true);
    const double began = processorSeconds(pid);
    // The measure is work of our own, not time: however busy the machine is, a host that goes round gets as much of it.
    const std::clock_t ownBegan = std::clock();
    while (std::clock() - ownBegan < CLOCKS_PER_SEC / 2) {
    }
    EXPECT_LT(processorSeconds(pid) - began, 0.1);

    ASSERT_EQ(prlimit(pid, RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_EQ(statusOf(page.get("/")), 200);
}

TEST(Http, ListensOnLoopbackAddressesOnly)
{
    PageHost page;
    char port[8];
    std::snprintf(port, sizeof port, ":%04X", page.host.port());
    int listeners = 0;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(table);
        std::string slot, local, remote, state, rest;
        std::getline(file, rest);
        while (file >> slot >> local >> remote >> state && std::getline(file, rest)) {
            if (state != "0A" || local.substr(local.find(':')) != port)
                continue;
            ++listeners;
            EXPECT_TRUE(local.substr(0, local.find(':')) == "0100007F" ||
                        local.substr(0, local.find(':')) == "00000000000000000000000001000000")
                << local;
        }
    }
    EXPECT_GE(listeners, 1);
}
