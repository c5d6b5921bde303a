// The zoom of a camera with two lenses: what is asked, how the answer is read, and what answers of the wrong form do.
#include "LibraryStub.h"

#include "device/LumoConnect.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::SizeIs;

namespace
{

const char* const kRead0 = "CmdWithResult_Json 5 OPSensorGet 3034 2 [{\"StreamType\": 0}] 256 65536 20000";

std::string setting(int nChannel, int nStream, const char* szFrom, const char* szTo)
{
    return "CmdWithOutput_Json 5 OPScaleTimesSwitch 3032 " + std::to_string(nChannel) +
           " [{\"StreamType\": " + std::to_string(nStream) + ",\"TimesOri\": " + szFrom + ",\"Times\": " + szTo +
           "}] 256 20000";
}

class LumoConnectTwoLensTest : public testing::Test
{
protected:
    LibraryStub& stub = LibraryStub::reset();
    CLumoConnect& connect = *CLumoConnect::instance();
    float times = -5;
    float maxTimes = -5;

    bool ability(const char* szAnswer)
    {
        stub.outputs["GetSystemAbility_Json"] = szAnswer;
        return connect.GetScaleTwoLensAbility(5, 2, false);
    }

    int config(const char* szAnswer, int nStream = 0, bool bDevice = false)
    {
        stub.outputs["CmdWithResult_Json"] = szAnswer;
        return connect.GetScaleTwoLensConfig(5, 2, nStream, &times, bDevice, &maxTimes);
    }
};

TEST_F(LumoConnectTwoLensTest, TheAbilityOfADeviceIsAskedByItsPath)
{
    EXPECT_TRUE(connect.GetScaleTwoLensAbility(5, 2, true));
    EXPECT_THAT(stub.calls, ElementsAre("HasAbility 5 SystemFunction/OtherFunction/SupportScaleTwoLens 0"));
    stub.results["HasAbility"] = 0;
    EXPECT_FALSE(connect.GetScaleTwoLensAbility(5, 2, true));
}

TEST_F(LumoConnectTwoLensTest, TheAbilityOfAChannelStandsUnderTheNameThatTheAnswerGives)
{
    EXPECT_TRUE(ability(R"({"Name":"N","N":{"OtherFunction":{"SupportScaleTwoLens":true}}})"));
    EXPECT_THAT(stub.calls, ElementsAre("GetSystemAbility_Json 5 bypass@SystemFunction 1362 2 307200 20000"));
    EXPECT_FALSE(ability(R"({"Name":"N","N":{"OtherFunction":{"SupportScaleTwoLens":false}}})"));
    EXPECT_FALSE(ability(R"({"Name":"N","M":{"OtherFunction":{"SupportScaleTwoLens":true}}})"));
    EXPECT_FALSE(ability(R"({"Name":"N"})"));
    EXPECT_FALSE(ability("{}"));
}

TEST_F(LumoConnectTwoLensTest, AnAbilityNeedsTheResultOne)
{
    stub.results["GetSystemAbility_Json"] = 2;
    EXPECT_FALSE(ability(R"({"Name":"N","N":{"OtherFunction":{"SupportScaleTwoLens":true}}})"));
}

TEST_F(LumoConnectTwoLensTest, BrokenAnswersAreNoAbility)
{
    const std::string strDeep(5000, '[');
    const std::string strFull(307200, ' '); // no room for a zero
    for (const char* szAnswer :
         {"", "{", "nonsense", "[]", "5", R"({"Name":[]})", R"({"Name":"N","N":5})",
          R"({"Name":"N","N":{"OtherFunction":{"SupportScaleTwoLens":"yes"}}})", strDeep.c_str(), strFull.c_str()})
        EXPECT_FALSE(ability(szAnswer)) << std::string(szAnswer).substr(0, 80);
}

TEST_F(LumoConnectTwoLensTest, AScaleIsReadAndTheDeviceToldToStayThere)
{
    EXPECT_EQ(1, config(R"({"Ret":100,"Name":"N","N":[{"Times":2.5,"TimesOri":1,"MaxTimes":4}]})"));
    EXPECT_FLOAT_EQ(2.5F, times);
    EXPECT_FLOAT_EQ(4.0F, maxTimes);
    EXPECT_THAT(stub.calls, ElementsAre(kRead0, setting(2, 1, "0.0", "0.0"), setting(2, 0, "2.5", "2.5")));
}

TEST_F(LumoConnectTwoLensTest, WithStreamOneTheOtherLensIsNotTouched)
{
    EXPECT_EQ(1, config(R"({"Ret":100,"Name":"N","N":[{"Times":2.5}]})", 1));
    EXPECT_THAT(stub.calls, ElementsAre("CmdWithResult_Json 5 OPSensorGet 3034 2 [{\"StreamType\": 1}] 256 65536 20000",
                                        setting(2, 1, "2.5", "2.5")));
}

TEST_F(LumoConnectTwoLensTest, TheWholeDeviceIsAskedAsChannelMinusOneAndAnswersUnderAFixedKey)
{
    EXPECT_EQ(1, config(R"({"Ret":100,"Name":"N","N":[{"Times":1}],"OPSensorGet":[{"Times":3}]})", 1, true));
    EXPECT_FLOAT_EQ(3.0F, times);
    EXPECT_THAT(stub.calls,
                ElementsAre("CmdWithResult_Json 5 OPSensorGet 3034 -1 [{\"StreamType\": 1}] 256 65536 20000",
                            setting(-1, 1, "3.0", "3.0")));
}

TEST_F(LumoConnectTwoLensTest, MaxTimesAbsentGivesEight)
{
    config(R"({"Ret":100,"Name":"N","N":[{"Times":2}]})");
    EXPECT_FLOAT_EQ(8.0F, maxTimes);
}

TEST_F(LumoConnectTwoLensTest, TimesOfMinusOneGivesZero)
{
    EXPECT_EQ(1, config(R"({"Ret":100,"Name":"N","N":[{"Times":-1}]})"));
    EXPECT_FLOAT_EQ(0.0F, times);
}

TEST_F(LumoConnectTwoLensTest, AnAnswerWithoutAScaleIsOneOfZeroUpToEight)
{
    for (const char* szAnswer : {R"({"Ret":100})", R"({"Ret":100,"Name":"N","N":[]})"}) {
        stub.calls.clear();
        times = maxTimes = -5;
        EXPECT_EQ(1, config(szAnswer)) << szAnswer;
        EXPECT_FLOAT_EQ(0.0F, times) << szAnswer;
        EXPECT_FLOAT_EQ(8.0F, maxTimes) << szAnswer;
        EXPECT_THAT(stub.calls, ElementsAre(kRead0, setting(2, 1, "0.0", "0.0"), setting(2, 0, "0.0", "0.0")));
    }
}

TEST_F(LumoConnectTwoLensTest, AnAnswerThatIsNoJsonGivesZeroAndSetsNothing)
{
    for (const char* szAnswer :
         {"", "{", "[", R"(["a"])", R"({"Ret":"100x"})", R"({"Ret":100,"Name":[]})",
          R"({"Ret":100,"Name":"N","N":{"Times":1}})", R"({"Ret":100,"Name":"N","N":[{"Times":"fast"}]})",
          R"({"Ret":100,"Name":"N","N":[{"Times":2.5,"TimesOri":"fast","MaxTimes":4}]})"}) {
        stub.calls.clear();
        EXPECT_EQ(0, config(szAnswer)) << szAnswer;
        EXPECT_THAT(stub.calls, SizeIs(1)) << szAnswer;
        EXPECT_FLOAT_EQ(-5.0F, times);
    }
}

TEST_F(LumoConnectTwoLensTest, ADeviceThatRefusesGivesMinusOne)
{
    EXPECT_EQ(-1, config(R"({"Ret":103})"));
    EXPECT_EQ(-1, config("{}"));
    stub.results["CmdWithResult_Json"] = 0;
    EXPECT_EQ(-1, config(R"({"Ret":100,"Name":"N","N":[{"Times":1}]})"));
}

TEST_F(LumoConnectTwoLensTest, SettingAScaleTellsWhereItWasAndWhereItGoes)
{
    EXPECT_EQ(1, connect.SetScaleTwoLensConfig(5, 2, 1, 6.8F, 7.0F));
    EXPECT_THAT(stub.calls, ElementsAre(setting(2, 1, "6.8", "7.0")));
    stub.results["CmdWithOutput_Json"] = 0;
    EXPECT_EQ(-1, connect.SetScaleTwoLensConfig(5, 2, 1, 6.8F, 7.0F));
}

} // namespace
