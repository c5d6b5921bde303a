// Recorded files: single steps both ways and seeking, to the very picture, in every container and codec.
#include "Recordings.h"

#include <map>

using recordings::Movie;

namespace
{

constexpr int kFrames = 60; // two whole groups of pictures and a part of one

struct Kind {
    const char* name;
    const char* ending;
    const char* codec;
    const char* options;
};

const Kind kKinds[] = {
    // H.264 with pictures that are shown in another order than decoded
    {"H264Avi", "avi", "libx264", "-bf 2 -sc_threshold 0"},
    {"H264Mp4", "mp4", "libx264", "-bf 2 -sc_threshold 0"},
    {"H264Mkv", "mkv", "libx264", "-bf 2 -sc_threshold 0"},
    {"H264Ts", "ts", "libx264", "-bf 2 -sc_threshold 0"},
    {"H264Ps", "vob", "libx264", "-bf 2 -b:v 2M -minrate 2M -nal-hrd cbr -bufsize 1M"},
    {"H264OpenGroupsMkv", "mkv", "libx264", "-bf 2 -x264-params open-gop=1"},
    // H.265; its encoder makes groups that lean on the one before
    {"H265Avi", "avi", "libx265", "-vtag HEVC -x265-params log-level=none"},
    {"H265Mp4", "mp4", "libx265", "-x265-params log-level=none"},
    {"H265Mkv", "mkv", "libx265", "-x265-params log-level=none"},
    {"H265Ts", "ts", "libx265", "-x265-params log-level=none"},
    {"MjpegAvi", "avi", "mjpeg", "-q:v 2 -pix_fmt yuvj420p"},
    {"MjpegMp4", "mov", "mjpeg", "-q:v 2 -pix_fmt yuvj420p"},
    {"MjpegMkv", "mkv", "mjpeg", "-q:v 2 -pix_fmt yuvj420p"},
    // what old recorders and other programs write
    {"Mpeg2Ps", "mpg", "mpeg2video", "-bf 2 -q:v 3"},
    {"Mpeg4Avi", "avi", "mpeg4", "-bf 2 -q:v 3"},
    // our own raw frames, from the same encoders
    {"H264Raw", "h265x", "h264", "2"},
    {"H265Raw", "h265x", "h265", "2"},
    {"MjpegRaw", "h265x", "mjpeg", "0"},
    // raw frames that tell no time: recorded from a bare stream
    {"H264RawWithoutTimes", "h265x", "h264", "2 untimed"},
};

bool makeRaw(const std::string& path, const Kind& kind)
{
    clip::Spec spec;
    spec.codec = std::string(kind.codec) == "h264"   ? lumo::VideoCodec::H264
                 : std::string(kind.codec) == "h265" ? lumo::VideoCodec::H265
                                                     : lumo::VideoCodec::Mjpeg;
    spec.frames = kFrames;
    spec.bFrames = kind.options[0] - '0';
    if (std::string(kind.options).find("untimed") != std::string::npos)
        spec.utcMs = 0;
    recordings::writeFile(path, recordings::joined(clip::numbered(spec)));
    return true;
}

class FileStepTest : public testing::TestWithParam<Kind>
{
protected:
    void SetUp() override
    {
        const Kind& kind = GetParam();
        m_path = m_folder / (std::string("clip.") + kind.ending);
        if (std::string(kind.ending) == "h265x") {
            ASSERT_TRUE(makeRaw(m_path, kind));
        } else {
            Movie movie;
            movie.frames = kFrames;
            movie.codec = kind.codec;
            movie.options = kind.options;
            ASSERT_TRUE(recordings::make(m_path, movie));
        }
    }
    TempFolder m_folder;
    std::string m_path;
};

TEST_P(FileStepTest, SeeksToTheVeryPicture)
{
    TestWindow window(320, 240);
    FilePlayer player(m_path, window.id());
    LUMODEC_Pause(player.port(), 1);
    for (const int wanted : {30, 0, 59, 24, 25, 26, 49, 50, 51, 1, 48, 47, 23, 58}) {
        ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), float(wanted) / kFrames), 1);
        EXPECT_EQ(LUMODEC_RefreshPlay(player.port()), 1);
        ASSERT_TRUE(FilePlayer::shows(window, wanted));
        EXPECT_NEAR(LUMODEC_GetPlayPos(player.port()), float(wanted) / kFrames, 0.002f);
    }
    ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), 1.0f), 1);
    EXPECT_TRUE(FilePlayer::shows(window, kFrames - 1));
    EXPECT_EQ(player.ends(), 0);
}

TEST_P(FileStepTest, StepsBackThroughTheWholeFileAndForwardAgain)
{
    TestWindow window(320, 240);
    FilePlayer player(m_path, window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 1.0f);
    ASSERT_TRUE(FilePlayer::shows(window, kFrames - 1));
    for (int number = kFrames - 2; number >= 0; --number) {
        ASSERT_EQ(LUMODEC_OneByOneBack(player.port()), 1);
        ASSERT_TRUE(FilePlayer::shows(window, number));
    }
    EXPECT_EQ(LUMODEC_OneByOneBack(player.port()), 1) << "there is none before: it stays";
    for (int number = 1; number < kFrames; ++number) {
        ASSERT_EQ(LUMODEC_OneByOne(player.port()), 1);
        ASSERT_TRUE(FilePlayer::shows(window, number));
    }
    EXPECT_EQ(LUMODEC_OneByOne(player.port()), 1);
    EXPECT_EQ(window.shot().number(), kFrames - 1);
    EXPECT_EQ(player.ends(), 0) << "a step never ends the playing";
}

TEST_P(FileStepTest, PlaysOnFromAStepBackWithoutALoss)
{
    TestWindow window(320, 240);
    FilePlayer player(m_path, window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 27.0f / kFrames);
    ASSERT_TRUE(FilePlayer::shows(window, 27));
    for (int i = 0; i < 4; ++i)
        LUMODEC_OneByOneBack(player.port());
    ASSERT_TRUE(FilePlayer::shows(window, 23)) << "across a key frame";
    static std::vector<int> seen;
    seen.clear();
    LUMODEC_RegisterDrawCallback(
        player.port(),
        [](int, void* context, int32_t) { seen.push_back(numberIn(*static_cast<LumoDrawSurface*>(context))); }, 0);
    ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
    ASSERT_TRUE(FilePlayer::shows(window, kFrames - 1));
    EXPECT_TRUE(eventually([&] { return player.ends() == 1; }));
    LUMODEC_Stop(player.port());
    std::vector<int> expected;
    for (int number = seen.empty() ? 0 : seen.front(); number < kFrames; ++number)
        expected.push_back(number);
    seen.erase(std::unique(seen.begin(), seen.end()), seen.end()); // a picture may be painted again
    EXPECT_EQ(seen, expected);
    EXPECT_LE(seen.front(), 24);
}

INSTANTIATE_TEST_SUITE_P(Each, FileStepTest, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
