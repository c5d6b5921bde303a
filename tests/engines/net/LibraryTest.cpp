// What holds for every call: handles, errors per thread, what is refused, what is exported.
#include "Viewer.h"

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class Library : public NetTest
{
protected:
    RtspPeer peer;
    Viewer viewer;
};

} // namespace

TEST_F(Library, HandlesAreNeverSmallAndDifferByKind)
{
    begin();
    std::set<int> seen;
    for (int i = 0; i < 3; ++i) {
        const int l = login(peer.url());
        EXPECT_GT(l, 0x10000);
        EXPECT_LT(l, 0x20000);
        const int h = play(l, viewer);
        EXPECT_GT(h, 0x20000);
        EXPECT_LT(h, 0x30000);
        EXPECT_TRUE(seen.insert(l).second);
        EXPECT_TRUE(seen.insert(h).second);
        EXPECT_EQ(LUMONET_Logout(l), 1); // a handle that was given back is not given out again soon
    }
}

TEST_F(Library, StaleForeignAndSmallHandlesAreRefused)
{
    begin();
    const int l = login(peer.url());
    const int h = play(l, viewer);
    ASSERT_TRUE(viewer.waitForCount(1));
    const int ended = login(peer.url());
    ASSERT_EQ(LUMONET_Logout(ended), 1);
    StreamOpenInfo wanted{};
    const auto refused = [](int result) { return result == 0 && LUMONET_GetLastError() == LUMONET_ERR_NOT_LOGGED_IN; };
    for (const int bad : {0, 1, -1, -11302, ended, h, 0x7FFFFFFF}) {
        EXPECT_TRUE(refused(LUMONET_RealPlay(bad, &wanted))) << bad;
        EXPECT_TRUE(refused(LUMONET_Logout(bad))) << bad;
        EXPECT_TRUE(refused(LUMONET_ReleaseLogin(bad))) << bad;
        EXPECT_TRUE(refused(LUMONET_OpenMessageChannel(bad))) << bad;
        EXPECT_TRUE(refused(LUMONET_RequestChannelFrame(bad, 0, 0))) << bad;
    }
    for (const int bad : {0, 1, -1, l, h + 1, 0x7FFFFFFF}) {
        EXPECT_TRUE(refused(LUMONET_StopRealPlay(bad, 0))) << bad;
        EXPECT_TRUE(refused(LUMONET_SetRealDataCallBack(bad, &Viewer::onData, 0))) << bad;
        EXPECT_TRUE(refused(LUMONET_SetRealDataCallBack_V2(bad, &Viewer::onFrame, 0))) << bad;
        EXPECT_TRUE(refused(LUMONET_DelRealDataCallBack(bad, &Viewer::onData, 0))) << bad;
        EXPECT_TRUE(refused(LUMONET_DelRealDataCallBack_V2(bad, &Viewer::onFrame, 0))) << bad;
    }
    const size_t count = viewer.count();
    EXPECT_TRUE(viewer.waitForCount(count + 3)) << "the stream goes on";
}

TEST_F(Library, LastErrorIsPerThread)
{
    begin();
    EXPECT_EQ(LUMONET_StopRealPlay(1, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    std::thread([] {
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NONE);
        EXPECT_EQ(LUMONET_QueryValue(1, nullptr, nullptr, 0), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    }).join();
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(Library, CallsBeforeInitAndAfterCleanupAreRefused)
{
    LUMONET_Cleanup();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(login(peer.url()), 0);
        EXPECT_EQ(error, LUMONET_ERR_NOT_LOGGED_IN);
        EXPECT_EQ(LUMONET_Logout(0x10001), 0);
        EXPECT_EQ(LUMONET_Cleanup(), 0);
        begin();
        EXPECT_EQ(LUMONET_Init(nullptr, nullptr), 0) << "once";
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
        EXPECT_EQ(LUMONET_Cleanup(), 1);
    }
}

TEST_F(Library, CleanupEndsRunningStreams)
{
    begin();
    ASSERT_GT(play(login(peer.url()), viewer), 0);
    ASSERT_TRUE(viewer.waitForCount(1));
    EXPECT_EQ(LUMONET_Cleanup(), 1);
    const size_t count = viewer.count();
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
    EXPECT_EQ(viewer.count(), count);
}

TEST_F(Library, WhatIsNotSpokenYetIsUnsupported)
{
    begin();
    const int l = login(peer.url());
    const int32_t query[3] = {};
    int32_t value = 0;
    const auto unsupported = [](int result) {
        return result == 0 && LUMONET_GetLastError() == LUMONET_ERR_UNSUPPORTED;
    };
    EXPECT_TRUE(unsupported(LUMONET_OpenMessageChannel(l))) << "a bare address has no events";
    EXPECT_TRUE(unsupported(LUMONET_QueryValue(l, query, &value, 10)));
}

TEST_F(Library, MissingRecordsAreRefused)
{
    begin();
    EXPECT_EQ(LUMONET_RealPlay(login(peer.url()), nullptr), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(LUMONET_InitAppInfo(nullptr), 0);
    LumoAppInfo app{};
    EXPECT_EQ(LUMONET_InitAppInfo(&app), 1);
    LUMONET_SetMessageCallback(nullptr, nullptr);
}

TEST(Timings, AreTheOnesWrittenDown)
{
    const Timings t;
    EXPECT_EQ(t.silenceMs, 5000);
    EXPECT_EQ(t.watchPeriodMs, 5000);
    EXPECT_EQ(t.watchFailures, 3);
    EXPECT_LE(t.openMs, 5000);
}

TEST(Exports, ListOfNumbersAndHeaderAgree)
{
    const auto read = [](const std::string& path) {
        std::ifstream in(path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    };
    const std::string header = read(LUMO_SOURCE_DIR "/src/device/LumoNet.h"),
                      list = read(LUMO_SOURCE_DIR "/engines/net/LumoNet.def");
    std::set<std::string> declared, listed, numbers;
    const std::regex inHeader("LUMONET_API\\s+\\w+\\s+(LUMONET_\\w+)\\("), inList("(LUMONET_\\w+)\\s+@(\\d+)");
    for (std::sregex_iterator i(header.begin(), header.end(), inHeader), end; i != end; ++i)
        declared.insert((*i)[1]);
    for (std::sregex_iterator i(list.begin(), list.end(), inList), end; i != end; ++i) {
        listed.insert((*i)[1]);
        EXPECT_TRUE(numbers.insert((*i)[2]).second) << "a number given twice: " << (*i)[2];
    }
    EXPECT_FALSE(declared.empty());
    EXPECT_EQ(declared, listed);
}
