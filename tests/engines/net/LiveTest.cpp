// Live streams against a device that plays a script.
#include "Viewer.h"

#include <algorithm>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class Live : public NetTest
{
protected:
    /// A login at the peer's plain RTSP address.
    int begun(const std::string& tail = "", const std::string& user = "", const std::string& password = "")
    {
        begin();
        const int handle = login(peer.url(tail), 0, user, password);
        EXPECT_GT(handle, 0) << error;
        return handle;
    }
    static bool inOrderFromKeyFrames(const std::vector<SeenFrame>& frames)
    {
        int expected = -1;
        for (const auto& f : frames) {
            if (!f.sound || (f.number != expected && !f.video.key))
                return false;
            expected = f.number + 1;
        }
        return !frames.empty() && frames.front().video.key;
    }
    std::atomic<bool> m_never{false}; // scripts read until the other side hangs up
    RtspPeer peer;
    Viewer viewer;
};

} // namespace

TEST_F(Live, WholeFramesComeInOrderOnTheLibrarysOwnThread)
{
    const int l = begun();
    const int h = play(l, viewer);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(viewer.waitForCount(20));
    const auto frames = viewer.frames();
    EXPECT_TRUE(inOrderFromKeyFrames(frames));
    const SeenFrame& key = frames[0];
    EXPECT_EQ(key.type, LUMO_FRAME_VIDEO_I);
    EXPECT_EQ(key.handle, h);
    EXPECT_EQ(key.width, 1920);
    EXPECT_EQ(key.height, 1080);
    EXPECT_EQ(key.video.width, 1920);
    EXPECT_EQ(key.video.fps, 25);
    EXPECT_EQ(key.video.codec, VideoCodec::H264);
    EXPECT_EQ(Bytes(key.payload.begin(), key.payload.begin() + 5), hex("0000000167"));
    EXPECT_EQ(frames[1].type, LUMO_FRAME_VIDEO_P);
    EXPECT_EQ(frames[1].width, 0);
    EXPECT_NE(viewer.thread(), std::this_thread::get_id());
    EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
    const auto requests = peer.requests();
    EXPECT_EQ(peer.methods(), (std::vector<std::string>{"DESCRIBE", "DESCRIBE", "SETUP", "PLAY", "TEARDOWN"}));
    EXPECT_EQ(requests[3].header("Range"), "");
    EXPECT_EQ(requests[2].url, peer.url("/t0"));
    EXPECT_EQ(requests[4].header("Session"), "77");
}

TEST_F(Live, FramesBeforeTheCallbackAreNotLost)
{
    const int l = begun();
    StreamOpenInfo wanted{};
    const int h = LUMONET_RealPlay(l, &wanted);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(peer.waitFor([&] { return peer.picturesSent >= 5; }));
    EXPECT_EQ(LUMONET_SetRealDataCallBack_V2(h, &Viewer::onFrame, viewer.user()), 1);
    ASSERT_TRUE(viewer.waitForCount(12));
    EXPECT_EQ(viewer.frames()[0].number, 0);
    EXPECT_TRUE(inOrderFromKeyFrames(viewer.frames()));
}

TEST_F(Live, WithoutACallbackForLongOnlyWholeGroupsAreKept)
{
    defaults().timings.backlogMs = 20;
    const int l = begun();
    StreamOpenInfo wanted{};
    const int h = LUMONET_RealPlay(l, &wanted);
    ASSERT_TRUE(peer.waitFor([&] { return peer.picturesSent >= 60; }));
    EXPECT_EQ(LUMONET_SetRealDataCallBack_V2(h, &Viewer::onFrame, viewer.user()), 1);
    ASSERT_TRUE(viewer.waitForCount(20));
    EXPECT_TRUE(inOrderFromKeyFrames(viewer.frames()));
    EXPECT_GT(viewer.frames()[0].number, 30);
}

TEST_F(Live, BothCallbacksAreServed)
{
    const int l = begun();
    const int h = play(l, viewer);
    Viewer plain;
    EXPECT_EQ(LUMONET_SetRealDataCallBack(h, &Viewer::onData, plain.user()), 1);
    ASSERT_TRUE(plain.waitForCount(10));
    EXPECT_EQ(LUMONET_DelRealDataCallBack(h, &Viewer::onData, plain.user()), 1);
    const size_t after = plain.count();
    ASSERT_TRUE(viewer.waitForCount(viewer.count() + 10));
    EXPECT_EQ(plain.count(), after);
    EXPECT_TRUE(plain.frames()[0].sound);
    EXPECT_EQ(LUMONET_DelRealDataCallBack(h, &Viewer::onData, plain.user()), 0) << "there is none any more";
}

TEST_F(Live, SoundComesAsTalkFrames)
{
    peer.sdp += "m=audio 0 RTP/AVP 8\r\na=control:t1\r\n";
    peer.onPlay = [this](PeerConnection& c, int) {
        uint16_t sequence = 0;
        do {
            c.sendInterleaved(2, rtp(sequence, uint32_t(sequence) * 160, false, Bytes(160, 0xD5), 8));
            ++sequence;
        } while (peer.pump(c, 5));
    };
    const int h = play(begun(), viewer);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(5));
    const SeenFrame f = viewer.frames()[0];
    EXPECT_TRUE(f.sound);
    EXPECT_EQ(f.type, LUMO_FRAME_AUDIO);
    EXPECT_EQ(f.audio.codec, AudioCodec::ALaw);
    EXPECT_EQ(f.audio.sampleRate, 8000u);
    EXPECT_EQ(f.payload, Bytes(160, 0xD5));
}

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

TEST_F(Live, ChallengeIsAnsweredOnce)
{
    peer.user = "admin";
    peer.password = "lumo";
    const int l = begun("", "admin", "lumo");
    ASSERT_GT(play(l, viewer), 0);
    EXPECT_TRUE(viewer.waitForCount(5));
    // One unanswered attempt for each connection, the login's and the stream's; then each request carries its answer.
    EXPECT_EQ(peer.methods(),
              (std::vector<std::string>{"DESCRIBE", "DESCRIBE", "DESCRIBE", "DESCRIBE", "SETUP", "PLAY"}));
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
    ASSERT_TRUE(peer.waitFor([&] { return peer.connections() == 3; }));
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

TEST_F(Live, KeepAliveAtHalfTheSessionTimeAndByOptionsWhereGetParameterIsUnknown)
{
    peer.sessionTimeout = 2;
    peer.statusOf["GET_PARAMETER"] = 405;
    ASSERT_GT(play(begun(), viewer), 0);
    ASSERT_TRUE(peer.waitFor([&] { return peer.count("OPTIONS") >= 1; }));
    EXPECT_EQ(peer.count("GET_PARAMETER"), 1);
    EXPECT_EQ(peer.requests().back().header("Session"), "77");
    EXPECT_EQ(peer.connections(), 2);
}

TEST_F(Live, RequestOfTheDeviceIsAnswered)
{
    std::atomic<bool> answered{false};
    peer.onPlay = [&](PeerConnection& c, int) {
        c.send("OPTIONS rtsp://x/ RTSP/1.0\r\nCSeq: 4711\r\n\r\n");
        const auto reply = c.read(m_never);
        answered = reply && reply->text.starts_with("RTSP/1.0 200") && reply->header("CSeq") == "4711";
        peer.stream(c);
    };
    ASSERT_GT(play(begun(), viewer), 0);
    EXPECT_TRUE(viewer.waitForCount(3));
    EXPECT_TRUE(answered);
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

TEST_F(Live, StopReturnsOnlyWhenTheCallbackHasEnded)
{
    const int h = play(begun(), viewer);
    ASSERT_TRUE(viewer.waitForCount(1));
    viewer.hold();
    ASSERT_TRUE(viewer.waitUntilHeld());
    std::atomic<bool> stopped{false}, wasInside{true};
    std::thread stopper([&] {
        EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
        wasInside = viewer.inside.load();
        stopped = true;
    });
    // The peer's clock: a second's worth of pictures later the stop still waits.
    const int sent = peer.picturesSent;
    peer.waitFor([&] { return peer.picturesSent > sent + 20; });
    EXPECT_FALSE(stopped);
    viewer.release();
    stopper.join();
    EXPECT_FALSE(wasInside);
    const size_t count = viewer.count();
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
    EXPECT_EQ(viewer.count(), count) << "nothing came after the stop";
}

TEST_F(Live, RemovalReturnsOnlyWhenTheCallbackHasEnded)
{
    const int h = play(begun(), viewer);
    viewer.hold();
    ASSERT_TRUE(viewer.waitUntilHeld());
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        EXPECT_EQ(LUMONET_DelRealDataCallBack_V2(h, &Viewer::onFrame, viewer.user()), 1);
        EXPECT_FALSE(viewer.inside);
        removed = true;
    });
    const int sent = peer.picturesSent;
    peer.waitFor([&] { return peer.picturesSent > sent + 20; });
    EXPECT_FALSE(removed);
    viewer.release();
    remover.join();
    const size_t count = viewer.count();
    const int later = peer.picturesSent;
    EXPECT_TRUE(peer.waitFor([&] { return peer.picturesSent > later + 20; }));
    EXPECT_EQ(viewer.count(), count);
}

TEST_F(Live, StopsAndRemovalsFromManyThreadsAtOnce)
{
    const int l = begun();
    for (int round = 0; round < 10; ++round) {
        Viewer many;
        const int h = play(l, many);
        ASSERT_GT(h, 0);
        std::atomic<int> stopped{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                LUMONET_DelRealDataCallBack_V2(h, &Viewer::onFrame, many.user());
                stopped += LUMONET_StopRealPlay(h, 0);
            });
        for (auto& t : threads)
            t.join();
        EXPECT_EQ(stopped, 1);
    }
}

TEST_F(Live, CallbackMayStopItsOwnStream)
{
    struct Self {
        std::atomic<int> handle{0}, result{-1}, calls{0};
    } self;
    const int l = begun();
    StreamOpenInfo wanted{};
    self.handle = LUMONET_RealPlay(l, &wanted);
    LUMONET_SetRealDataCallBack_V2(
        self.handle,
        [](long, const LumoFrame*, intptr_t user) {
            auto* s = reinterpret_cast<Self*>(user);
            ++s->calls;
            s->result = LUMONET_StopRealPlay(s->handle, 0);
            return 0;
        },
        reinterpret_cast<intptr_t>(&self));
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 1; }));
    EXPECT_EQ(self.result, 1);
    EXPECT_EQ(self.calls, 1);
}

TEST_F(Live, LogoutEndsEveryStream)
{
    const int l = begun();
    std::vector<std::unique_ptr<Viewer>> viewers;
    std::vector<int> handles;
    for (int i = 0; i < 4; ++i) {
        viewers.push_back(std::make_unique<Viewer>());
        handles.push_back(play(l, *viewers.back()));
        ASSERT_TRUE(viewers.back()->waitForCount(1));
    }
    EXPECT_EQ(LUMONET_Logout(l), 1);
    std::vector<size_t> counts;
    for (const auto& v : viewers)
        counts.push_back(v->count());
    EXPECT_TRUE(peer.waitFor([&] { return peer.count("TEARDOWN") == 4; }));
    for (size_t i = 0; i < viewers.size(); ++i) {
        EXPECT_EQ(viewers[i]->count(), counts[i]);
        EXPECT_EQ(LUMONET_StopRealPlay(handles[i], 0), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    }
}

TEST_F(Live, TimesAreOursAndRunWithTheSendersClock)
{
    const int h = play(begun(), viewer);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(viewer.waitForCount(6));
    const auto frames = viewer.frames();
    const int64_t now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    EXPECT_LT(std::llabs(now - int64_t(frames[0].video.utcMs)), kLongMs);
    EXPECT_EQ(frames[1].video.utcMs - frames[0].video.utcMs, 40u); // 3600 ticks of 90 kHz
}
