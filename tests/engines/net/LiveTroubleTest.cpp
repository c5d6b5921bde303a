// Live streams of devices that refuse, fall silent, talk nonsense or lose packets.
#include "LiveFixture.h"

#include <algorithm>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

TEST_F(Live, SoundThatIsRefusedLeavesThePicture)
{
    peer.sdp += "m=audio 0 RTP/AVP 8\r\na=control:t1\r\n";
    peer.onConnect = [this](PeerConnection& c) {
        while (const auto r = c.read(m_never)) {
            const bool bad = r->url.ends_with("t1");
            const std::string body = r->method == "DESCRIBE" ? peer.sdp : "";
            c.send("RTSP/1.0 " + std::string(bad ? "461" : "200") + " x\r\nCSeq: " + r->header("CSeq") +
                   "\r\nSession: 5\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
            if (r->method == "PLAY")
                peer.stream(c, 40);
            if (peer.stopping())
                return;
        }
    };
    const int h = play(begun(), viewer);
    EXPECT_GT(h, 0);
    EXPECT_TRUE(viewer.waitForCount(5));
    LUMONET_StopRealPlay(h, 0);
}

TEST_F(Live, WrongPasswordIsTriedExactlyOnce)
{
    peer.user = "admin";
    peer.password = "lumo";
    begin();
    EXPECT_LE(login(peer.url(), 0, "admin", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_PASSWORD);
    ASSERT_EQ(peer.requests().size(), 2u);
    EXPECT_EQ(peer.requests()[0].header("Authorization"), "");
    EXPECT_NE(peer.requests()[1].header("Authorization"), "");
    EXPECT_EQ(peer.connections(), 1);
}

TEST_F(Live, WithoutAUserAChallengeIsARefusal)
{
    peer.user = "admin";
    peer.password = "lumo";
    begin();
    EXPECT_LE(login(peer.url(), 0, "", ""), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    EXPECT_EQ(peer.requests().size(), 1u);
}

TEST_F(Live, StreamRefusedForItsPasswordIsNeverOpenedAgain)
{
    peer.user = "admin";
    peer.password = "lumo";
    peer.onPlay = [this](PeerConnection& c, int) {
        peer.stream(c, 3);
        peer.refuseAll = true;
        c.close();
    };
    const int l = begun("", "admin", "lumo");
    ASSERT_GT(play(l, viewer), 0);
    ASSERT_TRUE(peer.waitFor([&] { return peer.connections() == 3; }));
    // Another stream that is cut again and again, at the same intervals, tells when a further attempt would be over.
    RtspPeer clock;
    clock.onPlay = [&](PeerConnection& c, int) {
        clock.stream(c, 1);
        c.close();
    };
    const int other = login(clock.url());
    Viewer ignored;
    ASSERT_GT(play(other, ignored), 0);
    ASSERT_TRUE(clock.waitFor([&] { return clock.connections() >= 20; }));
    EXPECT_EQ(peer.connections(), 3);
    EXPECT_EQ(peer.count("DESCRIBE"), 6); // the last with credentials, once
}

struct RefusalRow {
    const char* method;
    int status;
    int error;
};

class Refusal : public Live, public testing::WithParamInterface<RefusalRow>
{
};

TEST_P(Refusal, GivesAnErrorOfTheTable)
{
    const int l = begun();
    peer.set([&] { peer.statusOf[GetParam().method] = GetParam().status; });
    StreamOpenInfo wanted{};
    EXPECT_EQ(LUMONET_RealPlay(l, &wanted), 0);
    EXPECT_EQ(LUMONET_GetLastError(), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, Refusal,
    testing::Values(RefusalRow{"DESCRIBE", 404, LUMONET_ERR_REFUSED}, RefusalRow{"DESCRIBE", 403, LUMONET_ERR_REFUSED},
                    RefusalRow{"SETUP", 461, LUMONET_ERR_UNSUPPORTED}, RefusalRow{"SETUP", 453, LUMONET_ERR_SESSIONS},
                    RefusalRow{"PLAY", 503, LUMONET_ERR_REFUSED}, RefusalRow{"PLAY", 408, LUMONET_ERR_TIMEOUT}));

TEST_F(Live, DeviceThatIsBusyForAMomentIsAskedAgain)
{
    const int l = begun();
    std::atomic<int> busy{2};
    peer.onConnect = [&](PeerConnection& c) {
        if (busy-- > 0) {
            const auto r = c.read(m_never);
            c.send("RTSP/1.0 503 x\r\nCSeq: " + r->header("CSeq") + "\r\n\r\n");
            c.close();
            return;
        }
        while (const auto r = c.read(m_never))
            if (!peer.answer(c, *r))
                return;
    };
    const int h = play(l, viewer);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    EXPECT_TRUE(viewer.waitForCount(3));
    EXPECT_EQ(peer.connections(), 1 + 3);
    EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
}

TEST_F(Live, DeviceThatNeverAnswersIsATimeOut)
{
    defaults().timings.openMs = 200;
    const int l = begun();
    peer.set([&] { peer.silentOn = {"PLAY"}; });
    StreamOpenInfo wanted{};
    EXPECT_EQ(LUMONET_RealPlay(l, &wanted), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
}

TEST_F(Live, NobodyThereIsATimeOut)
{
    begin();
    int port;
    {
        RtspPeer gone;
        port = gone.port();
    }
    EXPECT_LE(login("rtsp://127.0.0.1:" + std::to_string(port) + "/x"), 0);
    EXPECT_EQ(error, LUMONET_ERR_TIMEOUT);
}

TEST_F(Live, BrokenDescriptionsAreRefused)
{
    begin();
    for (const char* sdp : {"", "<html>", "m=video 0 RTP/AVP 96\r\na=rtpmap:96 VP8/90000\r\n", "\xFF\xFE\0\0"}) {
        RtspPeer broken;
        broken.sdp = sdp;
        EXPECT_LE(login(broken.url()), 0) << sdp;
        EXPECT_EQ(error, LUMONET_ERR_UNSUPPORTED) << sdp;
    }
}

TEST_F(Live, HalfAnswerIsALostConnection)
{
    begin();
    for (const char* text : {"RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Le",
                             "RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: 99\r\n\r\nv=0", "", "$\1\xFF\xFFzz"}) {
        RtspPeer half;
        half.onConnect = [text, this](PeerConnection& c) {
            c.read(m_never);
            c.send(std::string(text));
            c.close();
        };
        EXPECT_LE(login(half.url()), 0) << text;
        EXPECT_EQ(error, LUMONET_ERR_TIMEOUT) << text;
    }
}

TEST_F(Live, AnswersThatMakeNoSenseAreARefusal)
{
    begin();
    for (const std::string& text : {std::string("RTSP/1.0 banana\r\n\r\n"), std::string("HTTP/1.0 200 OK\r\n\r\n"),
                                    std::string("RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: 999999999\r\n\r\n"),
                                    "RTSP/1.0 200 OK\r\n" + std::string(40000, 'x'), std::string(70000, '\1')}) {
        RtspPeer odd;
        odd.onConnect = [&text, this](PeerConnection& c) {
            c.read(m_never);
            c.send(text);
            c.read(m_never);
        };
        EXPECT_LE(login(odd.url()), 0) << text.substr(0, 40);
        EXPECT_EQ(error, LUMONET_ERR_REFUSED) << text.substr(0, 40);
    }
}

TEST_F(Live, StreamWithoutDataIsOpenedAgain)
{
    defaults().timings.silenceMs = 100;
    peer.onPlay = [this](PeerConnection& c, int play) {
        peer.stream(c, play < 3 ? 3 : -1);
        while (play < 3 && peer.pump(c, 5)) {
        }
    };
    const int h = play(begun(), viewer);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(3 + 3 + 10));
    EXPECT_EQ(peer.connections(), 1 + 3);
    EXPECT_TRUE(inOrderFromKeyFrames(viewer.frames()));
    EXPECT_EQ(peer.count("TEARDOWN"), 2) << "a dead session is torn down";
}

TEST_F(Live, ConnectionCutInTheMiddleOfAFrameLosesThatFrameOnly)
{
    peer.onPlay = [this](PeerConnection& c, int play) {
        PictureSource source;
        for (int i = 0; i < 3; ++i)
            for (const auto& p : source.next())
                c.sendInterleaved(0, p);
        if (play > 1) {
            peer.stream(c);
            return;
        }
        const auto parts = source.next(4);
        c.sendInterleaved(0, parts[0]);
        c.send(Bytes{'$', 0, 0, 50, 1, 2, 3});
        c.close();
    };
    ASSERT_GT(play(begun(), viewer), 0);
    ASSERT_TRUE(viewer.waitForCount(20));
    EXPECT_TRUE(inOrderFromKeyFrames(viewer.frames()));
    EXPECT_EQ(viewer.frames()[3].number, 0) << "the cut frame did not come";
}

TEST_F(Live, GarbageBetweenFramesIsSkipped)
{
    peer.onPlay = [this](PeerConnection& c, int) {
        PictureSource source;
        do {
            for (const auto& p : source.next(2))
                c.sendInterleaved(0, p);
            c.send(Bytes{1, 2, 3, 0xFF, 0, 0});
            c.sendInterleaved(0, {0x80});                      // no RTP packet
            c.sendInterleaved(9, Bytes(100, 7));               // a channel of nobody
            c.sendInterleaved(0, rtp(1, 1, true, kSlice, 33)); // another payload type
        } while (peer.pump(c, 5));
    };
    ASSERT_GT(play(begun(), viewer), 0);
    ASSERT_TRUE(viewer.waitForCount(20));
    EXPECT_TRUE(inOrderFromKeyFrames(viewer.frames()));
    EXPECT_EQ(viewer.frames()[19].number, 19);
    EXPECT_EQ(peer.connections(), 2);
}

TEST_F(Live, OversizedMessageEndsTheSessionAndANewOneBegins)
{
    peer.onPlay = [this](PeerConnection& c, int play) {
        peer.stream(c, 3);
        if (play == 1)
            c.send("RTSP/1.0 200 OK\r\nContent-Length: 4000000000\r\n\r\n");
        peer.stream(c);
    };
    ASSERT_GT(play(begun(), viewer), 0);
    ASSERT_TRUE(peer.waitFor([&] { return peer.connections() >= 3; }));
    const size_t before = viewer.count();
    EXPECT_TRUE(viewer.waitForCount(before + 10));
}

TEST_F(Live, LostPacketsLeaveNoDamagedFrame)
{
    peer.onPlay = [this](PeerConnection& c, int) {
        PictureSource source;
        do {
            const int n = source.pictures();
            auto packets = source.next(4);
            if (n % 16 == 5)
                packets.erase(packets.begin() + 2); // inside
            if (n % 16 == 11)
                packets.pop_back(); // the end
            for (const auto& p : packets)
                c.sendInterleaved(0, p);
        } while (peer.pump(c, 2));
    };
    ASSERT_GT(play(begun(), viewer), 0);
    ASSERT_TRUE(viewer.waitForCount(40));
    const auto frames = viewer.frames();
    EXPECT_TRUE(inOrderFromKeyFrames(frames));
    for (const auto& f : frames) {
        EXPECT_TRUE(f.number % 16 < 5 || (f.number % 16 >= 8 && f.number % 16 < 11)) << f.number;
        // Every frame delivered is whole: start code, slice, number, end.
        EXPECT_EQ(f.payload.back(), 0x80);
    }
}

TEST_F(Live, ByeOfTheDeviceIsTheEndOfThatSession)
{
    peer.onPlay = [this](PeerConnection& c, int play) {
        peer.stream(c, 3);
        if (play == 1)
            c.sendInterleaved(1, hex("80c90001 00001234 81cb0001 00001234"));
        while (peer.pump(c, 5)) {
        }
    };
    ASSERT_GT(play(begun(), viewer), 0);
    EXPECT_TRUE(viewer.waitForCount(6));
    EXPECT_EQ(peer.connections(), 3);
}

TEST_F(Live, DatagramsOutOfOrderAreSortedAndLostOnesLeaveNoDamage)
{
    defaults().timings.reorderMs = 30;
    peer.onPlay = [this](PeerConnection& c, int) {
        Socket out;
        out.bindDatagram(resolveAddress("127.0.0.1", 0));
        const Address to = resolveAddress("127.0.0.1", uint16_t(std::stoi(peer.clientPorts())));
        PictureSource source;
        do {
            const int n = source.pictures();
            auto packets = source.next(4);
            if (n % 16 == 12)
                packets.erase(packets.begin() + 1);
            std::reverse(packets.begin(), packets.end());
            if (n == 0)
                std::reverse(packets.begin(), packets.end()); // the first one says where numbers begin
            for (const auto& p : packets)
                out.sendTo(p.data(), p.size(), to);
        } while (peer.pump(c, 5));
    };
    const int h = play(begun("?transport=udp"), viewer);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(40));
    const auto frames = viewer.frames();
    EXPECT_TRUE(inOrderFromKeyFrames(frames));
    EXPECT_EQ(frames[11].number, 11);
    EXPECT_EQ(frames[12].number, 16) << "from the lost one to the next key frame";
    EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
}
