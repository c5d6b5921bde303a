// The device link: calls and their arguments, errors into the page's codes.
#include "LibraryStub.h"

#include "device/LumoConnect.h"

#include <gmock/gmock.h>

#include <cstring>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class LumoConnectTest : public testing::Test
{
protected:
    LibraryStub& stub = LibraryStub::reset();
    CLumoConnect& connect = *CLumoConnect::instance();
    LoginContext context{};
    int ret = 0;

    void SetUp() override
    {
        copyField(context.ip, "10.0.0.9");
        copyField(context.user, "u");
        copyField(context.password, "p");
        copyField(context.serialNo, "SN1");
        copyField(context.token, "T1");
        context.port = 0x12345;
    }
};

TEST_F(LumoConnectTest, InitTellsTheApplicationAndReturnsTheFirstResult)
{
    stub.results["Init"] = 7;
    EXPECT_EQ(7, connect.InitLumoNet(nullptr, nullptr));
    EXPECT_THAT(stub.calls, ElementsAre("Init", "InitAppInfo lumoview 4"));
}

TEST_F(LumoConnectTest, LoginByAddressPassesSixteenBitsOfThePort)
{
    stub.results["Login"] = 5;
    EXPECT_EQ(5, connect.ConnectDevice(&context, &ret, ""));
    EXPECT_THAT(stub.calls, ElementsAre("Login \"10.0.0.9\" 9029 \"u\" \"p\" 0 0"));
}

TEST_F(LumoConnectTest, LoginBySerialNumberUsesPortZeroAndTheOtherSocketKind)
{
    context.loginType = 1;
    connect.ConnectDevice(&context, &ret, "O5");
    EXPECT_THAT(stub.calls, ElementsAre("Login \"SN1\" 0 \"u\" \"p\" 2 1000"));
}

TEST_F(LumoConnectTest, LoginByTokenPassesTheTokenThirdAndNeverThePassword)
{
    context.loginType = 2;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_THAT(stub.calls, ElementsAre("LoginEx_V2 \"SN1\" 0 \"T1\" \"\" 7 2"));
}

TEST_F(LumoConnectTest, AnUnknownLoginTypeCallsNothingAndGives1017)
{
    context.loginType = 3;
    EXPECT_EQ(0, connect.ConnectDevice(&context, &ret, ""));
    EXPECT_EQ(1017, ret);
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectTest, AGoodLoginFillsTheContext)
{
    stub.serialNo = std::string(32, 'S'); // no room for a zero byte
    stub.deviceName = std::string(64, 'N');
    stub.softwareVersion = "4.3";
    stub.channels = 4;
    stub.extraChannels = 12;
    stub.deviceType = 2;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ(std::string(31, 'S'), context.serialNo);
    EXPECT_EQ(std::string(63, 'N'), context.deviceName);
    EXPECT_STREQ("4.3", context.softwareVersion);
    EXPECT_EQ(16, context.channelCount);
    EXPECT_EQ(2, context.deviceType);
    EXPECT_GT(context.deviceId, 0);
}

TEST_F(LumoConnectTest, TheSerialNumberIsTakenFromTheDeviceForAnAddressLoginOnly)
{
    stub.serialNo = "REAL";
    context.loginType = 1;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_STREQ("SN1", context.serialNo);
}

TEST_F(LumoConnectTest, ADeviceKeepsItsIdAcrossLoginsOnOneContext)
{
    connect.ConnectDevice(&context, &ret, "");
    const int nFirst = context.deviceId;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ(nFirst, context.deviceId);
    context.deviceId = 0;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ(nFirst + 1, context.deviceId);
}

TEST_F(LumoConnectTest, TheMessageChannelIsOpenedForTheStyleToolOnly)
{
    copyField(context.alarmStyle, "Tool");
    stub.results["Login"] = 5;
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ("OpenMessageChannel 5", stub.calls.back());
    stub.calls.clear();
    copyField(context.alarmStyle, "tool");
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ(1u, stub.calls.size());
}

TEST_F(LumoConnectTest, LoginErrorsBecomeThePagesCodes)
{
    const std::pair<int, int> kCases[] = {{-11301, 106},  {-11302, 106},  {-11300, 107}, {-11303, 206},
                                          {-11304, 207},  {-11307, 999},  {-11317, 218}, {-10005, 1006},
                                          {-11401, 1017}, {-11613, 1012}, {-1, 1017},    {0, 1017}};
    stub.results["Login"] = 0;
    for (const auto& [nError, nRet] : kCases) {
        stub.loginError = nError;
        EXPECT_EQ(nError, connect.ConnectDevice(&context, &ret, "")) << nError;
        EXPECT_EQ(nRet, ret) << nError;
    }
}

TEST_F(LumoConnectTest, TranslateErrorDiffersAtItsEnd)
{
    const std::pair<int, int> kCases[] = {{-11301, 106},  {-11302, 106},  {-11300, 107}, {-11303, 206},
                                          {-11304, 207},  {-11307, 999},  {-11317, 218}, {-10005, 1006},
                                          {-11401, 1013}, {-11613, 1016}, {-1, 1016},    {0, 1016}};
    for (const auto& [nError, nRet] : kCases)
        EXPECT_EQ(nRet, CLumoConnect::TranslateError(nError)) << nError;
}

TEST_F(LumoConnectTest, ACloudErrorFillsItsText)
{
    stub.results["Login"] = 0;
    stub.loginError = -11613;
    stub.cloudError = std::string(260, 'c');
    connect.ConnectDevice(&context, &ret, "");
    EXPECT_EQ(std::string(259, 'c'), context.cloudError);
}

TEST_F(LumoConnectTest, AFailedLoginIsNeverAboveZero)
{
    stub.results["Login"] = 0;
    stub.loginError = 9;
    EXPECT_EQ(0, connect.ConnectDevice(&context, &ret, ""));
}

TEST_F(LumoConnectTest, AStreamIsOpenedGivenItsCallbackAndAskedForAKeyFrame)
{
    stub.results["RealPlay"] = 8;
    EXPECT_EQ(8, connect.ConnectChanel_V2(5, 3, 1, nullptr, 3));
    EXPECT_THAT(stub.calls, ElementsAre("RealPlay 5 3 1", "SetRealDataCallBack_V2 8 3", "RequestChannelFrame 5 3 1"));
    stub.calls.clear();
    EXPECT_EQ(8, connect.ConnectChanel(5, 3, 1, nullptr, 3));
    EXPECT_THAT(stub.calls, ElementsAre("RealPlay 5 3 1", "SetRealDataCallBack 8 3", "RequestChannelFrame 5 3 1"));
}

TEST_F(LumoConnectTest, ARefusedStreamGivesTheErrorInOneFormAndTheResultInTheOther)
{
    stub.results["RealPlay"] = -3;
    stub.results["GetLastError"] = -10005;
    EXPECT_EQ(-10005, connect.ConnectChanel_V2(5, 3, 1, nullptr, 3));
    EXPECT_EQ(-3, connect.ConnectChanel(5, 3, 1, nullptr, 3));
}

TEST_F(LumoConnectTest, AStreamLosesItsCallbackBeforeItStops)
{
    EXPECT_EQ(1, connect.DisconnectChannel_V2(8, nullptr, 3));
    EXPECT_EQ(1, connect.DisconnectChannel(9, nullptr, 4));
    EXPECT_THAT(stub.calls, ElementsAre("DelRealDataCallBack_V2 8 3", "StopRealPlay 8 0", "DelRealDataCallBack 9 4",
                                        "StopRealPlay 9 0"));
}

TEST_F(LumoConnectTest, LogoutReleasesFirst)
{
    EXPECT_EQ(1, connect.DisconnectDevice(5));
    EXPECT_THAT(stub.calls, ElementsAre("ReleaseLogin 5", "Logout 5"));
}

TEST_F(LumoConnectTest, PlaybackByNameNeedsABeginTime)
{
    PlaybackRequest request{};
    EXPECT_EQ(-1, connect.BeginPlayback(5, 2, 1, &request, nullptr, nullptr, 7));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectTest, PlaybackByNameFillsItsRecord)
{
    PlaybackRequest request{};
    request.streamType = 1;
    request.fileSize = 99;
    copyField(request.fileName, "a.h265x");
    copyField(request.beginTime, "2026-01-02 03:04:05");
    copyField(request.endTime, "2026-01-02 04:00:00");
    connect.BeginPlayback(5, 2, 1, &request, nullptr, nullptr, 7);
    EXPECT_THAT(stub.calls, ElementsAre("PlayBackByName 5 2 99 a.h265x 2026-1-2/3:4:5 2026-1-2/4:0:0 1 7"));
}

TEST_F(LumoConnectTest, PlaybackByTimeFillsItsRecord)
{
    PlaybackRequest request{};
    request.fileType = 3;
    copyField(request.beginTime, "2026-01-02 03:04:05");
    copyField(request.endTime, "2026-01-02 04:00:00");
    copyField(request.namePart1, "one");
    copyField(request.namePart2, "two");
    connect.BeginPlayback(5, 2, 2, &request, nullptr, nullptr, 7);
    EXPECT_THAT(stub.calls, ElementsAre("PlayBackByTimeEx 5 2 3 2026-1-2/3:4:5 2026-1-2/4:0:0 0 one two 7 7"));
}

TEST_F(LumoConnectTest, PlaybackModesBecomeControlCalls)
{
    struct Case {
        int requested, current;
        std::vector<std::string> calls;
        int result;
    };
    const Case kCases[] = {
        {32, 0, {"PlayBackControl 6 3 1 0"}, 32},
        {35, 17, {"PlayBackControl 6 3 4 0"}, 35},
        {16, 0, {"PlayBackControl 6 4 1 0"}, 16},
        {19, 33, {"PlayBackControl 6 4 4 0"}, 19},
        {0, 16, {"PlayBackControl 6 4 0 0"}, 0},
        {0, 35, {"PlayBackControl 6 3 0 0"}, 0},
        {0, 2, {"PlayBackControl 6 1 0 0"}, 0},
        {2, 18, {"PlayBackControl 6 4 0 0", "PlayBackControl 6 0 0 0"}, 2},
        {2, 34, {"PlayBackControl 6 3 0 0", "PlayBackControl 6 0 0 0"}, 2},
        {2, 0, {}, 0},
        {48, 0, {}, 0},
    };
    for (const Case& c : kCases) {
        stub.calls.clear();
        EXPECT_EQ(c.result, connect.SetPlaybackMode(6, c.requested, c.current)) << c.requested << ' ' << c.current;
        EXPECT_EQ(c.calls, stub.calls) << c.requested << ' ' << c.current;
    }
}

TEST_F(LumoConnectTest, ARefusedControlCallKeepsTheModeAndEndsTheRow)
{
    stub.results["PlayBackControl"] = 0;
    EXPECT_EQ(18, connect.SetPlaybackMode(6, 2, 18));
    EXPECT_THAT(stub.calls, ElementsAre("PlayBackControl 6 4 0 0"));
    EXPECT_EQ(2, connect.SetPlaybackMode(6, 0, 2));
}

TEST_F(LumoConnectTest, ARefusedSecondControlCallKeepsTheModeToo)
{
    const std::pair<int, const char*> kCases[] = {{18, "PlayBackControl 6 4 0 0"}, {34, "PlayBackControl 6 3 0 0"}};
    for (const auto& [nCurrent, szFirst] : kCases) {
        stub.calls.clear();
        stub.failAfter = 2;
        EXPECT_EQ(nCurrent, connect.SetPlaybackMode(6, 2, nCurrent));
        EXPECT_THAT(stub.calls, ElementsAre(szFirst, "PlayBackControl 6 0 0 0"));
    }
}

TEST_F(LumoConnectTest, SeekDownloadAndQueryPassTheirArguments)
{
    DownloadRequest request{};
    request.channel = 1;
    request.fileSize = 2;
    copyField(request.fileName, "n");
    copyField(request.beginTime, "2026-01-02 03:04:05");
    copyField(request.endTime, "2026-01-02 03:04:06");
    request.streamType = 3;
    EXPECT_EQ(1, connect.SeekPlayback(6, 12));
    EXPECT_EQ(1, connect.StartDownLoad(5, &request, "/t", nullptr, 8));
    EXPECT_EQ(0, connect.StopDownLoad(0));
    EXPECT_EQ(1, connect.StopDownLoad(4));
    EXPECT_EQ(42, connect.QueryValue(5, 1, 2, 3));
    stub.results["QueryValue"] = 0;
    EXPECT_EQ(0, connect.QueryValue(5, 1, 2, 3));
    EXPECT_THAT(stub.calls, ElementsAre("PlayBackControl 6 2 12 0",
                                        "StartFileDownload 5 1 2 n 2026-1-2/3:4:5 2026-1-2/3:4:6 3 /t 8 0",
                                        "StopFileDownload 4", "QueryValue 5 1 2 3 10000", "QueryValue 5 1 2 3 10000"));
}

TEST(CopyField, CutsToTheFieldAndAlwaysEnds)
{
    char field[4] = {'x', 'x', 'x', 'x'};
    copyField(field, QByteArray("abcdef"));
    EXPECT_STREQ("abc", field);
    copyField(field, QByteArray("a"));
    EXPECT_EQ(0, std::memcmp(field, "a\0\0\0", 4));
}

} // namespace
