// Talk, commands, files and firmware against the simulated recorder: another hand's back channel and HTTP.
#include "CommandService.h"
#include "Digest.h"
#include "Http.h"
#include "RecorderFixture.h"
#include "TalkPeer.h"
#include "Watcher.h"

#include <json/json.h>

#include <fstream>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

/// What the callbacks of a transfer or an upgrade got; its address is the user value.
struct Notes {
    static void onEnd(long, long status, long error, long, intptr_t user)
    {
        auto& self = *reinterpret_cast<Notes*>(user);
        std::lock_guard lock(self.mutex);
        self.status = int(status);
        self.error = int(error);
        self.ended = true;
        self.changed.notify_all();
    }
    static void onProgress(long, long handle, long total, long sent, intptr_t user)
    {
        auto& self = *reinterpret_cast<Notes*>(user);
        const int state = LUMONET_GetUpgradeState(int(handle));
        std::lock_guard lock(self.mutex);
        self.states.push_back(state);
        self.shares.push_back(total > 0 ? double(sent) / double(total) : 0);
        self.ended = state == LUMO_UPGRADE_DONE || state == LUMO_UPGRADE_FAILED;
        self.changed.notify_all();
    }
    intptr_t user() { return reinterpret_cast<intptr_t>(this); }
    bool wait()
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return ended; });
    }
    bool saw(int state)
    {
        std::lock_guard lock(mutex);
        return std::find(states.begin(), states.end(), state) != states.end();
    }
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> states;
    std::vector<double> shares;
    int status = -1, error = 0;
    bool ended = false;
};

class Service : public Recorder
{
protected:
    void enterRecorder(const std::vector<std::string>& more = {})
    {
        start("h264", "160x96", more);
        if (HasFatalFailure() || IsSkipped())
            return;
        m_login = enter();
        ASSERT_GT(m_login, 0) << error;
    }
    Json::Value ask(const std::string& path)
    {
        Json::Value value;
        const std::string text = http("GET " + path, "");
        std::istringstream(text) >> value;
        return value;
    }
    bool tell(const std::string& path, const std::string& json) { return !http("POST " + path, json).empty(); }
    /// The body of an answer 200; empty for any other.
    std::string http(const std::string& what, const std::string& body)
    {
        HttpClient client(2000, 5000, std::make_shared<std::atomic<bool>>(false));
        const std::string url = "http://127.0.0.1:" + std::to_string(m_http) + what.substr(what.find(' ') + 1);
        const HttpReply reply =
            what.starts_with("GET") ? client.get(url, {}) : client.post(url, "application/json", body, {});
        return reply.status == 200 ? reply.body : "";
    }
    bool waitForHeard(int channel, long bytes)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
        while (ask("/api/talk?channel=" + std::to_string(channel))["bytes"].asInt64() < bytes)
            if (std::chrono::steady_clock::now() > end)
                return false;
        return true;
    }
    /// What a channel heard, from `skip` samples on.
    Bytes heard(int channel, size_t skip)
    {
        const std::string all = http("GET /api/talk/heard?channel=" + std::to_string(channel), "");
        return all.size() < skip ? Bytes() : Bytes(all.begin() + ptrdiff_t(skip), all.end());
    }
    int talkTo(int channel)
    {
        return LUMONET_StartVoiceCom_NVR_IPC(m_login, channel, &Listener::onVoice, listener.user());
    }
    std::string makeFile(size_t size)
    {
        m_bytes.clear();
        for (size_t i = 0; i < size; ++i)
            m_bytes += char(i * 13 + i / 257);
        const std::string path = folder.path("file.bin");
        std::ofstream(path, std::ios::binary) << m_bytes;
        return path;
    }
    std::string sha256() const { return hashHex(Hash::Sha256, m_bytes); }
    void TearDown() override
    {
        listener.release();
        Recorder::TearDown();
    }

    TestFolder folder;
    std::string m_bytes;
    Listener listener;
    int m_login = 0;
};

} // namespace

TEST_F(Service, AToneArrivesAtItsPitchWithoutAGapForTenSeconds)
{
    enterRecorder();
    const int talk = LUMONET_StartVoiceCom_MR(m_login, &Listener::onVoice, listener.user());
    ASSERT_GT(talk, 0) << LUMONET_GetLastError();
    speak(talk, 1000, 8000, 1000); // the first second is the way's own
    ASSERT_TRUE(waitForHeard(0, 8000));
    ASSERT_TRUE(tell("/api/talk", R"({"channel":0,"clear":true})"));
    const double lateMs = speak(talk, 1000, 8000, 10000);
    ASSERT_TRUE(waitForHeard(0, 80000));
    const Json::Value note = ask("/api/talk?channel=0");
    EXPECT_EQ(note["oddPackets"].asInt(), 0);
    EXPECT_LE(note["largestGapMs"].asDouble(), 40.0 + lateMs) << "of these the speaker's own: " << lateMs;
    RecordProperty("largestGapMs", std::to_string(note["largestGapMs"].asDouble()));
    EXPECT_EQ(note["talking"].asInt(), 1);
    const Bytes sound = heard(0, 0);
    EXPECT_EQ(sound, tone(1000, 8000, sound.size())) << "sample by sample";
    EXPECT_NEAR(hertzOf(sound, 8000), 1000, 1);
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
}

TEST_F(Service, AToneOfSixteenKilohertzArrivesAtItsPitch)
{
    enterRecorder();
    const int talk = talkTo(1);
    ASSERT_GT(talk, 0) << LUMONET_GetLastError();
    speak(talk, 1000, 16000, 2000);
    ASSERT_TRUE(waitForHeard(1, 16000));
    const Bytes sound = heard(1, 800);
    EXPECT_NEAR(hertzOf(sound, 8000), 1000, 10);
    EXPECT_NEAR(levelOf(sound), kToneLevel / std::sqrt(2), 400);
    EXPECT_EQ(ask("/api/talk?channel=0")["bytes"].asInt(), 0) << "the other channel hears nothing";
}

TEST_F(Service, WhatTheRecorderSaysIsHeard)
{
    enterRecorder();
    ASSERT_TRUE(tell("/api/talk", R"({"channel":0,"tone":440})"));
    const int talk = talkTo(0);
    ASSERT_GT(talk, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(listener.waitForCodes(12000));
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    Bytes sound = listener.codes();
    sound.erase(sound.begin(), sound.begin() + 4000);
    EXPECT_NEAR(hertzOf(sound, 8000), 440, 4);
    for (const Bytes& b : listener.blocks())
        EXPECT_EQ(Bytes(b.begin(), b.begin() + 6), (Bytes{0, 0, 1, 0xFA, 14, 2}));
}

TEST_F(Service, AllChannelsHearOneTalkAndTheNextTalkStartsAtOnce)
{
    enterRecorder({"--channels", "3"});
    for (int round = 0; round < 3; ++round) {
        const int talk = talkTo(-1);
        ASSERT_GT(talk, 0) << LUMONET_GetLastError();
        speak(talk, 500, 8000, 400);
        ASSERT_TRUE(waitForHeard(0, (round + 1) * 3200));
        ASSERT_TRUE(waitForHeard(1, (round + 1) * 3200));
        EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    }
    EXPECT_EQ(talkTo(2), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
}

TEST_F(Service, PicturesGoOnWhileOneTalks)
{
    enterRecorder();
    Viewer v;
    const int h = play(m_login, v);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(v.waitForCount(5));
    const int talk = talkTo(0);
    ASSERT_GT(talk, 0) << LUMONET_GetLastError();
    const size_t count = v.count();
    speak(talk, 500, 8000, 600);
    EXPECT_TRUE(waitForHeard(0, 4800));
    EXPECT_TRUE(v.waitForCount(count + 5));
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_TRUE(v.waitForCount(v.count() + 5)) << "the end of the talk is not the end of the pictures";
    EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
}

TEST_F(Service, TheTwoLensesAreReadAndSet)
{
    enterRecorder({"--two-lenses"});
    char text[65536];
    int size = 0;
    EXPECT_TRUE(LUMONET_HasAbility(m_login, "SystemFunction/OtherFunction/SupportScaleTwoLens", 0));
    ASSERT_EQ(LUMONET_GetSystemAbility_Json(m_login, "bypass@SystemFunction", 1362, 0, text, sizeof text, &size, 5000),
              1);
    EXPECT_TRUE(boolAtPath(text, "SystemFunction/OtherFunction/SupportScaleTwoLens"));
    const std::string set = "[{\"StreamType\": 1,\"TimesOri\": 0.0,\"Times\": 2.5}]";
    EXPECT_EQ(LUMONET_CmdWithOutput_Json(m_login, "OPScaleTimesSwitch", 3032, 0, set.c_str(), 256, text, 5000), 1);
    EXPECT_EQ(LUMONET_CmdWithResult_Json(m_login, "OPSensorGet", 3034, 0, "[{\"StreamType\": 1}]", 256, text,
                                         sizeof text, &size, 5000),
              1);
    Json::Value value;
    std::istringstream(text) >> value;
    const Json::Value lens = value[value["Name"].asString()][0];
    EXPECT_EQ(lens["Times"].asDouble(), 2.5);
    EXPECT_EQ(lens["MaxTimes"].asDouble(), 8.0);
    EXPECT_EQ(value["Ret"].asInt(), 100);
    EXPECT_EQ(ask("/api/device")["lenses"][0]["times"].asDouble(), 2.5);
    const std::string far = "[{\"StreamType\": 1,\"TimesOri\": 0.0,\"Times\": 99.0}]";
    EXPECT_EQ(LUMONET_CmdWithOutput_Json(m_login, "OPScaleTimesSwitch", 3032, 0, far.c_str(), 256, text, 5000), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    EXPECT_EQ(LUMONET_Cmd_Json(m_login, "Nonsense", 1, 0, "", 0, 5000), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST_F(Service, AnAnnouncedFileArrivesByteForByte)
{
    enterRecorder();
    const std::string path = makeFile(3000000);
    const auto send = [&](const std::string& announcement) {
        Notes notes;
        EXPECT_EQ(LUMONET_Cmd_Json(m_login, "OPFile", 3500, -1, announcement.c_str(), int(announcement.size()), 5000),
                  1);
        EXPECT_GT(LUMONET_SendFileDataToDevice(m_login, path.c_str(), &Notes::onEnd, notes.user()), 0);
        EXPECT_TRUE(notes.wait());
        return std::pair(notes.status, notes.error);
    };
    EXPECT_EQ(send(R"({"FileType": 1,"FilePurpose": 0,"FileSize": 3000000,"FileName": "a.pcm","Parameter": {}})"),
              std::pair(1, 0));
    const Json::Value file = ask("/api/device")["files"][0];
    EXPECT_EQ(file["size"].asInt(), 3000000);
    EXPECT_EQ(file["sha256"].asString(), sha256());
    EXPECT_EQ(file["announced"]["FileName"].asString(), "a.pcm");
    const Bytes kept = contentOf(file["path"].asString());
    EXPECT_TRUE(std::string(kept.begin(), kept.end()) == m_bytes);
    EXPECT_EQ(send(R"({"FileSize": 5,"FileName": "b.pcm"})"), std::pair(0, int(LUMONET_ERR_REFUSED)));
    EXPECT_EQ(LUMONET_Cmd_Json(m_login, "OPFile", 3500, -1, "{}", 2, 5000), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}

TEST_F(Service, FirmwareIsTakenWrittenAndThenTheDevicesOwn)
{
    enterRecorder();
    const std::string path = makeFile(12000000);
    LumoVersionInfo version{};
    int size = 0;
    EXPECT_GT(LUMONET_GetDevConfig(m_login, LUMO_CONFIG_VERSION, -1, &version, sizeof version, &size, 5000), 0);
    EXPECT_EQ(version.nCount, 1);
    EXPECT_STREQ(version.szVersion, "LumoSim_V1.1.0.bin");
    EXPECT_STREQ(version.szBuildDate, "2026-2-1");
    EXPECT_NE(std::string(info.szSoftwareVersion).find("20260101"), std::string::npos);
    ASSERT_TRUE(fault(R"({"upload":"slow"})"));
    Notes notes;
    const int handle = LUMONET_StartLocalUpgrade(m_login, path.c_str(), 1, &Notes::onProgress, notes.user());
    ASSERT_GT(handle, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(notes.wait());
    EXPECT_EQ(notes.states.back(), LUMO_UPGRADE_DONE);
    EXPECT_TRUE(notes.saw(LUMO_UPGRADE_RUNNING));
    EXPECT_TRUE(notes.saw(LUMO_UPGRADE_WRITING));
    EXPECT_TRUE(std::is_sorted(notes.shares.begin(), notes.shares.end()));
    EXPECT_TRUE(std::any_of(notes.shares.begin(), notes.shares.end(), [](double s) { return s > 0 && s < 1; }));
    LUMONET_CloseUpgradeHandle(handle);
    const Json::Value device = ask("/api/device");
    EXPECT_EQ(device["files"][0]["kind"].asString(), "firmware");
    EXPECT_EQ(device["files"][0]["sha256"].asString(), sha256());
    const int again = enter();
    EXPECT_GT(again, 0);
    EXPECT_NE(std::string(info.szSoftwareVersion).find("20260201"), std::string::npos);
}

TEST_F(Service, FirmwareThatFailsAndADeviceThatIsBusy)
{
    enterRecorder();
    const std::string path = makeFile(100000);
    ASSERT_TRUE(fault(R"({"upload":"fail"})"));
    Notes local, online;
    ASSERT_GT(LUMONET_StartLocalUpgrade(m_login, path.c_str(), 1, &Notes::onProgress, local.user()), 0);
    ASSERT_TRUE(local.wait());
    EXPECT_EQ(local.states.back(), LUMO_UPGRADE_FAILED);
    ASSERT_GT(LUMONET_StartOnlineUpgrade(m_login, "V", 0, &Notes::onProgress, online.user()), 0);
    ASSERT_TRUE(online.wait());
    EXPECT_EQ(online.states.back(), LUMO_UPGRADE_FAILED);
    ASSERT_TRUE(fault(R"({"upload":"busy"})"));
    EXPECT_EQ(LUMONET_StartLocalUpgrade(m_login, path.c_str(), 1, &Notes::onProgress, local.user()), 0);
    EXPECT_EQ(LUMONET_GetLastError(), -512);
    EXPECT_EQ(LUMONET_StartOnlineUpgrade(m_login, "V", 0, &Notes::onProgress, online.user()), 0);
    EXPECT_EQ(LUMONET_GetLastError(), -512);
}

TEST_F(Service, AnOnlineUpgradeIsWatchedToItsEnd)
{
    defaults().timings.upgradeLookMs = 20;
    enterRecorder();
    Notes notes;
    const int handle = LUMONET_StartOnlineUpgrade(m_login, "LumoSim_V1.1.0.bin", 0, &Notes::onProgress, notes.user());
    ASSERT_GT(handle, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(notes.wait());
    EXPECT_EQ(notes.states.back(), LUMO_UPGRADE_DONE);
    EXPECT_EQ(notes.shares.back(), 1.0);
    EXPECT_TRUE(notes.saw(LUMO_UPGRADE_WRITING));
    EXPECT_EQ(ask("/api/device")["firmware"].asString(), "1.1.0.20260201");
}

TEST_F(Service, SettingsAreRestored)
{
    enterRecorder();
    const std::string settings = "name=front door\n";
    const auto restore = [&] {
        return LUMONET_SetDevConfig(m_login, LUMO_CONFIG_IMPORT, -1, settings.data(), int(settings.size()), 8000);
    };
    EXPECT_EQ(restore(), 1) << LUMONET_GetLastError();
    const Json::Value file = ask("/api/device")["files"][0];
    EXPECT_EQ(file["kind"].asString(), "settings");
    const Bytes kept = contentOf(file["path"].asString());
    EXPECT_EQ(std::string(kept.begin(), kept.end()), settings);
    ASSERT_TRUE(fault(R"({"upload":"fail"})"));
    EXPECT_LT(restore(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}

TEST_F(Service, ARefusingHangingBrokenOrHugeServiceIsAnErrorAndTheNextCommandWorks)
{
    enterRecorder({"--two-lenses"});
    char text[65536];
    int size = 0;
    const auto read = [&](int timeoutMs) {
        return LUMONET_CmdWithResult_Json(m_login, "OPSensorGet", 3034, 0, "[{\"StreamType\": 0}]", 256, text,
                                          sizeof text, &size, timeoutMs);
    };
    for (const auto& [kind, expected] : {std::pair{"refuse", LUMONET_ERR_REFUSED},
                                         {"hang", LUMONET_ERR_TIMEOUT},
                                         {"broken", LUMONET_ERR_REFUSED},
                                         {"huge", LUMONET_ERR_REFUSED}}) {
        ASSERT_TRUE(fault(std::string(R"({"command":")") + kind + "\"}"));
        EXPECT_EQ(read(500), 0) << kind;
        EXPECT_EQ(LUMONET_GetLastError(), expected) << kind;
        ASSERT_TRUE(fault(R"({"command":"none"})"));
        EXPECT_EQ(read(5000), 1) << kind;
    }
}

TEST_F(Service, ALoginByTokenMayUseTheService)
{
    enterRecorder();
    const int byToken = LUMONET_LoginEx_V2(m_serial.substr(0, 31).c_str(), 0, "lumo-token", "", &info, 7, &error, 2);
    ASSERT_GT(byToken, 0) << error;
    LumoVersionInfo version{};
    int size = 0;
    EXPECT_GT(LUMONET_GetDevConfig(byToken, LUMO_CONFIG_VERSION, -1, &version, sizeof version, &size, 5000), 0);
}

TEST_F(Service, AStreamMayBeOpenedAgainAsSoonAsItWasClosed)
{
    defaults().timings.busyTries = 0; // no patience: each 503 would be a failure
    enterRecorder();
    for (int i = 0; i < 15; ++i) {
        Viewer v;
        const int h = play(m_login, v);
        ASSERT_GT(h, 0) << "round " << i << ": " << LUMONET_GetLastError();
        ASSERT_TRUE(v.waitForCount(1));
        EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
    }
}
