// Live streams: what comes, on which thread, and until when.
#include "LiveFixture.h"

#include <chrono>
#include <memory>
#include <thread>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

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
