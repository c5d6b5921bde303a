// Talk with a device that the test plays: what leaves, what comes back, and how it ends.
#include "TalkPeer.h"

#include <algorithm>
#include <chrono>
#include <cstring>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

using Clock = std::chrono::steady_clock;

class TalkTest : public NetTest
{
protected:
    void enter()
    {
        device.rtspPort = peer.rtsp.port();
        begin();
        m_login = login("127.0.0.1", device.port());
        ASSERT_GT(m_login, 0) << error;
    }
    int talkToDevice() { return LUMONET_StartVoiceCom_MR(m_login, &Listener::onVoice, listener.user()); }
    int talkTo(int channel)
    {
        return LUMONET_StartVoiceCom_NVR_IPC(m_login, channel, &Listener::onVoice, listener.user());
    }
    static int send(int talk, const Bytes& codes, int rate = 8000)
    {
        const Bytes frame = talkFrame(codes, rate);
        return LUMONET_VoiceComSendData(talk, frame.data(), int(frame.size()));
    }
    static long msSince(Clock::time_point since)
    {
        return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
    }
    std::vector<std::string> requiring() const
    {
        std::vector<std::string> methods;
        for (const auto& r : peer.rtsp.requests())
            if (r.header("Require") == "www.onvif.org/ver20/backchannel")
                methods.push_back(r.method);
        return methods;
    }
    void SetUp() override
    {
        NetTest::SetUp();
        device.audioOutputs = 1;
    }
    void TearDown() override
    {
        listener.release();
        NetTest::TearDown();
    }

    Listener listener;
    TalkPeer peer;
    OnvifDevicePeer device;
    int m_login = 0;
};

} // namespace

TEST_F(TalkTest, SpeechLeavesAsItIsInPacketsOfTwentyMilliseconds)
{
    enter();
    const int talk = talkToDevice();
    ASSERT_GT(talk, 0x50000);
    ASSERT_LT(talk, 0x60000);
    EXPECT_EQ(requiring(), (std::vector<std::string>{"DESCRIBE", "SETUP", "SETUP", "PLAY"}));
    const Bytes said = tone(1000, 8000, 1600);
    for (size_t at = 0; at < said.size(); at += 320)
        EXPECT_EQ(send(talk, Bytes(said.begin() + ptrdiff_t(at), said.begin() + ptrdiff_t(at + 320))), 1);
    ASSERT_TRUE(peer.waitForHeard(10));
    EXPECT_EQ(peer.heardCodes(), said);
    const auto heard = peer.heard();
    for (size_t i = 0; i < heard.size(); ++i) {
        EXPECT_EQ(heard[i].codes.size(), 160u);
        EXPECT_EQ(heard[i].type, 8);
        EXPECT_EQ(heard[i].marker, i == 0);
        EXPECT_EQ(heard[i].sequence, uint16_t(heard[0].sequence + i));
        EXPECT_EQ(heard[i].time, uint32_t(heard[0].time + 160 * i));
    }
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("TEARDOWN") == 1; }));
}

TEST_F(TalkTest, NoPictureIsAskedFor)
{
    enter();
    ASSERT_GT(talkToDevice(), 0);
    for (const auto& r : peer.rtsp.requests())
        EXPECT_FALSE(r.method == "SETUP" && r.url.ends_with("picture"));
    EXPECT_TRUE(peer.rtsp.requests()[1].url.ends_with("back")) << "what must be accepted is asked for first";
}

TEST_F(TalkTest, FramesThatComeAtOnceLeaveWhenTheirTimeHasCome)
{
    enter();
    const int talk = talkToDevice();
    for (int i = 0; i < 20; ++i)
        send(talk, Bytes(160, uint8_t(i)));
    ASSERT_TRUE(peer.waitForHeard(20));
    const auto heard = peer.heard();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(heard.back().at - heard.front().at).count();
    EXPECT_GE(took, 19 * 20 - 25) << "a packet each 20 ms, give or take one";
}

TEST_F(TalkTest, HalfASecondIsKeptThenTheOldestGoAndSendingNeverBlocks)
{
    enter();
    const int talk = talkToDevice();
    const auto before = Clock::now();
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(send(talk, Bytes(160, uint8_t(i))), 1);
    EXPECT_LT(msSince(before), 200) << "four seconds of speech";
    ASSERT_TRUE(peer.rtsp.waitFor([&] {
        const Bytes all = peer.heardCodes();
        return !all.empty() && all.back() == 199;
    }));
    const auto heard = peer.heard();
    EXPECT_LT(heard.size(), 40u);
    EXPECT_GE(heard.size(), 25u);
    for (size_t i = 0; i < 25; ++i)
        EXPECT_EQ(heard[heard.size() - 25 + i].codes, Bytes(160, uint8_t(175 + i)));
}

TEST_F(TalkTest, TheEndOfAWordIsFilledWithSilenceAndTheNextBeginsAnew)
{
    enter();
    const int talk = talkToDevice();
    send(talk, Bytes(200, 0x11));
    ASSERT_TRUE(peer.waitForHeard(2));
    send(talk, Bytes(160, 0x22));
    ASSERT_TRUE(peer.waitForHeard(3));
    const auto heard = peer.heard();
    Bytes second(40, 0x11);
    second.resize(160, kSilentALaw);
    EXPECT_EQ(heard[1].codes, second);
    EXPECT_FALSE(heard[1].marker);
    EXPECT_TRUE(heard[2].marker);
}

TEST_F(TalkTest, SixteenKilohertzArriveAsEight)
{
    enter();
    const int talk = talkToDevice();
    speak(talk, 1000, 16000, 600);
    ASSERT_TRUE(peer.waitForHeard(30));
    Bytes heard = peer.heardCodes();
    heard.erase(heard.begin(), heard.begin() + 160);
    EXPECT_NEAR(hertzOf(heard, 8000), 1000, 10);
    EXPECT_NEAR(levelOf(heard), kToneLevel / std::sqrt(2), 400);
}

TEST_F(TalkTest, ALoudspeakerOfTheOtherLawGetsItsCodes)
{
    peer.rtsp.sdp = TalkPeer::sdp("8", "0");
    enter();
    const int talk = talkToDevice();
    const Bytes said = tone(1000, 8000, 160);
    send(talk, said);
    ASSERT_TRUE(peer.waitForHeard(1));
    EXPECT_EQ(peer.heard()[0].type, 0);
    for (size_t i = 0; i < said.size(); ++i)
        EXPECT_EQ(peer.heard()[0].codes[i], muLawOfLinear(linearOfALaw(said[i])));
}

TEST_F(TalkTest, WhatTheDeviceSaysComesAsTalkFrames)
{
    peer.says = [](int n) { return tone(440, 8000, 160, size_t(n) * 160); };
    enter();
    const int talk = talkToDevice();
    ASSERT_TRUE(listener.waitForCodes(1600));
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_EQ(listener.handle, talk);
    EXPECT_EQ(listener.type, LUMO_FRAME_AUDIO);
    for (const Bytes& b : listener.blocks()) {
        ASSERT_EQ(b.size(), 168u);
        EXPECT_EQ(Bytes(b.begin(), b.begin() + 8), (Bytes{0, 0, 1, 0xFA, 14, 2, 160, 0}));
    }
    EXPECT_EQ(listener.codes(), tone(440, 8000, listener.codes().size()));
}

TEST_F(TalkTest, AMicrophoneOfSixteenKilohertzIsHeardAtEight)
{
    peer.rtsp.sdp = TalkPeer::sdp("97", "8");
    peer.says = [](int n) { return tone(440, 16000, 320, size_t(n) * 320); };
    enter();
    ASSERT_GT(talkToDevice(), 0);
    ASSERT_TRUE(listener.waitForCodes(4000));
    Bytes heard = listener.codes();
    heard.erase(heard.begin(), heard.begin() + 160);
    EXPECT_NEAR(hertzOf(heard, 8000), 440, 4);
    EXPECT_EQ(listener.blocks()[0][5], 2);
}

TEST_F(TalkTest, ACallbackThatWaitsDoesNotHoldUpWhatIsSaid)
{
    peer.says = [](int) { return Bytes(160, 0x33); };
    enter();
    listener.hold();
    const int talk = talkToDevice();
    ASSERT_TRUE(listener.waitForCodes(160));
    for (int i = 0; i < 20; ++i)
        send(talk, Bytes(160, uint8_t(i)));
    EXPECT_TRUE(peer.waitForHeard(20));
    const size_t before = listener.blocks().size();
    EXPECT_EQ(before, 1u) << "one at a time";
    listener.release();
    EXPECT_TRUE(listener.waitForCodes(160 * 40)) << "and it goes on";
}

TEST_F(TalkTest, StopReturnsAtOnceAndNothingIsCalledAfterwards)
{
    peer.says = [](int) { return Bytes(160, 0x33); };
    enter();
    const int talk = talkToDevice();
    ASSERT_TRUE(listener.waitForCodes(160));
    for (int i = 0; i < 25; ++i)
        send(talk, Bytes(160, 1));
    const auto before = Clock::now();
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_LT(msSince(before), 200);
    const size_t count = listener.blocks().size();
    EXPECT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("TEARDOWN") == 1; }));
    EXPECT_EQ(listener.blocks().size(), count);
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    EXPECT_EQ(send(talk, Bytes(160, 1)), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(TalkTest, ADeafDeviceDoesNotHoldUpAStop)
{
    peer.rtsp.silentOn = {"TEARDOWN"};
    enter();
    const int talk = talkToDevice();
    ASSERT_GT(talk, 0);
    const auto before = Clock::now();
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_LT(msSince(before), 200);
}

TEST_F(TalkTest, LogoutEndsTheTalk)
{
    peer.says = [](int) { return Bytes(160, 0x33); };
    enter();
    const int talk = talkToDevice();
    ASSERT_TRUE(listener.waitForCodes(160));
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    const size_t count = listener.blocks().size();
    EXPECT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("TEARDOWN") == 1; }));
    EXPECT_EQ(listener.blocks().size(), count);
    EXPECT_EQ(send(talk, Bytes(160, 1)), 0);
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 0);
}

TEST_F(TalkTest, LogoutEndsATalkThatIsBeingOpened)
{
    peer.rtsp.silentOn = {"DESCRIBE"};
    defaults().timings.openMs = kLongMs;
    enter();
    std::atomic<int> result{-1}, why{0};
    std::thread opening([&] {
        result = talkToDevice();
        why = LUMONET_GetLastError();
    });
    EXPECT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("DESCRIBE") == 1; }));
    const auto before = Clock::now();
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    EXPECT_LT(msSince(before), 1000);
    opening.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(why, LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(TalkTest, TalkWithoutACallbackOnlySpeaks)
{
    enter();
    const int talk = LUMONET_StartVoiceCom_MR(m_login, nullptr, 0);
    ASSERT_GT(talk, 0);
    send(talk, Bytes(160, 5));
    EXPECT_TRUE(peer.waitForHeard(1));
    EXPECT_EQ(peer.rtsp.count("SETUP"), 1) << "nobody listens";
}

TEST_F(TalkTest, ADeadConnectionIsOpenedAgainAndTheTalkGoesOn)
{
    peer.hangUpAfter = 3;
    enter();
    const int talk = talkToDevice();
    for (int i = 0; i < 3; ++i)
        send(talk, Bytes(160, uint8_t(i)));
    ASSERT_TRUE(peer.waitForHeard(3));
    ASSERT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("PLAY") >= 2; }));
    peer.hangUpAfter = -1; // not sooner: the peer may not have looked yet
    ASSERT_TRUE(peer.rtsp.waitFor([&] {
        send(talk, Bytes(160, 9));
        return peer.heard().size() > 5;
    }));
    EXPECT_EQ(peer.heard().back().codes, Bytes(160, 9));
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
}

TEST_F(TalkTest, ADeviceThatDoesNotKnowTheBackChannelIsUnsupported)
{
    enter();
    peer.rtsp.set([&] { peer.rtsp.statusOf["DESCRIBE"] = 551; });
    EXPECT_EQ(talkToDevice(), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    peer.rtsp.set([&] {
        peer.rtsp.statusOf.clear();
        peer.rtsp.sdp = TalkPeer::sdp("8", "");
    });
    EXPECT_EQ(talkToDevice(), 0) << "it knows the word, and describes none";
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST_F(TalkTest, RefusalsOfTheLoudspeakerAreToldApart)
{
    enter();
    for (const auto& [status, expected] : {std::pair{453, LUMONET_ERR_SESSIONS}, {404, LUMONET_ERR_REFUSED}}) {
        peer.rtsp.set([&, s = status] { peer.rtsp.statusOf["SETUP"] = s; });
        EXPECT_EQ(talkToDevice(), 0);
        EXPECT_EQ(LUMONET_GetLastError(), expected);
    }
}

TEST_F(TalkTest, AChannelWithoutALoudspeakerIsRefusedAtOnce)
{
    enter();
    ASSERT_GT(talkTo(0), 0);
    const int connections = peer.rtsp.connections();
    EXPECT_EQ(talkTo(1), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    for (const int bad : {2, -2, 100000}) {
        EXPECT_EQ(talkTo(bad), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    }
    EXPECT_EQ(peer.rtsp.connections(), connections);
    EXPECT_EQ(device.count("GetAudioOutputs"), 1) << "the answer is remembered";
}

TEST_F(TalkTest, AllChannelsThatCanTalkHearTheSame)
{
    device.channels = 3;
    device.audioOutputs = 2;
    enter();
    const int talk = talkTo(-1);
    ASSERT_GT(talk, 0);
    EXPECT_EQ(peer.rtsp.count("PLAY"), 2);
    send(talk, Bytes(160, 4));
    ASSERT_TRUE(peer.waitForHeard(2));
    EXPECT_EQ(peer.heard()[0].codes, peer.heard()[1].codes);
    EXPECT_EQ(LUMONET_StopVoiceCom(talk), 1);
    EXPECT_TRUE(peer.rtsp.waitFor([&] { return peer.rtsp.count("TEARDOWN") == 2; }));
}

TEST_F(TalkTest, FramesThatAreNoneAreRefused)
{
    enter();
    const int talk = talkToDevice();
    const Bytes good = talkFrame(Bytes(160, 1));
    const auto refused = [&](const Bytes& frame) {
        return LUMONET_VoiceComSendData(talk, frame.data(), int(frame.size())) == 0 &&
               LUMONET_GetLastError() == LUMONET_ERR_ARGUMENT;
    };
    Bytes shorter(good.begin(), good.end() - 1), longer = good, codec = good, rate = good, mark = good;
    longer.push_back(0);
    codec[4] = 15;
    rate[5] = 3;
    mark[3] = 0xF0;
    for (const Bytes& bad : {shorter, longer, codec, rate, mark, Bytes(good.begin(), good.begin() + 7)})
        EXPECT_TRUE(refused(bad));
    EXPECT_EQ(LUMONET_VoiceComSendData(talk, nullptr, 168), 0);
    EXPECT_EQ(LUMONET_VoiceComSendData(talk, good.data(), 0), 0);
    EXPECT_EQ(LUMONET_VoiceComSendData(m_login, good.data(), int(good.size())), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    EXPECT_EQ(LUMONET_VoiceComSendData(talk, good.data(), int(good.size())), 1);
    ASSERT_TRUE(peer.waitForHeard(1));
    EXPECT_EQ(peer.heard()[0].codes, Bytes(160, 1));
}

TEST_F(TalkTest, ABareAddressTalksWhereItDescribesABackChannel)
{
    begin();
    m_login = login(peer.rtsp.url());
    ASSERT_GT(m_login, 0) << error;
    const int talk = talkTo(0);
    ASSERT_GT(talk, 0) << LUMONET_GetLastError();
    send(talk, Bytes(160, 6));
    EXPECT_TRUE(peer.waitForHeard(1));
    RtspPeer mute;
    mute.sdp = TalkPeer::sdp("8", "");
    const int other = login(mute.url());
    ASSERT_GT(other, 0);
    EXPECT_EQ(LUMONET_StartVoiceCom_MR(other, &Listener::onVoice, listener.user()), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST_F(TalkTest, TheTalkRecordSaysWhetherTheDeviceTalks)
{
    enter();
    LumoTalkInfo record{};
    int size = 0;
    EXPECT_EQ(LUMONET_GetDevConfig(m_login, LUMO_CONFIG_TALK, -1, &record, sizeof record, &size, 1000), 229);
    EXPECT_EQ(size, 229);
    EXPECT_EQ(record.nTalkRefused[0] | record.nTalkRefused[1] | record.nTalkRefused[2] | record.nTalkRefused[3], 0);
    EXPECT_EQ(record.byAudioParam, 14);
    OnvifDevicePeer mute;
    mute.audioOutputs = 0;
    const int other = login("127.0.0.1", mute.port());
    EXPECT_EQ(LUMONET_GetDevConfig(other, LUMO_CONFIG_TALK, -1, &record, sizeof record, &size, 1000), 229);
    EXPECT_EQ(record.nTalkRefused[0], 1);
    EXPECT_LT(LUMONET_GetDevConfig(other, LUMO_CONFIG_TALK, -1, &record, 228, &size, 1000), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(size, 0);
}

TEST_F(TalkTest, TheTalkAbilityComesFromTheLoudspeakers)
{
    const std::string profiles =
        "<t:GetProfilesResponse><t:Profiles token=\"a\"><t:VideoSourceConfiguration><t:SourceToken>s0</t:SourceToken>"
        "</t:VideoSourceConfiguration><t:VideoEncoderConfiguration/></t:Profiles><t:Profiles token=\"b\">"
        "<t:VideoSourceConfiguration><t:SourceToken>s1</t:SourceToken></t:VideoSourceConfiguration>"
        "<t:VideoEncoderConfiguration/><t:Extension><t:AudioOutputConfiguration token=\"o\"/></t:Extension>"
        "</t:Profiles></t:GetProfilesResponse>";
    const char* name = "ChannelSystemFunction@SupportIPCTalk";
    char text[200];
    int size = 0;
    enter();
    EXPECT_EQ(LUMONET_GetChannelAbility_Json(m_login, name, -1, text, sizeof text, &size, 1000), 1);
    EXPECT_EQ(std::string(text), std::string("{\"Name\":\"") + name + "\",\"" + name + "\":[1,0],\"Ret\":100}");
    EXPECT_EQ(size, int(strlen(text)));
    device.set([&] { device.rawReplyTo["GetProfiles"] = soapReply(200, profiles); });
    const int other = login("127.0.0.1", device.port());
    EXPECT_EQ(LUMONET_GetChannelAbility_Json(other, name, -1, text, sizeof text, &size, 1000), 1);
    EXPECT_NE(std::string(text).find("[0,1]"), std::string::npos) << text;
    EXPECT_EQ(LUMONET_GetChannelAbility_Json(other, name, -1, text, size, &size, 1000), 0) << "no room for the zero";
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
}
