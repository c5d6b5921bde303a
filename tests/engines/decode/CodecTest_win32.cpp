// H.264 and H.265 on the screen of Windows. Its FFmpeg has no encoder for them: the build has made the clips.
#include "AnnexBUnits.h"
#include "Player.h"

using namespace clip;
using lumo::VideoCodec;

namespace
{

class CodecTest : public ScreenTest, public testing::WithParamInterface<VideoCodec>
{
protected:
    static Bytes clip(const std::string& name)
    {
        const Bytes bytes = readFile(LUMO_CLIPS "/" + name + (GetParam() == VideoCodec::H264 ? ".h264" : ".h265"));
        EXPECT_FALSE(bytes.empty()) << name;
        return bytes;
    }
    /// In the library's frames, all but the last picture: where that ends is not to be known.
    static std::vector<Bytes> frames(const std::string& name)
    {
        std::vector<Bytes> frames;
        for (const ClipUnit& unit : cutClip(clip(name))) {
            EXPECT_EQ(unit.codec, GetParam());
            EXPECT_EQ(unit.key, frames.size() % 5 == 0) << frames.size();
            frames.push_back(wrap(unit.key, unit.codec, 1'700'000'000'000 + 40 * frames.size(), unit.payload));
        }
        return frames;
    }
};

} // namespace

TEST_P(CodecTest, APictureStandsOnTheScreenInItsColours)
{
    TestWindow window(200, 300);
    Player player(window.id());
    player.feed(frames("quarters").at(0));
    expectQuarters(window, 200, 300);
}

TEST_P(CodecTest, EachPictureIsShownAlsoOneBuiltOnTheOneBefore)
{
    TestWindow window(320, 240);
    Player player(window.id());
    const std::vector<Bytes> pictures = frames("numbered");
    ASSERT_EQ(pictures.size(), 11u);
    for (int i = 0; i < 11; ++i) {
        player.feed(pictures[static_cast<size_t>(i)]);
        EXPECT_TRUE(eventually([&] { return window.shot().number() == i; })) << i << ", not " << window.shot().number();
    }
}

TEST_P(CodecTest, AStreamWithoutFramesIsTaken)
{
    TestWindow window(320, 240);
    Player player(window.id());
    player.feed(clip("numbered"));
    EXPECT_TRUE(eventually([&] { return window.shot().number() == 10; })) << window.shot().number();
}

INSTANTIATE_TEST_SUITE_P(, CodecTest, testing::Values(VideoCodec::H264, VideoCodec::H265), [](const auto& info) {
    return std::string(info.param == VideoCodec::H264 ? "H264" : "H265");
});
