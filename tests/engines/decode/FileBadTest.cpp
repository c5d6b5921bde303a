// Recorded files that are damaged, cut off, wrong or gone.
#include "Recordings.h"

#include <fstream>

using recordings::Movie;

namespace
{

class FileBadTest : public ScreenTest
{
protected:
    std::string movie(const std::string& ending, int frames = 60)
    {
        const auto path = m_folder / ("clip." + ending);
        Movie movie;
        movie.frames = frames;
        EXPECT_TRUE(recordings::make(path, movie));
        return path;
    }
    std::string raw(int frames = 60)
    {
        clip::Spec spec;
        spec.frames = frames;
        const auto path = m_folder / "clip.h265x";
        recordings::writeFile(path, recordings::joined(clip::numbered(spec)));
        return path;
    }
    static bool opens(const std::string& path)
    {
        const int port = Player::freePort();
        testing::internal::CaptureStderr();
        const bool opened = LUMODEC_OpenFile(port, path.c_str()) != 0;
        const std::string told = testing::internal::GetCapturedStderr();
        const bool says = told.find("LumoDecode: no recording that can be played: " + path + "\n") != std::string::npos;
        EXPECT_EQ(says, !opened) << told;
        EXPECT_EQ(LUMODEC_CloseFile(port), opened);
        return opened;
    }
    static bool endsByItself(FilePlayer& player)
    {
        for (int i = 0; i < 4; ++i)
            LUMODEC_Fast(player.port());
        return eventually([&] { return player.ends() == 1; });
    }
    TempFolder m_folder;
};

TEST_F(FileBadTest, WhatIsNoRecordingDoesNotOpen)
{
    const auto make = [&](const char* name, const clip::Bytes& bytes) {
        recordings::writeFile(m_folder / name, bytes);
        return m_folder / name;
    };
    clip::Bytes noise(300'000);
    uint32_t x = 1;
    for (auto& byte : noise)
        byte = uint8_t((x = x * 1664525u + 1013904223u) >> 24);
    const std::string text = "Chapter 1. It was a dark and stormy night.\n";
    EXPECT_FALSE(opens(make("empty.h265x", {})));
    EXPECT_FALSE(opens(make("empty.mp4", {})));
    EXPECT_FALSE(opens(make("noise.h265x", noise)));
    EXPECT_FALSE(opens(make("noise.avi", noise)));
    EXPECT_FALSE(opens(make("text.txt", {text.begin(), text.end()})));
    EXPECT_FALSE(opens(m_folder / "not-there.mp4"));
    EXPECT_FALSE(opens(m_folder.path().string()));
    // sound alone
    const auto tone = clip::aLawTone(8000, 1000, 1000, 40);
    clip::Bytes sound;
    for (const auto& frame : tone)
        sound.insert(sound.end(), frame.begin(), frame.end());
    EXPECT_FALSE(opens(make("sound.h265x", sound)));
    // a list that would lead elsewhere
    const std::string list = "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10,\nclip.ts\n#EXT-X-ENDLIST\n";
    movie("ts");
    EXPECT_FALSE(opens(make("list.m3u8", {list.begin(), list.end()})));
}

TEST_F(FileBadTest, CutOffFilesPlayToWhereTheyWereCut)
{
    TestWindow window(320, 240);
    for (const std::string ending : {"h265x", "avi", "mkv", "ts"}) {
        constexpr int kPictures = 300; // so that heads and tables are a small part of the file
        const auto path = ending == "h265x" ? raw(kPictures) : movie(ending, kPictures);
        std::filesystem::resize_file(path, std::filesystem::file_size(path) * 6 / 10);
        FilePlayer player(path, window.id());
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 1.0f);
        int last = -1;
        ASSERT_TRUE(eventually([&] { return (last = window.shot().number()) > 40; })) << ending << last;
        EXPECT_LT(last, kPictures - 1) << ending;
        LUMODEC_OneByOneBack(player.port());
        EXPECT_TRUE(FilePlayer::shows(window, last - 1)) << ending;
        LUMODEC_Play(player.port(), window.id());
        EXPECT_TRUE(endsByItself(player)) << ending;
    }
}

TEST_F(FileBadTest, CutOffMp4WithoutItsTableDoesNotOpen)
{
    const auto path = movie("mp4");
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_FALSE(opens(path));
}

TEST_F(FileBadTest, EveryLengthOfACutOffRawFileIsHarmless)
{
    const auto whole = readFile(raw(3));
    for (size_t size = 0; size < whole.size(); size += size < 80 ? 1 : 997) {
        const auto path = m_folder / "cut.h265x";
        recordings::writeFile(path, {whole.begin(), whole.begin() + ptrdiff_t(size)});
        if (!opens(path))
            continue;
        FilePlayer player(path, 0);
        EXPECT_TRUE(endsByItself(player)) << size;
    }
}

TEST_F(FileBadTest, DamageInTheMiddleIsPassedOver)
{
    TestWindow window(320, 240);
    for (const std::string ending : {"h265x", "avi", "mkv", "ts", "mp4"}) {
        constexpr int kPictures = 300; // so that the middle is neither head nor table
        const auto path = ending == "h265x" ? raw(kPictures) : movie(ending, kPictures);
        auto bytes = readFile(path);
        for (size_t i = bytes.size() * 4 / 10; i < bytes.size() * 5 / 10; ++i)
            bytes[i] = uint8_t(i * 7);
        recordings::writeFile(path, bytes);
        FilePlayer player(path, window.id());
        EXPECT_TRUE(endsByItself(player)) << ending;
        LUMODEC_Pause(player.port(), 1);
        for (const float at : {0.45f, 0.2f, 0.99f, 0.5f}) {
            LUMODEC_SetPlayPos(player.port(), at);
            LUMODEC_OneByOneBack(player.port());
            LUMODEC_OneByOne(player.port());
        }
        LUMODEC_SetPlayPos(player.port(), 0);
        EXPECT_TRUE(FilePlayer::shows(window, 0)) << ending;
    }
}

TEST_F(FileBadTest, DamagedBeginningOfARawFileIsPassedOver)
{
    const auto path = raw();
    auto bytes = readFile(path);
    bytes[2] = 77;
    bytes.insert(bytes.begin(), 1000, 0x55);
    recordings::writeFile(path, bytes);
    TestWindow window(320, 240);
    FilePlayer player(path, window.id());
    EXPECT_TRUE(eventually([&] { return window.shot().number() >= 25; })) << "from the next key frame on";
}

TEST_F(FileBadTest, FileThatVanishesBetweenOpeningAndPlaying)
{
    const auto path = raw();
    const int port = Player::freePort();
    ASSERT_EQ(LUMODEC_OpenFile(port, path.c_str()), 1);
    std::filesystem::remove(path);
    EXPECT_EQ(LUMODEC_Play(port, 0), 1) << "it is still held open";
    LUMODEC_OneByOneBack(port);
    LUMODEC_SetPlayPos(port, 0.5f);
    EXPECT_EQ(LUMODEC_Stop(port), 1);
    EXPECT_EQ(LUMODEC_Play(port, 0), 0) << "it is gone";
    EXPECT_EQ(LUMODEC_CloseFile(port), 1);
}

TEST_F(FileBadTest, FileThatIsCutOffWhileItPlaysEnds)
{
    const auto path = raw(200);
    FilePlayer player(path, 0);
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetPlayPos(player.port()) > 0; }));
    std::filesystem::resize_file(path, 50'000);
    EXPECT_TRUE(endsByItself(player));
    LUMODEC_SetPlayPos(player.port(), 0.9f); // the index knows pictures that are not there any more
    LUMODEC_OneByOneBack(player.port());
    EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
}

TEST_F(FileBadTest, StopWhileALongFileIsStillBeingIndexed)
{
    const auto small = readFile(movie("ts", 100));
    const auto path = m_folder / "long.ts";
    std::ofstream file(path, std::ios::binary);
    for (int i = 0; i < 200; ++i)
        file.write(reinterpret_cast<const char*>(small.data()), std::streamsize(small.size()));
    file.close();
    for (int i = 0; i < 5; ++i) {
        FilePlayer player(path, 0);
        LUMODEC_SetPlayPos(player.port(), 0.5f); // waits for the index
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    }
}

} // namespace
