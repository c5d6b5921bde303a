// The decoder port's guard: which call follows which state.
#include "LibraryStub.h"

#include "decode/DecodeChannel.h"
#include "decode/DrawRegistry.h"

#include <gmock/gmock.h>

#include <ctime>
#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class DecodeChannelTest : public testing::Test
{
protected:
    LibraryStub& stub = LibraryStub::reset();
    CDecodeChannel channel{3};

    /// A port at normal speed with its start's calls forgotten.
    void play()
    {
        channel.SetWnd(77);
        ASSERT_EQ(1, channel.Open(0));
        ASSERT_EQ(1, channel.StartPreview());
        stub.calls.clear();
    }

    /// A port in any state that SetPlayMode can reach.
    void playIn(int nState)
    {
        play();
        ASSERT_EQ(nState, channel.SetPlayMode(nState));
        stub.calls.clear();
    }
};

TEST_F(DecodeChannelTest, PreviewOpensSetsOptionAndPlaysIntoTheWindow)
{
    channel.SetWnd(77);
    channel.Open(0);
    channel.StartPreview();
    EXPECT_THAT(stub.calls, ElementsAre("OpenStream 3 1 4096000", "SetPreviewOption 3 8", "Play 3 77"));
    EXPECT_EQ(CDecodeChannel::kNormal, channel.GetPlayState());
}

TEST_F(DecodeChannelTest, SubStreamGetsHalfTheBuffer)
{
    channel.Open(1);
    EXPECT_THAT(stub.calls, ElementsAre("OpenStream 3 1 2048000"));
}

TEST_F(DecodeChannelTest, SecondOpenReturnsOneAndCallsNothing)
{
    channel.Open(0);
    stub.calls.clear();
    EXPECT_EQ(1, channel.Open(1));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, CloseOnAClosedObjectReturnsOneAndCallsNothing)
{
    EXPECT_EQ(1, channel.Close());
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, RefusedCloseStaysOpen)
{
    channel.Open(0);
    stub.results["CloseStream"] = 0;
    EXPECT_EQ(0, channel.Close());
    stub.results["CloseStream"] = 1;
    EXPECT_EQ(1, channel.Close());
    EXPECT_THAT(stub.calls, ElementsAre("OpenStream 3 1 4096000", "CloseStream 3", "CloseStream 3"));
}

TEST_F(DecodeChannelTest, RefusedPreviewOptionDoesNotPlay)
{
    stub.results["SetPreviewOption"] = 0;
    EXPECT_EQ(0, channel.StartPreview());
    EXPECT_THAT(stub.calls, ElementsAre("SetPreviewOption 3 8"));
    EXPECT_EQ(CDecodeChannel::kStopped, channel.GetPlayState());
}

TEST_F(DecodeChannelTest, StartOnAPlayingPortReturnsOneAndCallsNothing)
{
    play();
    EXPECT_EQ(1, channel.StartPreview());
    EXPECT_EQ(1, channel.StartPlayback(false));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, DevicePlaybackIgnoresARefusedStreamMode)
{
    stub.results["SetStreamMode"] = 0;
    EXPECT_EQ(1, channel.StartPlayback(false));
    EXPECT_THAT(stub.calls, ElementsAre("SetStreamMode 3 1", "Play 3 0"));
}

TEST_F(DecodeChannelTest, LocalPlaybackSetsNoStreamMode)
{
    EXPECT_EQ(1, channel.StartPlayback(true));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 0"));
}

TEST_F(DecodeChannelTest, StopOnAStoppedPortReturnsZeroAndCallsNothingNotEvenTheRegionReset)
{
    EXPECT_EQ(0, channel.StopPreview());
    EXPECT_EQ(0, channel.StopPlayback());
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, StopClearsTheRegionFirst)
{
    play();
    EXPECT_EQ(1, channel.StopPreview());
    EXPECT_THAT(stub.calls, ElementsAre("SetDisplayRegion 3 0 null 0 0", "Stop 3"));
    EXPECT_EQ(CDecodeChannel::kStopped, channel.GetPlayState());
}

TEST_F(DecodeChannelTest, StopWhilePausedLeavesTheRegionToTheLibrary)
{
    playIn(CDecodeChannel::kPaused);
    EXPECT_EQ(1, channel.StopPlayback());
    EXPECT_THAT(stub.calls, ElementsAre("Stop 3"));
}

TEST_F(DecodeChannelTest, PauseFromFastPlaysFirst)
{
    playIn(33);
    EXPECT_EQ(2, channel.SetPlayMode(2));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Pause 3 1"));
}

TEST_F(DecodeChannelTest, PauseFromNormalOnlyPauses)
{
    play();
    EXPECT_EQ(2, channel.SetPlayMode(2));
    EXPECT_THAT(stub.calls, ElementsAre("Pause 3 1"));
}

TEST_F(DecodeChannelTest, PauseThatCannotReturnToNormalKeepsTheState)
{
    playIn(17);
    stub.results["Play"] = 0;
    EXPECT_EQ(17, channel.SetPlayMode(2));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 77"));
}

TEST_F(DecodeChannelTest, NormalOnAStoppedPortReturnsOneAndCallsNothing)
{
    EXPECT_EQ(1, channel.SetPlayMode(0));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, NormalFromPauseResumes)
{
    playIn(2);
    EXPECT_EQ(0, channel.SetPlayMode(0));
    EXPECT_THAT(stub.calls, ElementsAre("Pause 3 0"));
}

TEST_F(DecodeChannelTest, FastWhileSteppingIsIgnored)
{
    for (const int nStep : {48, 49}) {
        ASSERT_EQ(nStep, channel.SetPlayMode(nStep));
        stub.calls.clear();
        EXPECT_EQ(nStep, channel.SetPlayMode(33)) << nStep;
        EXPECT_THAT(stub.calls, IsEmpty()) << nStep;
    }
}

TEST_F(DecodeChannelTest, ModesThatAreNoneKeepTheStateAndCallNothing)
{
    play();
    for (const int nMode : {-1, 1, 3, 15, 20, 31}) {
        EXPECT_EQ(0, channel.SetPlayMode(nMode)) << nMode;
        EXPECT_THAT(stub.calls, IsEmpty()) << nMode;
    }
}

TEST_F(DecodeChannelTest, PauseWhileSteppingPlaysFirst)
{
    play();
    for (const int nStep : {48, 49}) {
        ASSERT_EQ(nStep, channel.SetPlayMode(nStep));
        stub.calls.clear();
        EXPECT_EQ(2, channel.SetPlayMode(2)) << nStep;
        EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Pause 3 1")) << nStep;
    }
}

TEST_F(DecodeChannelTest, FastAndSlowFromPauseEndItByPlaying)
{
    playIn(2);
    EXPECT_EQ(32, channel.SetPlayMode(32));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Fast 3"));
    ASSERT_EQ(2, channel.SetPlayMode(2));
    stub.calls.clear();
    EXPECT_EQ(16, channel.SetPlayMode(16));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Slow 3"));
}

TEST_F(DecodeChannelTest, SlowWhileSteppingIsDone)
{
    play();
    for (const int nStep : {48, 49}) {
        ASSERT_EQ(nStep, channel.SetPlayMode(nStep));
        stub.calls.clear();
        EXPECT_EQ(16, channel.SetPlayMode(16)) << nStep;
        EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Slow 3")) << nStep;
    }
}

TEST_F(DecodeChannelTest, FastTakesOneStepPerMode)
{
    play();
    EXPECT_EQ(34, channel.SetPlayMode(34));
    EXPECT_THAT(stub.calls, ElementsAre("Play 3 77", "Fast 3", "Fast 3", "Fast 3"));
}

TEST_F(DecodeChannelTest, AFifthFastStepIsAccepted)
{
    play();
    EXPECT_EQ(36, channel.SetPlayMode(36));
    EXPECT_EQ(6u, stub.calls.size());
}

TEST_F(DecodeChannelTest, AnyFailingCallOfFastOrSlowKeepsTheState)
{
    for (int nFail = 1; nFail <= 3; ++nFail) {
        for (int nMode : {33, 17}) {
            LibraryStub::reset();
            CDecodeChannel other(5);
            ASSERT_EQ(1, other.StartPreview());
            stub.failAfter = nFail;
            EXPECT_EQ(0, other.SetPlayMode(nMode)) << nFail << ' ' << nMode;
        }
    }
}

TEST_F(DecodeChannelTest, StepsGoToTheLibrary)
{
    play();
    EXPECT_EQ(48, channel.SetPlayMode(48));
    EXPECT_EQ(49, channel.SetPlayMode(49));
    EXPECT_THAT(stub.calls, ElementsAre("OneByOne 3", "OneByOneBack 3"));
}

TEST_F(DecodeChannelTest, RegionByRectangleIsRefusedWhilePausedButByPointsIsNot)
{
    playIn(2);
    const LumoRect rect = {1, 2, 3, 4};
    EXPECT_EQ(0, channel.SetDisplayRegion(&rect, true));
    EXPECT_THAT(stub.calls, IsEmpty());
    EXPECT_TRUE(channel.SetDisplayRegion(QPoint(1, 2), QPoint(3, 4), true));
    EXPECT_THAT(stub.calls, ElementsAre("SetDisplayRegion 3 0 1 2 3 4 0 1"));
}

TEST_F(DecodeChannelTest, RegionByPointsWithoutEnableClearsIt)
{
    EXPECT_TRUE(channel.SetDisplayRegion(QPoint(1, 2), QPoint(3, 4), false));
    EXPECT_THAT(stub.calls, ElementsAre("SetDisplayRegion 3 0 null 0 0"));
}

TEST_F(DecodeChannelTest, RecordOnAStoppedPortReturnsZeroAndClearsTheFlag)
{
    play();
    EXPECT_EQ(1, channel.StartRecord("a.avi", 2));
    ASSERT_TRUE(channel.IsRecord());
    ASSERT_EQ(1, channel.StopPreview());
    stub.calls.clear();
    EXPECT_EQ(0, channel.StartRecord("b.avi", 2));
    EXPECT_FALSE(channel.IsRecord());
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(DecodeChannelTest, RefusedStartOfARecordClearsTheFlag)
{
    play();
    EXPECT_EQ(1, channel.StartRecord("a.avi", 2));
    ASSERT_TRUE(channel.IsRecord());
    stub.results["StartDataRecord"] = 0;
    EXPECT_EQ(0, channel.StartRecord("b.avi", 2));
    EXPECT_FALSE(channel.IsRecord());
}

TEST_F(DecodeChannelTest, RefusedStopOfARecordKeepsTheFlag)
{
    play();
    channel.StartRecord("a.avi", 2);
    stub.results["StopDataRecord"] = 0;
    EXPECT_EQ(0, channel.StopRecord());
    EXPECT_TRUE(channel.IsRecord());
    stub.results["StopDataRecord"] = 1;
    EXPECT_EQ(1, channel.StopRecord());
    EXPECT_FALSE(channel.IsRecord());
}

TEST_F(DecodeChannelTest, ColorIndexFourSendsAllAndFiveSendsTheStored)
{
    channel.SetColor(4, 70);
    channel.SetColor(5, 90);
    channel.SetColor(1, 11);
    EXPECT_THAT(stub.calls,
                ElementsAre("SetColor 3 0 70 70 70 70", "SetColor 3 0 70 70 70 70", "SetColor 3 0 70 11 70 70"));
}

TEST_F(DecodeChannelTest, GetColorIsRememberedWhateverItsResult)
{
    stub.results["GetColor"] = 0;
    int b = 0, c = 0, s = 0, h = 0;
    EXPECT_EQ(0, channel.GetColor(b, c, s, h));
    channel.SetColor(5, 0);
    EXPECT_THAT(stub.calls, ElementsAre("GetColor 3 0", "SetColor 3 0 10 20 30 40"));
}

TEST_F(DecodeChannelTest, SeekRepaintsAndAlwaysReturnsOne)
{
    stub.results["SetPlayPos"] = 0;
    stub.results["RefreshPlay"] = 0;
    EXPECT_EQ(1, channel.SetPlayPos(0.5f));
    EXPECT_THAT(stub.calls, ElementsAre("SetPlayPos 3 0.5", "RefreshPlay 3"));
}

TEST_F(DecodeChannelTest, LocalFileGetsItsEndCallbackOnlyWhenItOpened)
{
    stub.results["OpenFile"] = 0;
    EXPECT_EQ(0, channel.BeginLocalPlay("a.h265x", nullptr, 5));
    stub.results["OpenFile"] = 1;
    EXPECT_EQ(1, channel.BeginLocalPlay("a.h265x", nullptr, 5));
    EXPECT_THAT(stub.calls, ElementsAre("OpenFile 3 a.h265x", "OpenFile 3 a.h265x", "SetFileEndCallBack 3 5"));
}

TEST_F(DecodeChannelTest, ConversionTakesTypeTwoOnly)
{
    EXPECT_FALSE(CDecodeChannel::ChangeFileFormat("a", "b", 0, nullptr, 0));
    EXPECT_THAT(stub.calls, IsEmpty());
    EXPECT_TRUE(CDecodeChannel::ChangeFileFormat("a", "b", 2, nullptr, 0));
    stub.results["ConvertFile"] = -1;
    EXPECT_FALSE(CDecodeChannel::ChangeFileFormat("a", "b", 2, nullptr, 0));
}

class FrameTimeTest : public DecodeChannelTest
{
protected:
    void shown(int nHour, int nMinute, int nSecond)
    {
        std::tm tm{};
        tm.tm_year = 126;
        tm.tm_mon = 0;
        tm.tm_mday = 15;
        tm.tm_hour = nHour;
        tm.tm_min = nMinute;
        tm.tm_sec = nSecond;
        tm.tm_isdst = -1;
        stub.results["GetCurrentFrameTime"] = int(std::mktime(&tm));
    }
};

TEST_F(FrameTimeTest, PositionIsAFractionOfTheRangeOrTheSecondOfTheDay)
{
    play();
    EXPECT_EQ(1, channel.SetPlayTime("2026-01-15 10:00:00", "2026-01-15 11:00:00"));
    shown(10, 15, 0);
    EXPECT_FLOAT_EQ(0.25f, channel.GetTimePos(1));
    EXPECT_FLOAT_EQ(36900.f, channel.GetTimePos(2));
    EXPECT_EQ(1800, channel.GetSeekSeconds(500));
}

TEST_F(FrameTimeTest, AFrameBeforeTheRangeGivesZero)
{
    play();
    channel.SetPlayTime("2026-01-15 10:00:00", "2026-01-15 11:00:00");
    shown(9, 59, 59);
    EXPECT_EQ(0.f, channel.GetTimePos(1));
    EXPECT_EQ(0.f, channel.GetTimePos(2));
    EXPECT_EQ(0, channel.GetSeekSeconds(500));
}

TEST_F(FrameTimeTest, NoFrameAStoppedPortOrABackwardRangeGiveZero)
{
    channel.SetPlayTime("2026-01-15 10:00:00", "2026-01-15 09:00:00");
    shown(10, 15, 0);
    EXPECT_EQ(0.f, channel.GetTimePos(2));
    play();
    EXPECT_EQ(0, channel.GetSeekSeconds(500));
    stub.results["GetCurrentFrameTime"] = 0;
    EXPECT_EQ(0.f, channel.GetTimePos(1));
}

TEST_F(FrameTimeTest, SeekBeyondAllRangesIsTheLargestNumberOfSeconds)
{
    play();
    channel.SetPlayTime("2026-01-15 10:00:00", "2026-12-31 23:59:59");
    shown(10, 15, 0);
    EXPECT_EQ(std::numeric_limits<int>::max(), channel.GetSeekSeconds(std::numeric_limits<int>::max()));
    EXPECT_EQ(-std::numeric_limits<int>::max(), channel.GetSeekSeconds(std::numeric_limits<int>::min()));
}

TEST_F(FrameTimeTest, UnreadableTimesAreZeroAndAnEmptyRangeDividesByNothing)
{
    play();
    channel.SetPlayTime("rubbish", "2026");
    shown(1, 0, 0);
    EXPECT_EQ(3600.f, channel.GetTimePos(2));
    channel.SetPlayTime("", "");
    EXPECT_EQ(0.f, channel.GetTimePos(1));
}

struct SDrawn {
    int nCount = 0;
    LumoWindow hWnd = 0;
    int32_t nUser = 0;
} g_drawn;

void onDraw(int, void*, LumoWindow hWnd, int32_t nUser)
{
    g_drawn = {g_drawn.nCount + 1, hWnd, nUser};
}

TEST(DrawCallback, WorksOnPortZeroOnly)
{
    LibraryStub::reset();
    g_drawn = {};
    CDecodeChannel first(0);
    first.SetWnd(55);
    EXPECT_EQ(1, first.SetDrawCallback(&onDraw, -7)); // the stub draws once at registration
    EXPECT_EQ(1, g_drawn.nCount);
    EXPECT_EQ(55u, g_drawn.hWnd);
    EXPECT_EQ(-7, g_drawn.nUser);
    CDecodeChannel second(1);
    second.SetDrawCallback(&onDraw, 1);
    EXPECT_EQ(1, g_drawn.nCount);
}

TEST(DrawCallback, AWordWhoseChannelIsGoneLeadsNowhere)
{
    LibraryStub::reset();
    int32_t nWord = 0;
    {
        CDecodeChannel channel(0);
        nWord = drawregistry::add(&channel);
        EXPECT_EQ(&channel, drawregistry::find(nWord));
        drawregistry::remove(nWord);
    }
    EXPECT_EQ(nullptr, drawregistry::find(nWord));
    EXPECT_EQ(nullptr, drawregistry::find(0));
    EXPECT_EQ(nullptr, drawregistry::find(-1));
    EXPECT_EQ(nullptr, drawregistry::find(0x7FFFFFFF));
}

TEST(DecodeChannelEnd, TheDestructorStopsAndClosesThePort)
{
    LibraryStub& stub = LibraryStub::reset();
    {
        CDecodeChannel channel(9);
        channel.Open(0);
        channel.StartPreview();
        stub.calls.clear();
    }
    EXPECT_THAT(stub.calls, ElementsAre("SetDisplayRegion 9 0 null 0 0", "Stop 9", "CloseStream 9"));
}

TEST(DecodeChannelEnd, TheDestructorClosesAFileThatIsOpen)
{
    LibraryStub& stub = LibraryStub::reset();
    {
        CDecodeChannel channel(128);
        channel.SetWnd(77);
        channel.BeginLocalPlay(
            "/a.avi", [](int, intptr_t) {}, 0);
        channel.StartPlayback(true);
        stub.calls.clear();
    }
    EXPECT_THAT(stub.calls, ElementsAre("SetDisplayRegion 128 0 null 0 0", "Stop 128", "CloseFile 128"));
    {
        CDecodeChannel channel(128);
        channel.BeginLocalPlay(
            "/a.avi", [](int, intptr_t) {}, 0);
        channel.StopLocalPlay();
        stub.calls.clear();
    }
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST(PageCode, MapsEachStateAndNothingElse)
{
    const std::pair<int, int> kCases[] = {{1, 0}, {0, 2}, {2, 4}, {16, 5}, {19, 5}, {32, 6}, {35, 6}, {48, 7}, {49, 8}};
    for (const auto& [nState, nCode] : kCases)
        EXPECT_EQ(nCode, pageCodeOf(nState)) << nState;
    for (const int nState : {-1, 3, 15, 20, 31, 36, 47, 50})
        EXPECT_EQ(std::nullopt, pageCodeOf(nState)) << nState;
}

} // namespace
