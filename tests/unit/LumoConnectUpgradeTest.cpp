// Abilities and firmware: calls, their arguments and the page's codes.
#include "LibraryStub.h"

#include "device/LumoConnect.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class LumoConnectUpgradeTest : public testing::Test
{
protected:
    LibraryStub& stub = LibraryStub::reset();
    CLumoConnect& connect = *CLumoConnect::instance();
    QString newVersion = "old";

    int ask(const QString& strBuildDate = "2021-3-7") { return connect.GetNewVersion(5, strBuildDate, &newVersion); }
};

TEST_F(LumoConnectUpgradeTest, AnAbilityIsAskedOfAllChannels)
{
    char buffer[32] = {};
    stub.outputs["GetChannelAbility_Json"] = "{\"a\":1}";
    EXPECT_EQ(100, connect.GetChannelAbility(5, "Name", buffer, sizeof buffer));
    EXPECT_STREQ("{\"a\":1}", buffer);
    EXPECT_THAT(stub.calls, ElementsAre("GetChannelAbility_Json 5 Name -1 32 20000"));
    stub.results["GetChannelAbility_Json"] = 0;
    stub.results["GetLastError"] = -11401;
    EXPECT_EQ(1013, connect.GetChannelAbility(5, "Name", buffer, sizeof buffer));
}

TEST_F(LumoConnectUpgradeTest, AnUpgradeStartsFromAFileOrFromTheCloud)
{
    stub.results = {{"StartLocalUpgrade", 9}, {"StartOnlineUpgrade", 8}};
    EXPECT_EQ(100, connect.StartLocalUpgrade(5, "/f.bin", nullptr, 7));
    EXPECT_EQ(100, connect.StartOnlineUpgrade(5, "Fw_V2.bin", nullptr, 7));
    EXPECT_THAT(stub.calls, ElementsAre("StartLocalUpgrade 5 /f.bin 1 7", "StartOnlineUpgrade 5 Fw_V2.bin 0 7"));
}

TEST_F(LumoConnectUpgradeTest, AnUpgradeThatTheDeviceRefusesGives1007AndAnyOtherErrorItsCode)
{
    stub.results = {{"StartLocalUpgrade", 0}, {"StartOnlineUpgrade", -1}, {"GetLastError", -512}};
    EXPECT_EQ(1007, connect.StartLocalUpgrade(5, "/f.bin", nullptr, 7));
    EXPECT_EQ(1007, connect.StartOnlineUpgrade(5, "v", nullptr, 7));
    stub.results["GetLastError"] = -11300;
    EXPECT_EQ(107, connect.StartLocalUpgrade(5, "/f.bin", nullptr, 7));
    EXPECT_EQ(107, connect.StartOnlineUpgrade(5, "v", nullptr, 7));
}

TEST_F(LumoConnectUpgradeTest, AHandleBelowOneIsNotClosed)
{
    connect.CloseUpgrade(0);
    connect.CloseUpgrade(-3);
    EXPECT_THAT(stub.calls, IsEmpty());
    connect.CloseUpgrade(1);
    stub.results["GetUpgradeState"] = 2;
    EXPECT_EQ(2, connect.GetUpgradeState(1));
    EXPECT_THAT(stub.calls, ElementsAre("CloseUpgradeHandle 1", "GetUpgradeState 1"));
}

TEST_F(LumoConnectUpgradeTest, AVersionOfAnotherDateIsTheNewOne)
{
    stub.versionCount = 1;
    stub.version = "Fw_V4.03.bin";
    stub.versionDate = "2021-4-7";
    stub.results["GetDevConfig"] = 2884;
    EXPECT_EQ(2884, ask());
    EXPECT_EQ("Fw_V4.03.bin", newVersion);
    EXPECT_THAT(stub.calls, ElementsAre("GetDevConfig 5 192 -1 2884 20000"));
}

TEST_F(LumoConnectUpgradeTest, ARecordDateEqualToTheBuildDateLeavesTheVersion)
{
    stub.versionCount = 1;
    stub.version = "Fw_V4.03.bin";
    stub.versionDate = "2021-3-7";
    EXPECT_EQ(1, ask());
    EXPECT_EQ("old", newVersion);
}

TEST_F(LumoConnectUpgradeTest, ADeviceThatKnowsNoVersionOrDoesNotAnswerLeavesTheVersion)
{
    stub.version = "Fw_V4.03.bin";
    EXPECT_EQ(1, ask());
    EXPECT_EQ("old", newVersion);
    stub.versionCount = 1;
    stub.results["GetDevConfig"] = -1;
    EXPECT_EQ(-1, ask());
    EXPECT_EQ("old", newVersion);
    stub.results["GetDevConfig"] = 0;
    EXPECT_EQ(0, ask());
    EXPECT_EQ("old", newVersion) << "no answer either, whatever stands in the record";
}

TEST_F(LumoConnectUpgradeTest, DatesAreComparedCaseSensitively)
{
    stub.versionCount = 1;
    stub.version = "new";
    stub.versionDate = "mar 7";
    ask("Mar 7");
    EXPECT_EQ("new", newVersion);
}

TEST_F(LumoConnectUpgradeTest, AVersionThatFillsItsFieldIsCutToIt)
{
    stub.versionCount = 1;
    stub.version = std::string(200, 'v');
    stub.versionDate = std::string(200, 'd');
    ask();
    EXPECT_EQ(QString(128, 'v'), newVersion);
}

} // namespace
