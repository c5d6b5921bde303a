// The page is served, and nothing outside its folder.
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

class StaticFilesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::create_directories(folder / "web/assets");
        std::ofstream(folder / "web/index.html") << "<p>page</p>";
        std::ofstream(folder / "web/assets/a b.js") << "1;";
        std::ofstream(folder / "secret.txt") << "secret";
        fs::create_symlink(folder / "secret.txt", folder / "web/link.txt");
    }
    void TearDown() override { fs::remove_all(folder); }
    fs::path folder = fs::temp_directory_path() / ("lumo-page-" + std::to_string(getpid()));
};

} // namespace

TEST_F(StaticFilesTest, IndexAndFilesCarryTheirTypes)
{
    RecorderProcess recorder({"--web", (folder / "web").string()});
    const HttpReply index = httpGet(recorder.http("/"));
    EXPECT_EQ(index.status, 200);
    EXPECT_EQ(index.body, "<p>page</p>");
    EXPECT_EQ(index.type, "text/html; charset=utf-8");
    EXPECT_EQ(httpGet(recorder.http("/index.html")).body, "<p>page</p>");
    const HttpReply script = httpGet(recorder.http("/assets/a%20b.js"));
    EXPECT_EQ(script.body, "1;");
    EXPECT_EQ(script.type, "text/javascript; charset=utf-8");
}

TEST_F(StaticFilesTest, NothingOutsideTheFolderIsServed)
{
    RecorderProcess recorder({"--web", (folder / "web").string()});
    for (const char* path : {"/../secret.txt", "/%2e%2e/secret.txt", "/assets/..%2f..%2f../secret.txt", "/link.txt",
                             "//etc/passwd", "/%2fetc/passwd", "/none.html", "/assets", "/index.html%00.js"}) {
        const HttpReply reply = httpGet(recorder.http(path));
        EXPECT_NE(reply.status, 200) << path;
        EXPECT_EQ(reply.body.find("secret"), std::string::npos) << path;
        EXPECT_EQ(reply.body.find("root:"), std::string::npos) << path;
    }
    EXPECT_EQ(httpPost(recorder.http("/"), "x").status, 404);
}

TEST_F(StaticFilesTest, WithoutAFolderThereIsNoPage)
{
    RecorderProcess recorder;
    EXPECT_EQ(httpGet(recorder.http("/")).status, 404);
}
