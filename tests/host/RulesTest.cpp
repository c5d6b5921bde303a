// The host's rules as pure values.
#include <fstream>

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "BrowserWindow.h"
#include "OriginPolicy.h"
#include "StaticFiles.h"
#include "UrlText.h"
#include "WireFrame.h"

using namespace lumo::host;

TEST(OriginRule, OriginsAreNormalised)
{
    EXPECT_EQ(normalOrigin("http://Example.COM"), "http://example.com");
    EXPECT_EQ(normalOrigin("https://example.com:443/"), "https://example.com");
    EXPECT_EQ(normalOrigin("http://example.com:80"), "http://example.com");
    EXPECT_EQ(normalOrigin("http://example.com:443"), "http://example.com:443");
    EXPECT_EQ(normalOrigin("http://[::1]:0081"), "http://[::1]:81");
    EXPECT_EQ(normalOrigin("http://[FE80::1]"), "http://[fe80::1]");
}

TEST(OriginRule, WhatIsNoOriginIsRefused)
{
    for (const char* text :
         {"", "null", "example.com", "http://", "http://a/b", "http://a:0", "http://a:65536", "http://a:x",
          "http://a:", "http://user@a", "://a", "http://a b", "http://*", "http://[x]"})
        EXPECT_FALSE(normalOrigin(text)) << text;
}

TEST(OriginRule, OnlyLoopbackNamesWithOurPortAreAnswered)
{
    const OriginPolicy policy(9002, {});
    for (const char* host : {"127.0.0.1:9002", "localhost:9002", "LOCALHOST:9002", "[::1]:9002"})
        EXPECT_TRUE(policy.hostAllowed(host)) << host;
    for (const char* host : {"", "127.0.0.1", "127.0.0.1:9003", "localhost", "localhost.:9002", "evil.example:9002",
                             "127.0.0.1.evil.example:9002", "::1:9002", "127.0.0.2:9002", "127.0.0.1:9002 "})
        EXPECT_FALSE(policy.hostAllowed(host)) << host;
    EXPECT_TRUE(OriginPolicy(80, {}).hostAllowed("localhost"));
}

TEST(OriginRule, OnlyListedOriginsMayConnect)
{
    const OriginPolicy policy(9002, {"https://Viewer.Example"});
    for (const char* origin :
         {"http://127.0.0.1:9002", "http://localhost:9002", "http://[::1]:9002", "https://viewer.example"})
        EXPECT_TRUE(policy.originAllowed(origin)) << origin;
    for (const char* origin : {"", "null", "http://127.0.0.1", "https://127.0.0.1:9002", "http://viewer.example",
                               "https://viewer.example.evil", "https://viewer.example:444", "https://viewer.example/"})
        EXPECT_FALSE(policy.originAllowed(origin)) << origin;
}

TEST(UrlRule, EscapesAreDecodedOrRefused)
{
    EXPECT_EQ(percentDecode("a%20b%2Fc+d", false), "a b/c+d");
    EXPECT_EQ(percentDecode("a+b", true), "a b");
    for (const char* broken : {"%", "%2", "%zz", "a%2"})
        EXPECT_FALSE(percentDecode(broken, false)) << broken;
}

TEST(UrlRule, OnlyWellFormedTextIsUtf8)
{
    for (const char* text : {"", "a", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                             "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "a\xC3\xA4z"})
        EXPECT_TRUE(isUtf8(text)) << testing::PrintToString(text);
    for (const char* bytes : {"\xFF", "\x80", "\xC0\xAF", "\xC1\xBF", "\xC3", "\xC3z", "\xE0\x9F\xBF", "\xE2\x82",
                              "\xE2\x82z", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98",
                              "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "a\xC3\xA4\xFF"})
        EXPECT_FALSE(isUtf8(bytes)) << testing::PrintToString(bytes);
}

TEST(UrlRule, QueryValuesAreFound)
{
    EXPECT_EQ(queryValue("/?title=Web%20Viewer+7", "title"), "Web Viewer 7");
    EXPECT_EQ(queryValue("/?a=1&title=x&b", "title"), "x");
    EXPECT_EQ(queryValue("/?title", "title"), "");
    EXPECT_EQ(queryValue("/?subtitle=x", "title"), "");
    EXPECT_EQ(queryValue("/", "title"), "");
    EXPECT_EQ(queryValue("/?title=%zz", "title"), "");
    EXPECT_EQ(queryValue("/?&&title=x", "title"), "x");
}

TEST(FrameRule, HeaderCountsBytesInEightLowerCaseDigits)
{
    EXPECT_EQ(wireFrame("{}"), "00000002{}");
    EXPECT_EQ(wireFrame(""), "00000000");
    EXPECT_EQ(wireFrame("\xC3\xA4"), "00000002\xC3\xA4");
    EXPECT_EQ(wireFrame(std::string(0xABCD, 'x')).substr(0, 8), "0000abcd");
}

TEST(FrameRule, BodiesComeOutHoweverTheBytesAreSplit)
{
    const std::string stream = wireFrame("one") + wireFrame("") + wireFrame("three") + "0000000Aten bytes.";
    for (size_t piece = 1; piece <= stream.size(); ++piece) {
        WireFrameReader reader(100);
        std::vector<std::string> bodies;
        for (size_t at = 0; at < stream.size(); at += piece) {
            reader.append(stream.data() + at, std::min(piece, stream.size() - at));
            while (const auto body = reader.next())
                bodies.push_back(*body);
        }
        EXPECT_EQ(bodies, (std::vector<std::string>{"one", "", "three", "ten bytes."})) << piece;
        EXPECT_FALSE(reader.damaged());
    }
}

TEST(FrameRule, NothingFollowsADamagedHeader)
{
    for (const char* header : {"0000000g", "-0000001", "0x000001", "        ", "00000065"}) {
        WireFrameReader reader(100);
        reader.append(header, 8);
        EXPECT_FALSE(reader.next());
        EXPECT_TRUE(reader.damaged()) << header;
        reader.append("00000001x", 9);
        EXPECT_FALSE(reader.next());
    }
}

TEST(FileRule, PathsStayInsideTheFolder)
{
    QTemporaryDir outer;
    const std::filesystem::path base = outer.path().toStdString();
    std::filesystem::create_directories(base / "page/sub");
    std::filesystem::create_directories(base / "page-secret");
    for (const char* name :
         {"page/index.html", "page/sub/index.html", "page/a b.js", "page/.hidden", "secret.txt", "page-secret/x.txt"})
        std::ofstream(base / name) << name;
    std::filesystem::create_symlink(base / "secret.txt", base / "page/link.txt");
    std::filesystem::create_symlink(base / "page/index.html", base / "page/inner.html");

    const StaticFiles files(base / "page");
    EXPECT_EQ(files.find("/"), base / "page/index.html");
    EXPECT_EQ(files.find("/sub/"), base / "page/sub/index.html");
    EXPECT_EQ(files.find("/a%20b.js"), base / "page/a b.js");
    EXPECT_EQ(files.find("/inner.html"), base / "page/index.html");
    for (const char* path :
         {"", "index.html", "/sub", "/..", "/../secret.txt", "/%2e%2e/secret.txt", "/sub/../../secret.txt",
          "/..%2fsecret.txt", "/..%5csecret.txt", "/.hidden", "/link.txt", "/%2e/index.html", "/../page-secret/x.txt",
          "//etc/passwd", "/sub//index.html", "/index.html%00.js", "/index.html::$DATA", "/index.html.", "/%zz"})
        EXPECT_FALSE(files.find(path)) << path;
    EXPECT_FALSE(StaticFiles({}).find("/"));
    EXPECT_FALSE(StaticFiles(base / "none").find("/"));
}

TEST(FileRule, NamesAreTextAndNothingElse)
{
    QTemporaryDir outer;
    const std::filesystem::path base = outer.path().toStdString();
    for (const char* name : {"\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xC3\xA4.js"})
        std::ofstream(base / name) << name;
    const StaticFiles files(base);
    for (const char* path : {"/%FF", "/%C0%AF", "/%ED%A0%80", "/\xFF"})
        EXPECT_FALSE(files.find(path)) << path;
    EXPECT_EQ(files.find("/%C3%A4.js"), base / "\xC3\xA4.js");
}

TEST(FileRule, ContentTypesFollowTheSuffix)
{
    EXPECT_EQ(contentType("a/b.HTML"), "text/html; charset=utf-8");
    EXPECT_EQ(contentType("x.js"), "text/javascript; charset=utf-8");
    EXPECT_EQ(contentType("x.css"), "text/css; charset=utf-8");
    EXPECT_EQ(contentType("x.svg"), "image/svg+xml");
    EXPECT_EQ(contentType("x.wasm"), "application/wasm");
    EXPECT_EQ(contentType("x"), "application/octet-stream");
}

TEST(WindowRule, TheTitleDecidesThenTheActiveThenTheOnlyOne)
{
    const std::vector<TopLevelWindow> windows = {
        // handle, pid, title, active
        {0x10, 100, "First - Browser", false},
        {0x11, 100, "Second - Browser", true},
        {0x12, 50, "Terminal", false},
        {0x13, 0, "First", false},
    };
    EXPECT_EQ(chooseWindow({101, 100, 50}, windows, "First").handle, 0x10u);
    EXPECT_EQ(chooseWindow({101, 100, 50}, windows, "").handle, 0x11u);
    EXPECT_TRUE(chooseWindow({101, 100, 50}, windows, "").sure);

    // The title may come later, so the active one is only for want of a better.
    EXPECT_EQ(chooseWindow({101, 100, 50}, windows, "Third").handle, 0x11u);
    EXPECT_FALSE(chooseWindow({101, 100, 50}, windows, "Third").sure);

    EXPECT_EQ(chooseWindow({50}, windows, "Third").handle, 0x12u);
    EXPECT_TRUE(chooseWindow({50}, windows, "Third").sure);
    EXPECT_EQ(chooseWindow({7}, windows, "First").handle, 0u);
    EXPECT_EQ(chooseWindow({}, windows, "First").handle, 0u);

    // Several, none active: a guess would be worse than none.
    EXPECT_EQ(chooseWindow({9}, {{1, 9, "a", false}, {2, 9, "b", false}}, "").handle, 0u);
}

TEST(WindowRule, HandlesAreBareHexadecimalDigits)
{
    EXPECT_EQ(windowText(0), "");
    EXPECT_EQ(windowText(0x2A00003), "2a00003");
}
