// Live streams through an independent client.
#include "HttpClient.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

extern "C" {
#include <libavutil/error.h>
}

namespace
{

constexpr int kLoop = 125;

void expectConsecutive(const std::vector<SeenPicture>& pictures, int channel)
{
    ASSERT_FALSE(pictures.empty());
    for (size_t i = 0; i < pictures.size(); ++i) {
        ASSERT_EQ(pictures[i].code.channel, channel) << i;
        if (i > 0) {
            ASSERT_EQ(pictures[i].code.frame, (pictures[i - 1].code.frame + 1) % kLoop) << i;
        }
    }
}

struct Way {
    std::string codec, transport;
};

class RtspWays : public testing::TestWithParam<Way>
{
};

} // namespace

TEST_P(RtspWays, EveryPictureArrivesInOrderOnBothStreams)
{
    RecorderProcess recorder({"--codec", GetParam().codec});
    for (const int stream : {0, 1}) {
        RtspReader reader(recorder.rtsp(1, stream), GetParam().transport);
        ASSERT_TRUE(reader.opened());
        EXPECT_EQ(reader.codec(), GetParam().codec == "h265" ? "hevc" : GetParam().codec);
        const auto pictures = reader.take(60);
        ASSERT_EQ(pictures.size(), 60u);
        expectConsecutive(pictures, 1);
        EXPECT_EQ(reader.width(), stream == 0 ? 640 : 320);
        EXPECT_EQ(reader.height(), stream == 0 ? 360 : 176);
        EXPECT_TRUE(pictures[0].key) << "the first picture must be decodable";
    }
}

INSTANTIATE_TEST_SUITE_P(All, RtspWays,
                         testing::Values(Way{"h264", "tcp"}, Way{"h264", "udp"}, Way{"h265", "tcp"}, Way{"h265", "udp"},
                                         Way{"mjpeg", "tcp"}, Way{"mjpeg", "udp"}),
                         [](const auto& info) { return info.param.codec + "_" + info.param.transport; });

TEST(Rtsp, TheLoopGoesRoundWithoutABreak)
{
    RecorderProcess recorder;
    RtspReader reader(recorder.rtsp(0, 1), "tcp");
    ASSERT_TRUE(reader.opened());
    const auto pictures = reader.take(kLoop + 30);
    ASSERT_EQ(pictures.size(), static_cast<size_t>(kLoop + 30));
    expectConsecutive(pictures, 0);
}

TEST(Rtsp, PicturesLeaveInRealTime)
{
    RecorderProcess recorder;
    RtspReader reader(recorder.rtsp(1, 1), "tcp");
    reader.take(5);
    const auto pictures = reader.take(76);
    ASSERT_EQ(pictures.size(), 76u);
    const double seconds = static_cast<double>(pictures.back().receivedUs - pictures.front().receivedUs) / 1e6;
    EXPECT_NEAR(seconds, 3.0, 0.5);
}

// One leaves the stream while the other joins it, in every order of their requests.
TEST(Rtsp, AStreamThatTwoClientsStartAndEndAllTheTimeIsNeverLost)
{
    RecorderProcess recorder;
    std::atomic<int> opened{0};
    std::atomic<bool> lost{false};
    const auto startAndEnd = [&] {
        for (int i = 0; i < 60 && !lost; ++i) {
            RtspReader reader(recorder.rtsp(1, 1), "tcp");
            reader.opened() ? static_cast<void>(++opened) : lost.store(true);
        }
    };
    std::thread other(startAndEnd);
    startAndEnd();
    other.join();
    EXPECT_EQ(opened, 120);
}

TEST(Rtsp, TwoClientsSeeTheSamePictures)
{
    RecorderProcess recorder;
    RtspReader one(recorder.rtsp(0, 1), "tcp"), two(recorder.rtsp(0, 1), "tcp");
    ASSERT_TRUE(one.opened() && two.opened());
    one.take(1);
    const auto b = two.take(10);
    ASSERT_EQ(b.size(), 10u);
    // The first client is read until it shows what the second one showed last: at the same time, up to what lay unread.
    const auto a = one.take(40);
    const auto same = std::find_if(a.begin(), a.end(), [&](const auto& p) { return p.code == b.back().code; });
    EXPECT_NE(same, a.end());
    expectConsecutive(a, 0);
}

TEST(Rtsp, SoundComesWithChannelZeroOnly)
{
    RecorderProcess recorder;
    RtspReader with(recorder.rtsp(0, 1), "tcp"), without(recorder.rtsp(1, 1), "tcp");
    ASSERT_TRUE(with.opened() && without.opened());
    EXPECT_TRUE(with.hasSound());
    EXPECT_FALSE(without.hasSound());
    with.take(51);
    EXPECT_NEAR(static_cast<double>(with.soundBytes()), 16000.0, 2000.0); // 8000 bytes a second, two seconds
}

TEST(Rtsp, WrongOrMissingPasswordsAreRefused)
{
    RecorderProcess recorder;
    for (const char* transport : {"tcp", "udp"}) {
        EXPECT_EQ(RtspReader(recorder.rtsp(0, 0, "admin:wrong"), transport).error(), AVERROR_HTTP_UNAUTHORIZED);
        EXPECT_EQ(RtspReader(recorder.rtsp(0, 0, "nobody:lumo"), transport).error(), AVERROR_HTTP_UNAUTHORIZED);
        EXPECT_EQ(RtspReader(recorder.rtsp(0, 0, "admin:"), transport).error(), AVERROR_HTTP_UNAUTHORIZED);
    }
    const std::string bare = "rtsp://127.0.0.1:" + std::to_string(recorder.rtspPort()) + "/live/0/0";
    EXPECT_EQ(RtspReader(bare, "tcp").error(), AVERROR_HTTP_UNAUTHORIZED);
    EXPECT_TRUE(RtspReader(recorder.rtsp(0, 1), "tcp").opened()) << "and the right one still works";
}

TEST(Rtsp, TheTokenIsAPasswordOfItsOwnUser)
{
    RecorderProcess recorder;
    EXPECT_TRUE(RtspReader(recorder.rtsp(0, 1, "token:lumo-token"), "tcp").opened());
    EXPECT_EQ(RtspReader(recorder.rtsp(0, 1, "admin:lumo-token"), "tcp").error(), AVERROR_HTTP_UNAUTHORIZED);
}

TEST(Rtsp, AChannelThatIsNotThereIsNotFound)
{
    RecorderProcess recorder;
    EXPECT_EQ(RtspReader(recorder.rtsp(2, 0), "tcp").error(), AVERROR_HTTP_NOT_FOUND);
    EXPECT_EQ(RtspReader(recorder.rtsp(0, 2), "tcp").error(), AVERROR_HTTP_NOT_FOUND);
}

TEST(Rtsp, ASynchronizationPointBringsAKeyFrameAtOnce)
{
    RecorderProcess recorder;
    RtspReader reader(recorder.rtsp(0, 1), "tcp");
    ASSERT_TRUE(reader.opened());
    std::optional<SeenPicture> picture = reader.next();
    while (picture && picture->code.frame % 25 != 3) { // a place in the middle of a group
        picture = reader.next();
    }
    ASSERT_TRUE(picture);
    const Login login;
    soapCall(recorder.http("/onvif/media_service"),
             mediaCall("SetSynchronizationPoint", "<m:ProfileToken>profile_0_sub</m:ProfileToken>"), &login);
    int steps = 0;
    do {
        picture = reader.next();
        ++steps;
    } while (picture && !picture->key && steps < 25);
    ASSERT_TRUE(picture && picture->key);
    EXPECT_LT(steps, 15) << "without the request it would have been 22";
    EXPECT_EQ(picture->code.frame % 25, 0);
}
