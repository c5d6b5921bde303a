// JSON commands and abilities: a device with the service that the test plays, one without, and every bad answer.
#include "Viewer.h"

#include "CommandService.h"

#include <chrono>
#include <cstring>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class CommandTest : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        device.commandPath = "/cmd";
        device.onHttp = [this](const PeerRequest& r) { return serve(r); };
    }
    void enter()
    {
        begin();
        m_login = login("127.0.0.1", device.port());
        ASSERT_GT(m_login, 0) << error;
    }
    std::string serve(const PeerRequest&)
    {
        std::lock_guard lock(m_mutex);
        return m_reply;
    }
    void answerWith(const std::string& body, int status = 200)
    {
        std::lock_guard lock(m_mutex);
        m_reply = status == 0 ? "" : httpReply(status, body);
    }
    PeerRequest last() const { return device.requests().back(); }
    static long msOf(const std::function<void()>& f)
    {
        const auto before = std::chrono::steady_clock::now();
        f();
        return long(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count());
    }

    int withResult(const char* input = "[{\"StreamType\": 0}]", int timeoutMs = 2000)
    {
        return LUMONET_CmdWithResult_Json(m_login, "OPSensorGet", 3034, 1, input, 256, m_text, sizeof m_text, &m_size,
                                          timeoutMs);
    }
    int withOutput(int timeoutMs = 2000)
    {
        return LUMONET_CmdWithOutput_Json(m_login, "OPScaleTimesSwitch", 3032, 1, "[{}]", 256, m_text, timeoutMs);
    }
    int plain(int timeoutMs = 2000)
    {
        const std::string input = "{\"Action\" : \"Send\"}";
        return LUMONET_Cmd_Json(m_login, "OPFile", 3500, -1, input.c_str(), int(input.size()), timeoutMs);
    }
    int systemAbility(int size = 307200, int timeoutMs = 2000)
    {
        m_large.assign(size_t(size), 'x');
        return LUMONET_GetSystemAbility_Json(m_login, "bypass@SystemFunction", 1362, 2, m_large.data(), size, &m_size,
                                             timeoutMs);
    }
    int version(LumoVersionInfo& record, int timeoutMs = 2000)
    {
        record = {};
        return LUMONET_GetDevConfig(m_login, LUMO_CONFIG_VERSION, -1, &record, sizeof record, &m_size, timeoutMs);
    }

    std::mutex m_mutex;
    std::string m_reply; // m_mutex
    OnvifDevicePeer device;
    int m_login = 0, m_size = -1;
    char m_text[65536] = "untouched";
    std::string m_large;
};

} // namespace

TEST_F(CommandTest, ACommandIsPostedAndItsAnswerIsHandedOverAsItCame)
{
    enter();
    const std::string body =
        "{ \"Name\" : \"OPSensorGet.[1]\", \"OPSensorGet.[1]\" : [ {\"Times\": 2.5} ], \"Ret\":100}\n";
    answerWith(body);
    EXPECT_EQ(withResult(), 1);
    EXPECT_EQ(std::string(m_text), body);
    EXPECT_EQ(m_size, int(body.size()));
    EXPECT_EQ(last().method, "POST");
    EXPECT_EQ(last().url, "/cmd/command/OPSensorGet?number=3034&channel=1");
    EXPECT_EQ(last().body, "[{\"StreamType\": 0}]");
    EXPECT_NE(last().header("Authorization").find("Digest"), std::string::npos);
}

TEST_F(CommandTest, ACommandWithoutInputIsAsked)
{
    enter();
    answerWith("{\"Ret\":100}");
    EXPECT_EQ(withResult(nullptr), 1);
    EXPECT_EQ(last().body, "");
    EXPECT_EQ(withResult(""), 1);
}

TEST_F(CommandTest, ARefusalInTheAnswerIsHandedOverWhereItIsLookedAtAndAnErrorElsewhere)
{
    enter();
    answerWith("{\"Name\":\"\",\"Ret\":102}");
    EXPECT_EQ(withResult(), 1);
    EXPECT_EQ(withOutput(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    EXPECT_EQ(plain(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    answerWith("{\"Ret\":100}");
    EXPECT_EQ(withOutput(), 1);
    EXPECT_STREQ(m_text, "{\"Ret\":100}");
    EXPECT_EQ(plain(), 1);
    EXPECT_EQ(last().url, "/cmd/command/OPFile?number=3500&channel=-1");
}

TEST_F(CommandTest, AbilitiesAreAskedByTheirName)
{
    enter();
    answerWith("{\"Name\":\"bypass@SystemFunction\",\"bypass@SystemFunction\":{}}");
    EXPECT_EQ(systemAbility(), 1);
    EXPECT_EQ(last().method, "GET");
    EXPECT_EQ(last().url, "/cmd/ability/bypass%40SystemFunction?number=1362&channel=2");
    EXPECT_EQ(LUMONET_GetChannelAbility_Json(m_login, "A@B", -1, m_text, sizeof m_text, &m_size, 2000), 1);
    EXPECT_EQ(last().url, "/cmd/ability/A%40B?number=0&channel=-1");
}

TEST_F(CommandTest, HasAbilityFollowsItsPathAndAsksTheDeviceOnce)
{
    enter();
    answerWith("{\"Name\":\"bypass@SystemFunction\",\"bypass@SystemFunction\":{\"OtherFunction\":"
               "{\"SupportScaleTwoLens\":true,\"No\":false,\"One\":1}}}");
    const auto has = [&](const char* path) { return LUMONET_HasAbility(m_login, path, 0); };
    EXPECT_TRUE(has("SystemFunction/OtherFunction/SupportScaleTwoLens"));
    const size_t asked = device.requests().size();
    EXPECT_FALSE(has("SystemFunction/OtherFunction/No"));
    EXPECT_FALSE(has("SystemFunction/OtherFunction/One"));
    EXPECT_FALSE(has("SystemFunction/OtherFunction/SupportScaleTwoLens/More"));
    EXPECT_FALSE(has("SystemFunction/Absent/SupportScaleTwoLens"));
    EXPECT_FALSE(has("Elsewhere/OtherFunction/SupportScaleTwoLens"));
    EXPECT_FALSE(has(""));
    EXPECT_EQ(device.requests().size(), asked);
}

TEST_F(CommandTest, ADeviceThatHangsIsAskedForAbilitiesOnce)
{
    defaults().timings.requestMs = 200;
    enter();
    answerWith("", 0);
    EXPECT_GE(msOf([&] { EXPECT_FALSE(LUMONET_HasAbility(m_login, "SystemFunction/A", 0)); }), 150);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_LT(msOf([&] { EXPECT_FALSE(LUMONET_HasAbility(m_login, "SystemFunction/A", 0)); }), 100);
}

TEST_F(CommandTest, TheNewestVersionFillsItsRecord)
{
    enter();
    LumoVersionInfo record;
    answerWith("{\"Versions\":[{\"Version\":\"X_V4.03.bin\",\"BuildDate\":\"2021-3-7\"},{}],\"Ret\":100}");
    EXPECT_EQ(version(record), 2884);
    EXPECT_EQ(m_size, 2884);
    EXPECT_EQ(record.nCount, 2);
    EXPECT_STREQ(record.szVersion, "X_V4.03.bin");
    EXPECT_STREQ(record.szBuildDate, "2021-3-7");
    EXPECT_EQ(last().url, "/cmd/version");
    answerWith("{\"Versions\":[],\"Ret\":100}");
    EXPECT_GT(version(record), 0);
    EXPECT_EQ(record.nCount, 0);
    answerWith("{\"Versions\":[{\"Version\":\"" + std::string(500, 'v') + "\",\"BuildDate\":7}]}");
    EXPECT_GT(version(record), 0);
    EXPECT_EQ(std::string(record.szVersion), std::string(127, 'v'));
    EXPECT_STREQ(record.szBuildDate, "");
    for (const char* bad : {"{}", "[]", "{\"Versions\":3}"}) {
        answerWith(bad);
        EXPECT_LT(version(record), 0) << bad;
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    }
}

TEST_F(CommandTest, AnAnswerLongerThanItsRoomIsRefused)
{
    enter();
    const auto ofSize = [](size_t size) { return "{\"a\":\"" + std::string(size - 8, 'a') + "\"}"; };
    answerWith(ofSize(999));
    EXPECT_EQ(systemAbility(1000), 1) << "999 bytes and the zero";
    EXPECT_EQ(m_size, 999);
    EXPECT_EQ(m_large[999], '\0');
    for (const size_t size : {size_t(1000), size_t(1001), size_t(3000000)}) {
        answerWith(ofSize(size));
        EXPECT_EQ(systemAbility(1000), 0) << size;
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
        EXPECT_EQ(m_large, std::string(1000, 'x')) << "nothing of it is handed over";
        EXPECT_EQ(m_size, 0);
    }
    EXPECT_EQ(withOutput(), 0) << "65536 bytes at most";
    EXPECT_EQ(plain(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}

TEST_F(CommandTest, BrokenJsonIsRefused)
{
    enter();
    for (const std::string& bad :
         {std::string(), std::string("{\"Ret\":100"), std::string("{\"Ret\":100}}"), std::string("Ret"),
          std::string("\"Ret\""), std::string("<html/>"), std::string("{\"a\":\"") + '\0' + "\"",
          std::string(60000, '['), std::string("\xFF\xFE")}) {
        answerWith(bad);
        strcpy(m_text, "untouched");
        EXPECT_EQ(withResult(), 0) << bad.substr(0, 40);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
        EXPECT_STREQ(m_text, "untouched");
        EXPECT_EQ(plain(), 0);
        EXPECT_EQ(systemAbility(), 0);
    }
    answerWith("[1,2]");
    EXPECT_EQ(withResult(), 1) << "a list is sound";
}

TEST_F(CommandTest, HttpErrorsAreToldApart)
{
    enter();
    for (const auto& [status, expected] : {std::pair{403, LUMONET_ERR_REFUSED},
                                           {404, LUMONET_ERR_UNSUPPORTED},
                                           {501, LUMONET_ERR_UNSUPPORTED},
                                           {423, LUMONET_ERR_LOCKED},
                                           {500, LUMONET_ERR_REFUSED},
                                           {503, LUMONET_ERR_REFUSED},
                                           {408, LUMONET_ERR_TIMEOUT}}) {
        answerWith("{\"Ret\":100}", status);
        EXPECT_EQ(withResult(), 0);
        EXPECT_EQ(LUMONET_GetLastError(), expected) << status;
    }
    device.set([&] { device.password = "changed"; });
    EXPECT_EQ(withResult(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_PASSWORD);
}

TEST_F(CommandTest, ADeviceThatHangsIsATimeOutWhenTheCallsTimeIsOver)
{
    enter();
    answerWith("", 0);
    const auto within = [&](const std::function<int()>& call) {
        int result = 1;
        const long ms = msOf([&] { result = call(); });
        EXPECT_LE(result, 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
        EXPECT_GE(ms, 140);
        EXPECT_LT(ms, 600);
    };
    within([&] { return withResult("", 150); });
    within([&] { return withOutput(150); });
    within([&] { return plain(150); });
    within([&] { return systemAbility(1000, 150); });
    LumoVersionInfo record;
    within([&] { return version(record, 150); });
    answerWith("{\"Ret\":100}");
    EXPECT_EQ(plain(), 1) << "the next command works";
}

TEST_F(CommandTest, LogoutEndsACommandThatHangs)
{
    enter();
    answerWith("", 0);
    std::atomic<int> result{1};
    std::thread hanging([&] { result = withResult("", kLongMs); });
    EXPECT_TRUE(
        device.waitFor([&] { return last().url.starts_with("/cmd") && !last().header("Authorization").empty(); }));
    EXPECT_LT(msOf([&] { EXPECT_EQ(LUMONET_Logout(m_login), 1); }), 500);
    EXPECT_LT(msOf([&] { hanging.join(); }), 500);
    EXPECT_EQ(result, 0);
}

TEST_F(CommandTest, ADeviceWithoutTheServiceRefusesAtOnceAndIsAskedNothing)
{
    device.commandPath = "";
    device.onHttp = nullptr;
    enter();
    const size_t asked = device.requests().size();
    LumoVersionInfo record;
    const auto unsupported = [](int result) {
        return result <= 0 && LUMONET_GetLastError() == LUMONET_ERR_UNSUPPORTED;
    };
    EXPECT_TRUE(unsupported(withResult()));
    EXPECT_TRUE(unsupported(withOutput()));
    EXPECT_TRUE(unsupported(plain()));
    EXPECT_TRUE(unsupported(systemAbility()));
    EXPECT_TRUE(unsupported(version(record)));
    EXPECT_FALSE(LUMONET_HasAbility(m_login, "SystemFunction/OtherFunction/SupportScaleTwoLens", 0));
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    EXPECT_TRUE(unsupported(LUMONET_GetChannelAbility_Json(m_login, "Other@Ability", -1, m_text, 100, &m_size, 100)));
    EXPECT_TRUE(unsupported(LUMONET_StartOnlineUpgrade(m_login, "V1", 0, nullptr, 0)));
    EXPECT_TRUE(unsupported(LUMONET_SendFileDataToDevice(m_login, "/nowhere", nullptr, 0)));
    EXPECT_TRUE(unsupported(LUMONET_GetDevConfig(m_login, 12345, -1, &record, sizeof record, &m_size, 100)));
    EXPECT_TRUE(unsupported(LUMONET_SetDevConfig(m_login, 12345, -1, &record, sizeof record, 100)));
    EXPECT_EQ(device.requests().size(), asked);
}

TEST_F(CommandTest, ArgumentsAndHandlesAreChecked)
{
    enter();
    const auto refused = [](int result, int error) { return result <= 0 && LUMONET_GetLastError() == error; };
    EXPECT_TRUE(refused(LUMONET_CmdWithResult_Json(m_login, nullptr, 1, 0, "", 0, m_text, 10, &m_size, 10),
                        LUMONET_ERR_ARGUMENT));
    EXPECT_TRUE(
        refused(LUMONET_CmdWithResult_Json(m_login, "A", 1, 0, "", 0, nullptr, 10, nullptr, 10), LUMONET_ERR_ARGUMENT));
    EXPECT_TRUE(refused(LUMONET_Cmd_Json(m_login, "", 1, 0, "", 0, 10), LUMONET_ERR_ARGUMENT));
    EXPECT_TRUE(refused(LUMONET_GetDevConfig(m_login, 9, -1, nullptr, 229, &m_size, 10), LUMONET_ERR_ARGUMENT));
    EXPECT_TRUE(refused(LUMONET_SetDevConfig(m_login, 52, -1, "x", 0, 10), LUMONET_ERR_ARGUMENT));
    EXPECT_FALSE(LUMONET_HasAbility(m_login, nullptr, 0));
    for (const int bad : {0, 1, -1, m_login + 1}) {
        EXPECT_TRUE(refused(LUMONET_Cmd_Json(bad, "A", 1, 0, "", 0, 10), LUMONET_ERR_NOT_LOGGED_IN));
        EXPECT_TRUE(refused(LUMONET_StartVoiceCom_MR(bad, nullptr, 0), LUMONET_ERR_NOT_LOGGED_IN));
        EXPECT_TRUE(refused(LUMONET_SendFileDataToDevice(bad, "x", nullptr, 0), LUMONET_ERR_NOT_LOGGED_IN));
        EXPECT_TRUE(refused(LUMONET_StartLocalUpgrade(bad, "x", 1, nullptr, 0), LUMONET_ERR_NOT_LOGGED_IN));
        EXPECT_TRUE(refused(LUMONET_CloseSendFile(bad, 1, 0, 0), LUMONET_ERR_NOT_LOGGED_IN));
        EXPECT_EQ(LUMONET_GetUpgradeState(bad), LUMO_UPGRADE_FAILED);
        LUMONET_CloseUpgradeHandle(bad);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    }
}

TEST(CommandText, NamesAreEncodedForAnAddress)
{
    EXPECT_EQ(percentEncoded("bypass@SystemFunction"), "bypass%40SystemFunction");
    EXPECT_EQ(percentEncoded("a/b?c&d e\xC3\xA4"), "a%2Fb%3Fc%26d%20e%C3%A4");
    EXPECT_EQ(percentEncoded("A-z_0.9~"), "A-z_0.9~");
}
