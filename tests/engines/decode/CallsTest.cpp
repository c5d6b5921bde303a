// What each call means in each state of a port.
#include "Environment.h"
#include "Player.h"

#include <atomic>
#include <thread>

using namespace clip;

namespace
{

const uint8_t kHeader = 0;
const int32_t kOn = 1;

int open(int port)
{
    return LUMODEC_OpenStream(port, &kHeader, 1, 2048000);
}

/// Every call, in some order, with sensible arguments; counts those that succeed.
int callEverything(int port)
{
    TempFolder folder;
    const auto file = folder / "x.bmp";
    const LumoRect half{0, 0, 4096, 4096};
    const Bytes data(100, 7);
    int good = 0;
    good += LUMODEC_CloseStream(port) != 0;
    good += LUMODEC_Play(port, 0) != 0;
    good += LUMODEC_Stop(port) != 0;
    good += LUMODEC_Pause(port, 1) != 0;
    good += LUMODEC_InputData(port, data.data(), int(data.size())) != 0;
    good += LUMODEC_SetStreamMode(port, 1) != 0;
    good += LUMODEC_SetPreviewOption(port, 8) != 0;
    good += LUMODEC_PlaySound(port) != 0;
    good += LUMODEC_StopSound(port) != 0;
    good += LUMODEC_GetSourceBufferRemain(port) != 0;
    good += LUMODEC_GetBufferValue(port, 3) != 0;
    good += LUMODEC_RefreshPlay(port) != 0;
    good += LUMODEC_SetDisplayRegion(port, 0, &half, 0, 1) != 0;
    good += LUMODEC_SetDisplayRegion(port, 0, nullptr, 0, 0) != 0;
    good += LUMODEC_SetOriginalMode(port, 0, &kOn) != 0;
    good += LUMODEC_SetColor(port, 0, 1, 2, 3, 4) != 0;
    good += LUMODEC_CatchPicture(port, file.c_str(), 0) != 0;
    good += LUMODEC_StartDataRecord(port, file.c_str(), 0) != 0;
    good += LUMODEC_StopDataRecord(port) != 0;
    good += LUMODEC_GetCurrentFrameTime(port) != 0;
    return good;
}

TEST(CallsTest, PortsThatDoNotExistRefuseEverything)
{
    for (const int port : {-1, -500, 500, 501, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(open(port), 0) << port;
        EXPECT_EQ(callEverything(port), 0) << port;
        EXPECT_EQ(LUMODEC_RegisterDrawCallback(port, nullptr, 0), 0);
        int32_t a = 0, b = 0, c = 0, d = 0;
        EXPECT_EQ(LUMODEC_GetColor(port, 0, &a, &b, &c, &d), 0);
    }
}

TEST(CallsTest, ClosedPortRefusesEverything)
{
    const int port = Player::freePort();
    EXPECT_EQ(callEverything(port), 0);
    ASSERT_EQ(open(port), 1);
    ASSERT_EQ(LUMODEC_CloseStream(port), 1);
    EXPECT_EQ(callEverything(port), 0);
}

TEST(CallsTest, LastPortWorks)
{
    EXPECT_EQ(open(499), 1);
    EXPECT_EQ(LUMODEC_Play(499, 0), 1);
    EXPECT_EQ(LUMODEC_Stop(499), 1);
    EXPECT_EQ(LUMODEC_CloseStream(499), 1);
}

TEST(CallsTest, StoppedPortRefusesWhatNeedsAPicture)
{
    TempFolder folder;
    const int port = Player::freePort();
    ASSERT_EQ(open(port), 1);
    EXPECT_EQ(LUMODEC_Stop(port), 0);
    EXPECT_EQ(LUMODEC_Pause(port, 1), 0);
    EXPECT_EQ(LUMODEC_RefreshPlay(port), 0);
    EXPECT_EQ(LUMODEC_CatchPicture(port, (folder / "a.bmp").c_str(), 0), 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(port, (folder / "a.avi").c_str(), 2), 0);
    EXPECT_EQ(LUMODEC_StopDataRecord(port), 0);
    EXPECT_EQ(LUMODEC_CloseStream(port), 1);
}

TEST(CallsTest, ClosedPortRefusesTheFileCalls)
{
    const int port = Player::freePort();
    EXPECT_EQ(LUMODEC_OpenFile(port, "/nowhere.h265x"), 0);
    EXPECT_EQ(LUMODEC_CloseFile(port), 0);
    EXPECT_EQ(LUMODEC_Fast(port), 0);
    EXPECT_EQ(LUMODEC_Slow(port), 0);
    EXPECT_EQ(LUMODEC_OneByOne(port), 0);
    EXPECT_EQ(LUMODEC_OneByOneBack(port), 0);
    EXPECT_EQ(LUMODEC_SetPlayPos(port, 0.5f), 0);
    EXPECT_EQ(LUMODEC_GetPlayPos(port), 0.0f);
    EXPECT_EQ(LUMODEC_SetFileEndCallBack(port, nullptr, 0), 0);
    EXPECT_EQ(LUMODEC_ConvertFile("a", "b", 2, nullptr, 0), 0);
}

TEST(CallsTest, OpenStreamOnAPlayingPortIsRefusedOnAStoppedOneItStartsAnew)
{
    TestWindow window(160, 120);
    Player player(window.id());
    EXPECT_EQ(open(player.port()), 0);
    player.feed(quarters({}, kRed, kGreen, kBlue, kWhite));
    const LumoRect corner{4096, 4096, 8192, 8192};
    LUMODEC_SetDisplayRegion(player.port(), 0, &corner, 0, 1);
    LUMODEC_SetOriginalMode(player.port(), 0, &kOn);
    ASSERT_TRUE(eventually([&] { return window.shot().at(5, 5).near({255, 255, 255}); }));
    EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
    EXPECT_EQ(open(player.port()), 1);
    EXPECT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
    player.feed(quarters({}, kRed, kGreen, kBlue, kWhite));
    EXPECT_TRUE(eventually([&] { return window.shot().at(5, 5).near({255, 0, 0}); })) << "region and aspect are reset";
}

std::atomic<int> g_draws{0};
void countDraw(int, void*, int32_t)
{
    ++g_draws;
}

TEST(CallsTest, DrawCallbackSurvivesOpeningAfresh)
{
    g_draws = 0;
    TestWindow window(64, 48);
    Player player(window.id());
    LUMODEC_RegisterDrawCallback(player.port(), countDraw, 0);
    LUMODEC_Stop(player.port());
    ASSERT_EQ(open(player.port()), 1);
    ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
    player.feed(solid({}, kRed));
    EXPECT_TRUE(eventually([] { return g_draws > 0; }));
}

TEST(CallsTest, CallsOutOfRangeAreRefused)
{
    TempFolder folder;
    Player player;
    const int port = player.port();
    const LumoRect half{0, 0, 4096, 4096};
    EXPECT_EQ(LUMODEC_SetDisplayRegion(port, 1, &half, 0, 1), 0);
    EXPECT_EQ(LUMODEC_SetOriginalMode(port, 0, nullptr), 0);
    EXPECT_EQ(LUMODEC_SetOriginalMode(port, 5, &kOn), 0);
    EXPECT_EQ(LUMODEC_SetColor(port, 9, 64, 64, 64, 64), 0);
    EXPECT_EQ(LUMODEC_GetColor(port, 0, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(LUMODEC_SetPreviewOption(port, 3), 0);
    EXPECT_EQ(LUMODEC_SetStreamMode(port, 2), 0);
    EXPECT_EQ(LUMODEC_InputData(port, nullptr, 100), 0);
    EXPECT_EQ(LUMODEC_InputData(port, &kHeader, 0), 0);
    EXPECT_EQ(LUMODEC_InputData(port, &kHeader, -1), 0);
    EXPECT_EQ(LUMODEC_CatchPicture(port, nullptr, 0), 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(port, nullptr, 0), 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(port, (folder / "x").c_str(), 1), 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(port, "", 0), 0);
    EXPECT_EQ(LUMODEC_GetBufferValue(port, 77), 0);
}

TEST(CallsTest, OpeningTakesAnyHeaderAndBufferSize)
{
    const int port = Player::freePort();
    for (const int size : {0, -1, 1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(LUMODEC_OpenStream(port, nullptr, 0, size), 1);
        EXPECT_EQ(LUMODEC_Play(port, 0), 1);
        EXPECT_EQ(LUMODEC_Stop(port), 1);
    }
    EXPECT_EQ(LUMODEC_CloseStream(port), 1);
}

TEST(CallsTest, CloseStreamOfAPlayingPortStopsIt)
{
    TestWindow window(64, 48);
    const int port = Player::freePort();
    ASSERT_EQ(open(port), 1);
    ASSERT_EQ(LUMODEC_Play(port, window.id()), 1);
    EXPECT_EQ(LUMODEC_CloseStream(port), 1);
    EXPECT_EQ(LUMODEC_Stop(port), 0);
    EXPECT_EQ(LUMODEC_CloseStream(port), 0);
}

TEST(CallsTest, StoppedPortHoldsNoThread)
{
    const int before = threadCount();
    const int port = Player::freePort();
    ASSERT_EQ(open(port), 1);
    EXPECT_EQ(threadCount(), before);
    ASSERT_EQ(LUMODEC_Play(port, 0), 1);
    EXPECT_EQ(threadCount(), before + 1);
    ASSERT_EQ(LUMODEC_Stop(port), 1);
    EXPECT_TRUE(eventually([&] { return threadCount() == before; })); // the kernel's list lags behind the join
    LUMODEC_CloseStream(port);
}

// ---- calls from within a draw callback, and a stop that meets one

std::atomic<int> g_fromWithin{0};
std::atomic<bool> g_inside{false}, g_mayLeave{false}, g_left{false};

void callFromWithin(int port, void*, int32_t)
{
    int32_t a = 0, b = 0, c = 0, d = 0;
    LUMODEC_GetCurrentFrameTime(port);
    LUMODEC_GetColor(port, 0, &a, &b, &c, &d);
    LUMODEC_RegisterDrawCallback(port, callFromWithin, 0);
    g_fromWithin = 1 + LUMODEC_Stop(port) + LUMODEC_CloseStream(port) + LUMODEC_Play(port, 0);
}

void stayInside(int, void*, int32_t)
{
    g_inside = true;
    eventually([] { return g_mayLeave.load(); });
    g_left = true;
}

TEST(CallsTest, StateChangesFromWithinACallbackAreRefusedTheRestWorks)
{
    g_fromWithin = 0;
    TestWindow window(64, 48);
    Player player(window.id());
    LUMODEC_RegisterDrawCallback(player.port(), callFromWithin, 0);
    player.feed(solid({}, kRed));
    EXPECT_TRUE(eventually([] { return g_fromWithin == 1; }));
    player.close();
}

TEST(CallsTest, StopReturnsOnlyWhenTheDrawCallbackIsNotRunning)
{
    g_inside = g_mayLeave = g_left = false;
    TestWindow window(64, 48);
    Player player(window.id());
    LUMODEC_RegisterDrawCallback(player.port(), stayInside, 0);
    player.feed(solid({}, kRed));
    ASSERT_TRUE(eventually([] { return g_inside.load(); }));
    std::thread release([] { g_mayLeave = true; });
    EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
    EXPECT_TRUE(g_left);
    release.join();
}

TEST(CallsTest, StopAndCloseWhileInputFlows)
{
    TestWindow window(64, 48);
    Spec spec;
    spec.frames = 25;
    const auto units = numbered(spec);
    const int port = Player::freePort();
    std::atomic<bool> done{false};
    std::atomic<int> rounds{0};
    std::thread input([&] {
        while (!done) {
            for (const auto& unit : units)
                LUMODEC_InputData(port, unit.frame.data(), int(unit.frame.size()));
            ++rounds;
        }
    });
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(open(port), 1);
        LUMODEC_SetPreviewOption(port, 8);
        ASSERT_EQ(LUMODEC_Play(port, window.id()), 1);
        const int seen = rounds;
        eventually([&] { return rounds > seen; });
        if (i % 2) {
            EXPECT_EQ(LUMODEC_Stop(port), 1);
        }
        EXPECT_EQ(LUMODEC_CloseStream(port), 1);
    }
    done = true;
    input.join();
}

} // namespace
