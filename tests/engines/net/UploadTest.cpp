// Files, firmware and settings on their way to a device that the test plays.
#include "PlaybackFixture.h"

#include "Onvif.h"
#include "Sending.h"

#include <chrono>
#include <filesystem>
#include <fstream>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

using Clock = std::chrono::steady_clock;

/// What the callbacks of a transfer or an upgrade got; its address is their user value.
class Calls
{
public:
    struct Entry {
        long first = 0, second = 0, third = 0, fourth = 0; // the callback's words, in order
        int state = -1;                                    // of an upgrade, asked in the callback
    };
    static void onEnd(long handle, long status, long error, long extra, intptr_t user)
    {
        auto& self = *reinterpret_cast<Calls*>(user);
        if (self.closes) {
            EXPECT_EQ(LUMONET_CloseSendFile(int(handle), 1, error, extra), 1);
        }
        self.add({handle, status, error, extra});
    }
    static void onProgress(long login, long handle, long total, long sent, intptr_t user)
    {
        reinterpret_cast<Calls*>(user)->add({login, handle, total, sent, LUMONET_GetUpgradeState(int(handle))});
    }
    intptr_t user() { return reinterpret_cast<intptr_t>(this); }
    std::vector<Entry> entries() const
    {
        std::lock_guard lock(m_mutex);
        return m_entries;
    }
    bool waitFor(const std::function<bool(const std::vector<Entry>&)>& condition) const
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return condition(m_entries); });
    }
    bool waitForEnd() const
    {
        return waitFor([](const auto& all) { return !all.empty(); });
    }
    bool waitForFinal() const
    {
        return waitFor([](const auto& all) {
            return !all.empty() && (all.back().state == LUMO_UPGRADE_DONE || all.back().state == LUMO_UPGRADE_FAILED);
        });
    }
    std::atomic<bool> closes{false}; // the transfer, from its own callback

private:
    void add(const Entry& entry)
    {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
        m_changed.notify_all();
    }
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Entry> m_entries;
};

class UploadTest : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        defaults().timings.uploadStallMs = defaults().timings.uploadAnswerMs = 3000;
        defaults().timings.upgradeLookMs = 10;
        device.commandPath = "/cmd";
        device.onHttp = [this](const PeerRequest& r) { return serve(r); };
        device.rawReplyTo["StartFirmwareUpgrade"] = soapReply(
            200, "<t:StartFirmwareUpgradeResponse><t:UploadUri>http://192.0.2.7:9/upload/fw?key=1</t:UploadUri>"
                 "<t:UploadDelay>PT0.1S</t:UploadDelay></t:StartFirmwareUpgradeResponse>");
        device.rawReplyTo["StartSystemRestore"] =
            soapReply(200, "<t:StartSystemRestoreResponse><t:UploadUri>http://192.0.2.7:9/upload/set</t:UploadUri>"
                           "</t:StartSystemRestoreResponse>");
    }
    void enter()
    {
        begin();
        m_login = login("127.0.0.1", device.port());
        ASSERT_GT(m_login, 0) << error;
    }
    std::string serve(const PeerRequest& r)
    {
        std::lock_guard lock(m_mutex);
        if (m_script)
            return m_script(r);
        return m_reply;
    }
    void answerWith(const std::string& body, int status = 200)
    {
        std::lock_guard lock(m_mutex);
        m_reply = status == 0 ? "" : httpReply(status, body);
    }
    void script(std::function<std::string(const PeerRequest&)> f)
    {
        std::lock_guard lock(m_mutex);
        m_script = std::move(f);
    }
    /// Bytes of every value, of no regular length.
    std::string makeFile(size_t size)
    {
        std::string bytes;
        for (size_t i = 0; i < size; ++i)
            bytes += char(i * 7 + i / 251);
        const std::string path = folder.path("file.bin");
        std::ofstream(path, std::ios::binary) << bytes;
        m_bytes = bytes;
        return path;
    }
    std::vector<PeerRequest> sentTo(const std::string& path) const
    {
        std::vector<PeerRequest> found;
        for (const auto& r : device.requests())
            if (r.url == path && r.method == "POST" && !r.body.empty())
                found.push_back(r);
        return found;
    }
    int sendFile(const std::string& path)
    {
        return LUMONET_SendFileDataToDevice(m_login, path.c_str(), &Calls::onEnd, calls.user());
    }
    int upgrade(const std::string& path)
    {
        return LUMONET_StartLocalUpgrade(m_login, path.c_str(), 1, &Calls::onProgress, calls.user());
    }
    int upgradeOnline() { return LUMONET_StartOnlineUpgrade(m_login, "X_V2", 0, &Calls::onProgress, calls.user()); }
    static long msSince(Clock::time_point since)
    {
        return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
    }
    int restore(int timeoutMs = 2000)
    {
        return LUMONET_SetDevConfig(m_login, LUMO_CONFIG_IMPORT, -1, "settings", 8, timeoutMs);
    }

    Calls calls;
    TestFolder folder;
    std::mutex m_mutex;
    std::string m_reply = httpReply(200, "{\"Ret\":100}");   // m_mutex
    std::function<std::string(const PeerRequest&)> m_script; // m_mutex
    std::string m_bytes;
    OnvifDevicePeer device;
    int m_login = 0;
};

} // namespace

TEST_F(UploadTest, AFileArrivesByteForByteAndIsToldOfOnce)
{
    enter();
    const int handle = sendFile(makeFile(300001));
    ASSERT_GT(handle, 0x60000);
    ASSERT_LT(handle, 0x70000);
    ASSERT_TRUE(calls.waitForEnd());
    EXPECT_EQ(calls.entries()[0].first, handle);
    EXPECT_EQ(calls.entries()[0].second, 1);
    EXPECT_EQ(calls.entries()[0].third, 0);
    const auto sent = sentTo("/cmd/file");
    ASSERT_FALSE(sent.empty());
    EXPECT_TRUE(sent.back().body == m_bytes);
    EXPECT_NE(sent.back().header("Authorization"), "");
}

TEST_F(UploadTest, ATransferThatNobodyClosesTellsItsOwnerAndIsToldOfOnce)
{
    enter();
    std::weak_ptr<Transfer> freed;
    const auto run = [](std::shared_ptr<const std::atomic<bool>>) { return 0; };
    std::atomic<int> finished{0};
    {
        const auto sending =
            std::make_shared<Sending>(7, 0, &Calls::onEnd, calls.user(), run, [&](int handle) { finished = handle; });
        freed = sending;
        ASSERT_EQ(sending->open(), 0);
        sending->release();
        ASSERT_TRUE(calls.waitForEnd());
        ASSERT_TRUE(device.waitFor([&] { return finished == 7; })) << "its owner is told";
        sending->finishStop();
    }
    EXPECT_TRUE(freed.expired());
    const int handle = sendFile(makeFile(10));
    ASSERT_GT(handle, 0);
    ASSERT_TRUE(calls.waitFor([](const auto& all) { return all.size() == 2; }));
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    EXPECT_EQ(calls.entries().size(), 2u) << "and it is not told of twice";
    EXPECT_EQ(LUMONET_CloseSendFile(handle, 1, 0, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(UploadTest, ATransferMayBeClosedFromItsOwnCallback)
{
    calls.closes = true;
    enter();
    for (int i = 0; i < 3; ++i)
        ASSERT_GT(sendFile(makeFile(1000)), 0);
    ASSERT_TRUE(calls.waitFor([](const auto& all) { return all.size() == 3; }));
    EXPECT_EQ(LUMONET_CloseSendFile(int(calls.entries()[0].first), 1, 0, 0), 0);
}

TEST_F(UploadTest, EveryFailureIsToldOnceWithItsError)
{
    enter();
    const std::string path = makeFile(1000);
    const std::vector<std::pair<std::string, int>> stories = {{httpReply(403, ""), LUMONET_ERR_REFUSED},
                                                              {httpReply(404, ""), LUMONET_ERR_UNSUPPORTED},
                                                              {httpReply(200, "{\"Ret\":118}"), LUMONET_ERR_REFUSED},
                                                              {httpReply(200, "{\"Ret\""), LUMONET_ERR_REFUSED},
                                                              {"nonsense\r\n\r\n", LUMONET_ERR_REFUSED}};
    size_t told = 0;
    for (const auto& [reply, expected] : stories) {
        script([reply = reply](const PeerRequest&) { return reply; });
        ASSERT_GT(sendFile(path), 0);
        ++told;
        ASSERT_TRUE(calls.waitFor([&](const auto& all) { return all.size() == told; }));
        EXPECT_NE(calls.entries().back().second, 1);
        EXPECT_EQ(calls.entries().back().third, expected) << reply;
    }
}

TEST_F(UploadTest, ADeviceThatHangsIsATimeOutInTheCallback)
{
    defaults().timings.uploadAnswerMs = 150;
    enter();
    answerWith("", 0);
    const auto before = Clock::now();
    ASSERT_GT(sendFile(makeFile(1000)), 0);
    EXPECT_LT(msSince(before), 100) << "it goes on in the background";
    ASSERT_TRUE(calls.waitForEnd());
    EXPECT_EQ(calls.entries()[0].third, LUMONET_ERR_TIMEOUT);
    answerWith("{\"Ret\":100}");
    ASSERT_GT(sendFile(makeFile(1000)), 0);
    ASSERT_TRUE(calls.waitFor([](const auto& all) { return all.size() == 2; }));
    EXPECT_EQ(calls.entries()[1].second, 1) << "the next one works";
}

TEST_F(UploadTest, FilesThatAreNotThereOrEmptyAreRefusedAtOnce)
{
    enter();
    const size_t asked = device.requests().size();
    std::ofstream(folder.path("empty"));
    for (const std::string& path : {folder.path("absent"), folder.path("empty"), folder.path("."), std::string()}) {
        EXPECT_EQ(sendFile(path), 0) << path;
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
        EXPECT_EQ(upgrade(path), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    }
    EXPECT_EQ(device.requests().size(), asked);
}

TEST_F(UploadTest, AFileThatShrinksOnItsWayIsAnError)
{
    enter();
    device.set([&] {
        device.rawReplyTo["StartFirmwareUpgrade"] =
            soapReply(200, "<t:R><t:UploadUri>/upload/fw</t:UploadUri><t:UploadDelay>PT1S</t:UploadDelay></t:R>");
    });
    const std::string path = makeFile(5000000);
    const int handle = upgrade(path);
    ASSERT_GT(handle, 0);
    std::filesystem::resize_file(path, 1000);
    ASSERT_TRUE(calls.waitForFinal());
    EXPECT_EQ(calls.entries().back().state, LUMO_UPGRADE_FAILED);
}

TEST_F(UploadTest, ClosingATransferEndsItInSilence)
{
    enter();
    answerWith("", 0);
    const int handle = sendFile(makeFile(1000));
    ASSERT_TRUE(device.waitFor([&] { return !sentTo("/cmd/file").empty(); }));
    const auto before = Clock::now();
    EXPECT_EQ(LUMONET_CloseSendFile(handle, 1, 0, 0), 1);
    EXPECT_LT(msSince(before), 200);
    EXPECT_TRUE(calls.entries().empty());
}

TEST_F(UploadTest, LogoutEndsATransferAndItsCallbackSaysSo)
{
    enter();
    answerWith("", 0);
    ASSERT_GT(sendFile(makeFile(1000)), 0);
    ASSERT_TRUE(device.waitFor([&] { return !sentTo("/cmd/file").empty(); }));
    const auto before = Clock::now();
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    EXPECT_LT(msSince(before), 500);
    ASSERT_EQ(calls.entries().size(), 1u) << "before the logout returned";
    EXPECT_NE(calls.entries()[0].second, 1);
    EXPECT_EQ(calls.entries()[0].third, LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(UploadTest, LogoutRightAfterTheStartStillBringsTheOneCallback)
{
    defaults().timings.handleReturnMs = 300;
    enter();
    ASSERT_GT(sendFile(makeFile(1000)), 0);
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    ASSERT_EQ(calls.entries().size(), 1u);
    EXPECT_EQ(calls.entries()[0].third, LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(UploadTest, FirmwareGoesWhereTheDeviceWantsItWhenItIsReady)
{
    enter();
    answerWith("");
    const auto before = Clock::now();
    const int handle = upgrade(makeFile(2000000));
    ASSERT_GT(handle, 0x70000);
    ASSERT_LT(handle, 0x80000);
    ASSERT_TRUE(calls.waitForFinal());
    EXPECT_GE(msSince(before), 90) << "the device asked for that";
    const auto sent = sentTo("/upload/fw?key=1");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_TRUE(sent[0].body == m_bytes);
    const auto all = calls.entries();
    EXPECT_EQ(all.front().fourth, 0);
    for (size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].first, m_login);
        EXPECT_EQ(all[i].second, handle);
        EXPECT_EQ(all[i].third, 2000000);
        EXPECT_GE(all[i].fourth, i > 0 ? all[i - 1].fourth : 0);
        EXPECT_EQ(all[i].state == LUMO_UPGRADE_DONE, i + 1 == all.size()) << "last with a final state, and only once";
    }
    EXPECT_EQ(all.back().fourth, 2000000);
    EXPECT_EQ(LUMONET_GetUpgradeState(handle), LUMO_UPGRADE_DONE);
    LUMONET_CloseUpgradeHandle(handle);
    EXPECT_EQ(LUMONET_GetUpgradeState(handle), LUMO_UPGRADE_FAILED) << "it is none any more";
}

TEST_F(UploadTest, ADeviceThatWritesSaysSoUntilItAnswers)
{
    enter();
    answerWith("", 0);
    const int handle = upgrade(makeFile(1000));
    ASSERT_TRUE(
        calls.waitFor([](const auto& all) { return !all.empty() && all.back().state == LUMO_UPGRADE_WRITING; }));
    EXPECT_EQ(LUMONET_GetUpgradeState(handle), LUMO_UPGRADE_WRITING);
    const auto before = Clock::now();
    LUMONET_CloseUpgradeHandle(handle);
    EXPECT_LT(msSince(before), 200);
    const size_t count = calls.entries().size();
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    EXPECT_EQ(calls.entries().size(), count);
}

TEST_F(UploadTest, FirmwareThatTheDeviceRefusesFails)
{
    enter();
    answerWith("", 500);
    const int handle = upgrade(makeFile(1000));
    ASSERT_TRUE(calls.waitForFinal());
    EXPECT_EQ(calls.entries().back().state, LUMO_UPGRADE_FAILED);
    EXPECT_EQ(LUMONET_GetUpgradeState(handle), LUMO_UPGRADE_FAILED);
}

TEST_F(UploadTest, AnUpgradeThatHangsFails)
{
    defaults().timings.uploadAnswerMs = 150;
    enter();
    answerWith("", 0);
    ASSERT_GT(upgrade(makeFile(1000)), 0);
    ASSERT_TRUE(calls.waitForFinal());
    EXPECT_EQ(calls.entries().back().state, LUMO_UPGRADE_FAILED);
}

TEST_F(UploadTest, ABusyDeviceAndOneWithoutUpgradesAreToldApart)
{
    enter();
    const std::string path = makeFile(1000);
    const auto fault = [&](const char* subcode) {
        device.set([&] {
            device.rawReplyTo["StartFirmwareUpgrade"] =
                soapReply(500, std::string("<s:Fault><s:Code><s:Value>s:Receiver</s:Value><s:Subcode><s:Value>ter:") +
                                   subcode + "</s:Value></s:Subcode></s:Code></s:Fault>");
        });
        EXPECT_EQ(upgrade(path), 0);
        return LUMONET_GetLastError();
    };
    EXPECT_EQ(fault("DeviceBusy"), -512);
    EXPECT_EQ(fault("ActionNotSupported"), LUMONET_ERR_UNSUPPORTED);
    EXPECT_EQ(fault("InvalidFirmware"), LUMONET_ERR_REFUSED);
    device.set([&] { device.rawReplyTo["StartFirmwareUpgrade"] = soapReply(200, "<t:R/>"); });
    EXPECT_EQ(upgrade(path), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    EXPECT_TRUE(calls.entries().empty());
}

TEST_F(UploadTest, LogoutEndsAnUpgradeWithAFinalState)
{
    enter();
    answerWith("", 0);
    ASSERT_GT(upgrade(makeFile(1000)), 0);
    ASSERT_TRUE(device.waitFor([&] { return !sentTo("/upload/fw?key=1").empty(); }));
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    const auto all = calls.entries();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.back().state, LUMO_UPGRADE_FAILED);
}

TEST_F(UploadTest, AnOnlineUpgradeIsWatchedToItsEnd)
{
    std::atomic<int> looks{0};
    script([&](const PeerRequest& r) {
        if (r.method == "POST")
            return httpReply(200, "{\"Ret\":100}");
        const int n = looks++;
        const int state = n < 3 ? 0 : n < 5 ? 2 : 1;
        return httpReply(200, "{\"State\":" + std::to_string(state) +
                                  ",\"Total\":100,\"Sent\":" + std::to_string(std::min(n * 40, 100)) + ",\"Ret\":100}");
    });
    enter();
    const int handle = upgradeOnline();
    ASSERT_GT(handle, 0);
    ASSERT_TRUE(calls.waitForFinal());
    const auto all = calls.entries();
    EXPECT_EQ(all.back().state, LUMO_UPGRADE_DONE);
    EXPECT_EQ(all.back().third, 100);
    EXPECT_EQ(all.back().fourth, 100);
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const auto& e) { return e.state == LUMO_UPGRADE_WRITING; }));
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](const auto& e) { return e.state == LUMO_UPGRADE_DONE; }), 1);
    const auto posts = sentTo("/cmd/upgrade");
    ASSERT_FALSE(posts.empty());
    EXPECT_EQ(posts.back().body, "{\"Version\":\"X_V2\"}");
}

TEST_F(UploadTest, AnOnlineUpgradeThatFailsOrFallsSilentFails)
{
    defaults().timings.requestMs = 100;
    enter();
    for (const std::string& look :
         {httpReply(200, "{\"State\":3,\"Total\":1,\"Sent\":0}"), httpReply(200, "{\"State\":9}"),
          httpReply(200, "{\"State\""), httpReply(500, ""), std::string()}) {
        Calls own;
        script([&look](const PeerRequest& r) { return r.method == "POST" ? httpReply(200, "{\"Ret\":100}") : look; });
        const int handle = LUMONET_StartOnlineUpgrade(m_login, "V", 0, &Calls::onProgress, own.user());
        ASSERT_GT(handle, 0);
        EXPECT_TRUE(own.waitForFinal());
        EXPECT_EQ(own.entries().back().state, LUMO_UPGRADE_FAILED);
        LUMONET_CloseUpgradeHandle(handle);
    }
}

TEST_F(UploadTest, AnOnlineUpgradeThatIsRefusedHasNoHandle)
{
    enter();
    for (const auto& [status, expected] : {std::pair{503, -512}, {403, int(LUMONET_ERR_REFUSED)}}) {
        answerWith("{}", status);
        EXPECT_EQ(upgradeOnline(), 0);
        EXPECT_EQ(LUMONET_GetLastError(), expected);
    }
    answerWith("{\"Ret\":102}");
    EXPECT_EQ(upgradeOnline(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    EXPECT_EQ(LUMONET_StartOnlineUpgrade(m_login, "", 0, nullptr, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
}

TEST_F(UploadTest, SettingsAreRestoredWhereTheDeviceWantsThem)
{
    enter();
    answerWith("");
    EXPECT_EQ(restore(), 1);
    const auto sent = sentTo("/upload/set");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].body, "settings");
    answerWith("", 403);
    EXPECT_LT(restore(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}

TEST_F(UploadTest, SettingsHaveTheCallsTimeAltogether)
{
    enter();
    answerWith("", 0);
    const auto before = Clock::now();
    EXPECT_LT(restore(300), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    EXPECT_GE(msSince(before), 290);
    EXPECT_LT(msSince(before), 600);
    device.set([&] { device.rawReplyTo.erase("StartSystemRestore"); });
    EXPECT_LT(restore(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST(Durations, AreReadAsXmlWritesThem)
{
    EXPECT_EQ(parseDurationMs("PT5S"), 5000);
    EXPECT_EQ(parseDurationMs(" P1DT2H3M4.5S "), 86400000 + 2 * 3600000 + 3 * 60000 + 4000);
    for (const char* bad : {"", "5", "PT", "P5S", "PT5", "PTS", "PT5X", "-PT5S", "PT-5S"})
        EXPECT_EQ(parseDurationMs(bad), 0) << bad;
}
