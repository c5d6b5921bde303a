#include "hub/FileListRequest.h"

#include <gtest/gtest.h>

namespace
{

Json::Value parsed(const char* szText)
{
    Json::Value value;
    EXPECT_TRUE(fromText(szText, value));
    return value;
}

const char* const kList = R"({"Stream":1,"Channel":7,"FileInfo":[
    {"BeginTime":"2026-11-20 10:00:00","EndTime":"2026-11-20 10:30:00","FileLength":"0x0001E240","FileName":"a/b/c.h265x",
     "Channel":3,"Wnd":2,"FileType":5}, {}]})";

} // namespace

TEST(FileListRequest, ByNameTheChannelIsThatOfTheListAndTheWindowTheSelectedOne)
{
    const auto files = readPlayFiles(parsed(kList), 1, 3);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].channel, 7);
    EXPECT_EQ(files[0].streamType, 1);
    EXPECT_STREQ(files[0].beginTime, "2026-11-20 10:00:00");
    EXPECT_STREQ(files[0].endTime, "2026-11-20 10:30:00");
    EXPECT_EQ(files[0].fileSize, 123456);
    EXPECT_STREQ(files[0].fileName, "a/b/c.h265x");
    EXPECT_EQ(files[0].wnd, 3);
    EXPECT_EQ(files[0].fileType, 0);
    EXPECT_STREQ(files[0].namePart1, "");
    EXPECT_STREQ(files[0].namePart2, "");
}

TEST(FileListRequest, ByTimeEachEntryNamesItsChannelAndWindow)
{
    const auto files = readPlayFiles(parsed(kList), 2, 3);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].channel, 3);
    EXPECT_EQ(files[0].streamType, 1);
    EXPECT_STREQ(files[0].beginTime, "2026-11-20 10:00:00");
    EXPECT_EQ(files[0].wnd, 2);
    EXPECT_EQ(files[0].fileType, 5);
    EXPECT_EQ(files[0].fileSize, 0);
    EXPECT_STREQ(files[0].fileName, "");
}

TEST(FileListRequest, MissingKeysAreZeroAndEmpty)
{
    const auto files = readPlayFiles(parsed(kList), 2, 3);
    EXPECT_EQ(files[1].channel, 0);
    EXPECT_EQ(files[1].wnd, 0);
    EXPECT_STREQ(files[1].beginTime, "");
    EXPECT_TRUE(readPlayFiles(parsed("{}"), 1, 0).empty());
    EXPECT_TRUE(readDownloadFiles(parsed("{}")).empty());
}

TEST(FileListRequest, AnyOtherModeTakesOnlyTheStream)
{
    const auto files = readPlayFiles(parsed(kList), 0, 3);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].streamType, 1);
    EXPECT_EQ(files[0].channel, 0);
    EXPECT_EQ(files[0].wnd, 0);
    EXPECT_STREQ(files[0].beginTime, "");
}

TEST(FileListRequest, TextsAreCutToTheirFields)
{
    Json::Value request = parsed(kList);
    request["FileInfo"][0]["BeginTime"] = std::string(40, 'b');
    request["FileInfo"][0]["FileName"] = std::string(200, 'n');
    const auto files = readPlayFiles(request, 1, 0);
    EXPECT_EQ(std::string(files[0].beginTime), std::string(31, 'b'));
    EXPECT_EQ(std::string(files[0].fileName), std::string(107, 'n'));
    const auto downloads = readDownloadFiles(request);
    EXPECT_EQ(std::string(downloads[0].beginTime), std::string(31, 'b'));
    EXPECT_EQ(std::string(downloads[0].fileName), std::string(107, 'n'));
}

TEST(FileListRequest, LengthIsHexadecimalWithItsPrefixOrZero)
{
    Json::Value request = parsed(kList);
    const std::pair<const char*, int> lengths[] = {
        {"0x10", 16}, {"0xFFFFFFFF", -1}, {"0x123456789", 0x12345678}, {"10", 0}, {"", 0}, {"long", 0}};
    for (const auto& [szText, nLength] : lengths) {
        request["FileInfo"][0]["FileLength"] = szText;
        EXPECT_EQ(readDownloadFiles(request)[0].fileSize, nLength) << szText;
    }
}

TEST(FileListRequest, DownloadsTakeChannelAndStreamOfTheList)
{
    const auto files = readDownloadFiles(parsed(kList));
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].channel, 7);
    EXPECT_EQ(files[0].streamType, 1);
    EXPECT_EQ(files[0].fileSize, 123456);
    EXPECT_STREQ(files[0].fileName, "a/b/c.h265x");
    EXPECT_STREQ(files[0].beginTime, "2026-11-20 10:00:00");
    EXPECT_STREQ(files[0].endTime, "2026-11-20 10:30:00");
    EXPECT_EQ(files[1].channel, 7);
}

TEST(FileListRequest, KeyOfTheWrongTypeThrows)
{
    Json::Value request = parsed(kList);
    request["FileInfo"][0]["Wnd"] = "two";
    EXPECT_ANY_THROW(readPlayFiles(request, 2, 0));
    EXPECT_NO_THROW(readPlayFiles(request, 1, 0));
}
