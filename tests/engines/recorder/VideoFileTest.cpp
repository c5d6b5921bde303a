// A given file is streamed on every channel: as it is where that can be looped, encoded once where not.
#include "VideoFile.h"
#include "Clip.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace lumo::recorder;

namespace
{

class VideoFileTest : public testing::Test
{
protected:
    void SetUp() override { fs::create_directories(folder); }
    void TearDown() override { fs::remove_all(folder); }

    // 3 s at 10 pictures a second, made by FFmpeg's own generator.
    std::string make(const std::string& name, const std::string& encoder)
    {
        const std::string path = (folder / name).string();
        const std::string command =
            "ffmpeg -loglevel error -y -f lavfi -i testsrc=size=192x144:rate=10:duration=3 " + encoder + " " + path;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }
    Options optionsFor(const std::string& path)
    {
        Options options;
        options.videoFile = path;
        options.subSize = {96, 72};
        return options;
    }
    fs::path folder = fs::temp_directory_path() / ("lumo-video-" + std::to_string(getpid()));
};

} // namespace

TEST_F(VideoFileTest, AccessUnitsWithoutReorderingAreCopied)
{
    const Clip clip = readVideoFile(optionsFor(make("plain.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 0 -g 10")), 0);
    EXPECT_EQ(clip.codec, Codec::H264);
    EXPECT_EQ(clip.size, (PictureSize{192, 144}));
    EXPECT_EQ(clip.frames.size(), 30u);
    EXPECT_DOUBLE_EQ(clip.fps, 10.0);
    EXPECT_EQ(clip.frames[10].key, 1u);
    const uint8_t* key = clip.data.data() + clip.frames[10].offset;
    EXPECT_EQ(key[4] & 0x1F, 7) << "parameter sets stand before each key frame";
}

TEST_F(VideoFileTest, H265IsCopiedAsH265)
{
    const Clip clip = readVideoFile(
        optionsFor(make("plain5.mp4", "-c:v libx265 -pix_fmt yuv420p -x265-params bframes=0:keyint=10:log-level=none")),
        0);
    EXPECT_EQ(clip.codec, Codec::H265);
    EXPECT_EQ(clip.frames.size(), 30u);
}

TEST_F(VideoFileTest, ReorderedPicturesAndOtherCodecsAreEncodedOnce)
{
    for (const auto& [name, encoder] :
         {std::pair("b.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 3 -g 10"), {"m.avi", "-c:v mpeg4"}}) {
        const Clip clip = readVideoFile(optionsFor(make(name, encoder)), 0);
        EXPECT_EQ(clip.codec, Codec::H264) << name;
        EXPECT_EQ(clip.size, (PictureSize{192, 144})) << name;
        EXPECT_EQ(clip.frames.size(), 30u) << name;
    }
}

TEST_F(VideoFileTest, TheSubStreamIsScaled)
{
    const Clip clip = readVideoFile(optionsFor(make("plain.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 0")), 1);
    EXPECT_EQ(clip.size, (PictureSize{96, 72}));
    EXPECT_EQ(clip.frames.size(), 30u);
}

TEST_F(VideoFileTest, EveryChannelStreamsTheFileAtItsOwnPace)
{
    RecorderProcess recorder(
        {"--video", make("plain.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 0 -g 10"), "--cache", folder.string()});
    for (const int channel : {0, 1}) {
        RtspReader reader(recorder.rtsp(channel, 0), "tcp");
        ASSERT_TRUE(reader.opened());
        ASSERT_TRUE(reader.next());
        const auto more = reader.take(35); // more than once round
        ASSERT_EQ(more.size(), 35u);
        EXPECT_EQ(reader.width(), 192);
        EXPECT_NEAR(static_cast<double>(more.back().receivedUs - more.front().receivedUs) / 1e6, 3.4, 0.7);
    }
}
