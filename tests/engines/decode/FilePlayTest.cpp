// Recorded files: what the calls mean on a port with a file, pace and speeds, the end, times, pause, snapshots and
// clips.
#include "Environment.h"
#include "Recordings.h"

#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>

using recordings::Movie;
using Clock = std::chrono::steady_clock;

namespace
{

double msSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

class FilePlayTest : public ScreenTest
{
protected:
    std::string movie(int frames, const std::string& ending = "mp4", int fps = 25)
    {
        const auto path = m_folder / ("clip." + ending);
        Movie movie;
        movie.frames = frames;
        movie.fps = fps;
        EXPECT_TRUE(recordings::make(path, movie));
        return path;
    }
    std::string raw(const clip::Spec& spec)
    {
        const auto path = m_folder / "clip.h265x";
        recordings::writeFile(path, recordings::joined(clip::numbered(spec)));
        return path;
    }
    static clip::Spec spec(int frames, int fps = 25)
    {
        clip::Spec spec;
        spec.frames = frames;
        spec.fps = fps;
        return spec;
    }
    static bool ended(const FilePlayer& player, int seconds = 20)
    {
        return eventually([&] { return player.ends() > 0; }, std::chrono::seconds(seconds));
    }
    TempFolder m_folder;
};

// ---- calls

TEST_F(FilePlayTest, CallsOfAPortWithAFile)
{
    const auto path = movie(10);
    const int port = Player::freePort();
    const uint8_t header = 0;
    EXPECT_EQ(LUMODEC_OpenFile(port, nullptr), 0);
    EXPECT_EQ(LUMODEC_OpenFile(port, ""), 0);
    EXPECT_EQ(LUMODEC_OpenFile(500, path.c_str()), 0);
    EXPECT_EQ(LUMODEC_SetFileEndCallBack(port, nullptr, 0), 0);
    ASSERT_EQ(LUMODEC_OpenFile(port, path.c_str()), 1);
    EXPECT_EQ(LUMODEC_SetFileEndCallBack(port, nullptr, 0), 1);
    for (int (*call)(int) : {LUMODEC_Fast, LUMODEC_Slow, LUMODEC_OneByOne, LUMODEC_OneByOneBack, LUMODEC_Stop})
        EXPECT_EQ(call(port), 0) << "it does not play yet";
    EXPECT_EQ(LUMODEC_SetPlayPos(port, 0.5f), 0);
    EXPECT_EQ(LUMODEC_CloseStream(port), 0) << "it is no stream";
    EXPECT_EQ(LUMODEC_SetStreamMode(port, 1), 0);
    EXPECT_EQ(LUMODEC_SetPreviewOption(port, 8), 0);
    ASSERT_EQ(LUMODEC_Play(port, 0), 1);
    EXPECT_EQ(LUMODEC_OpenFile(port, path.c_str()), 0) << "while it plays";
    EXPECT_EQ(LUMODEC_OpenStream(port, &header, 1, 1000), 0);
    EXPECT_EQ(LUMODEC_InputData(port, &header, 1), 0) << "does nothing";
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(port), 0);
    EXPECT_EQ(LUMODEC_SetPlayPos(port, NAN), 0);
    EXPECT_EQ(LUMODEC_SetPlayPos(port, -3.0f), 1) << "taken for the nearest place there is";
    EXPECT_EQ(LUMODEC_RefreshPlay(port), 1);
    EXPECT_EQ(LUMODEC_Stop(port), 1);
    ASSERT_EQ(LUMODEC_Play(port, 0), 1) << "from its beginning again";
    EXPECT_EQ(LUMODEC_CloseFile(port), 1) << "stops it";
    EXPECT_EQ(LUMODEC_CloseFile(port), 0);
}

TEST_F(FilePlayTest, LiveStreamRefusesSpeedAndSteps)
{
    Player player;
    for (int (*call)(int) : {LUMODEC_Fast, LUMODEC_Slow, LUMODEC_OneByOne, LUMODEC_OneByOneBack, LUMODEC_CloseFile})
        EXPECT_EQ(call(player.port()), 0);
    EXPECT_EQ(LUMODEC_SetPlayPos(player.port(), 0.5f), 0);
    EXPECT_EQ(LUMODEC_GetPlayPos(player.port()), 0.0f);
}

TEST_F(FilePlayTest, StoppedPortWithAFileHoldsNoThread)
{
    const auto path = movie(10);
    const int before = threadCount();
    FilePlayer player(path, 0, false);
    EXPECT_TRUE(eventually([&] { return threadCount() == before; }));
    LUMODEC_Play(player.port(), 0);
    EXPECT_GT(threadCount(), before);
    LUMODEC_Stop(player.port());
    EXPECT_TRUE(eventually([&] { return threadCount() == before; }));
}

// ---- pace, speeds, end

TEST_F(FilePlayTest, PlaysInItsOwnTimeAndTellsTheEndOnce)
{
    TestWindow window(320, 240);
    for (const char* ending : {"mp4", "avi", "mkv", "ts"}) {
        const auto path = movie(30, ending); // made on its first use: not a part of the playing
        const auto begin = Clock::now();
        FilePlayer player(path, window.id());
        ASSERT_TRUE(ended(player)) << ending;
        const double took = msSince(begin);
        EXPECT_GE(took, 1190) << ending << ": the last picture stands for its time, too";
        EXPECT_LT(took, 3500) << ending;
        EXPECT_EQ(window.shot().number(), 29);
        EXPECT_EQ(LUMODEC_GetPlayPos(player.port()), 1.0f);
        LUMODEC_RefreshPlay(player.port());
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_Pause(player.port(), 0);
        LUMODEC_OneByOne(player.port());
        LUMODEC_Play(player.port(), window.id());
        LUMODEC_Stop(player.port());
        EXPECT_EQ(player.ends(), 1) << ending;
    }
}

TEST_F(FilePlayTest, SpeedsFromASixteenthToSixteenTimes)
{
    const auto longer = movie(200);
    TestWindow window(320, 240);
    for (int steps = 1; steps <= 4; ++steps) {
        FilePlayer player(longer, window.id());
        ASSERT_TRUE(eventually([&] { return LUMODEC_GetPlayPos(player.port()) > 0; }));
        const float from = LUMODEC_GetPlayPos(player.port());
        const auto begin = Clock::now();
        ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
        for (int i = 0; i < steps; ++i)
            ASSERT_EQ(LUMODEC_Fast(player.port()), 1);
        ASSERT_TRUE(ended(player));
        const double speed = (1 - from) * 8000 / msSince(begin);
        EXPECT_LT(speed, (1 << steps) * 1.1);
        EXPECT_GT(speed, (1 << steps) * 0.7);
    }
    const auto shorter = movie(8);
    for (int steps = 1; steps <= 4; ++steps) {
        FilePlayer player(shorter, window.id());
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 6.0f / 8);
        ASSERT_TRUE(FilePlayer::shows(window, 6));
        const auto begin = Clock::now();
        ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
        for (int i = 0; i < steps; ++i)
            ASSERT_EQ(LUMODEC_Slow(player.port()), 1);
        ASSERT_TRUE(ended(player)) << "two pictures";
        EXPECT_GE(msSince(begin), (80 << steps) * 0.98);
        EXPECT_LT(msSince(begin), (80 << steps) + 1000);
    }
}

TEST_F(FilePlayTest, AFifthStepFasterStaysAtSixteenTimes)
{
    TestWindow window(320, 240);
    FilePlayer player(movie(200), window.id());
    const auto begin = Clock::now();
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(LUMODEC_Fast(player.port()), 1);
    ASSERT_TRUE(ended(player));
    EXPECT_GE(msSince(begin), 8000 / 16 * 0.9);
    EXPECT_TRUE(FilePlayer::shows(window, 199)) << "the last picture is painted, though not every one before was";
}

TEST_F(FilePlayTest, PauseHoldsThePictureAndPlayGoesOnAtNormalSpeed)
{
    TestWindow window(320, 240);
    FilePlayer player(movie(100), window.id());
    ASSERT_TRUE(eventually([&] { return window.shot().number() > 2; }));
    ASSERT_EQ(LUMODEC_Fast(player.port()), 1);
    ASSERT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
    ASSERT_EQ(LUMODEC_Pause(player.port(), 1), 1);
    ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), 0.5f), 1);
    constexpr int at = 50;
    ASSERT_TRUE(FilePlayer::shows(window, at));
    EXPECT_NEAR(LUMODEC_GetPlayPos(player.port()), 0.5f, 0.001f);
    EXPECT_EQ(LUMODEC_OneByOneBack(player.port()), 1);
    ASSERT_TRUE(FilePlayer::shows(window, at - 1));
    EXPECT_EQ(LUMODEC_OneByOne(player.port()), 1);
    ASSERT_TRUE(FilePlayer::shows(window, at));
    const auto begin = Clock::now();
    EXPECT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
    ASSERT_TRUE(eventually([&] { return window.shot().number() >= at + 10; }));
    EXPECT_GE(msSince(begin), 360);
}

TEST_F(FilePlayTest, SeekWhilePlayingGoesOnFromThere)
{
    TestWindow window(320, 240);
    FilePlayer player(movie(100), window.id());
    ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), 0.8f), 1);
    EXPECT_GE(LUMODEC_GetPlayPos(player.port()), 0.79f) << "told at once";
    const auto begin = Clock::now();
    ASSERT_TRUE(ended(player));
    EXPECT_GE(msSince(begin), 700);
    EXPECT_LT(msSince(begin), 3000);
    ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), 0.9f), 1) << "a port at its end plays again";
    EXPECT_TRUE(eventually([&] { return player.ends() == 2; }));
}

TEST_F(FilePlayTest, ManySeeksEndAtTheLast)
{
    TestWindow window(320, 240);
    FilePlayer player(movie(100), window.id());
    LUMODEC_Pause(player.port(), 1);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(LUMODEC_SetPlayPos(player.port(), float((i * 37) % 100) / 100), 1);
    EXPECT_TRUE(FilePlayer::shows(window, 99 * 37 % 100));
}

// ---- times

TEST_F(FilePlayTest, RawPicturesHaveTheirCalendarTime)
{
    TestWindow window(320, 240);
    clip::Spec said = spec(50);
    FilePlayer player(raw(said), window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 30.0f / 50);
    ASSERT_TRUE(FilePlayer::shows(window, 30));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 1'700'000'001);
}

TEST_F(FilePlayTest, ContainersPicturesHaveTheTimeOfItsMakingIfItTells)
{
    TestWindow window(320, 240);
    Movie told;
    told.options = "-bf 2 -sc_threshold 0 -metadata creation_time=2024-05-06T07:08:09Z";
    const auto path = m_folder / "told.mp4";
    ASSERT_TRUE(recordings::make(path, told));
    {
        FilePlayer player(path, window.id());
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 0.5f);
        ASSERT_TRUE(FilePlayer::shows(window, 30));
        EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 1'714'979'289 + 1);
    }
    FilePlayer untold(movie(10), window.id());
    ASSERT_TRUE(FilePlayer::shows(window, 9));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(untold.port()), 0);
}

TEST_F(FilePlayTest, GapInARawRecordingIsNotWaitedForNorCountedInItsPosition)
{
    TestWindow window(320, 240);
    clip::Spec first = spec(25), second = spec(25);
    second.utcMs += 3'600'000;
    auto bytes = recordings::joined(clip::numbered(first));
    const auto rest = recordings::joined(clip::numbered(second));
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const auto path = m_folder / "gap.h265x";
    recordings::writeFile(path, bytes);
    FilePlayer player(path, window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 35.0f / 50);
    ASSERT_TRUE(FilePlayer::shows(window, 10));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 1'700'003'600);
    LUMODEC_SetPlayPos(player.port(), 20.0f / 50);
    ASSERT_TRUE(FilePlayer::shows(window, 20));
    const auto begin = Clock::now();
    LUMODEC_Play(player.port(), window.id());
    ASSERT_TRUE(ended(player));
    EXPECT_LT(msSince(begin), 5000);
}

TEST_F(FilePlayTest, PicturesOnlyToBeDecodedAreNotShown)
{
    TestWindow window(320, 240);
    auto units = clip::numbered(spec(30));
    for (int i = 0; i < 10; ++i)
        units[size_t(i)].frame[10] = 1; // the flag in the frame's header
    const auto path = m_folder / "late.h265x";
    recordings::writeFile(path, recordings::joined(units));
    FilePlayer player(path, window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 0);
    ASSERT_TRUE(FilePlayer::shows(window, 10));
    LUMODEC_OneByOneBack(player.port());
    LUMODEC_OneByOne(player.port());
    ASSERT_TRUE(FilePlayer::shows(window, 11));
}

// ---- what may be done meanwhile

TEST_F(FilePlayTest, SnapshotOfAPausedFile)
{
    TestWindow window(320, 240);
    FilePlayer player(movie(50), window.id());
    LUMODEC_Pause(player.port(), 1);
    LUMODEC_SetPlayPos(player.port(), 0.5f);
    ASSERT_TRUE(FilePlayer::shows(window, 25));
    const auto path = m_folder / "new/shot.bmp";
    ASSERT_EQ(LUMODEC_CatchPicture(player.port(), path.c_str(), 0), 1);
    const auto bmp = readFile(path);
    EXPECT_EQ(bmp.size(), 54u + 320 * 240 * 3);
}

TEST_F(FilePlayTest, ClipHoldsWhatWasPlayedEachPictureOnce)
{
    TestWindow window(320, 240);
    for (const char* ending : {"mp4", "ts"}) {
        FilePlayer player(movie(75, ending), window.id(), false);
        LUMODEC_Play(player.port(), window.id());
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 25.0f / 75);
        ASSERT_TRUE(FilePlayer::shows(window, 25));
        const auto avi = m_folder / (std::string(ending) + ".avi");
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), avi.c_str(), LUMODEC_RECORD_AVI), 1);
        LUMODEC_Play(player.port(), window.id());
        ASSERT_TRUE(eventually([&] { return window.shot().number() >= 60; }));
        LUMODEC_Pause(player.port(), 1);
        for (int i = 0; i < 15; ++i)
            LUMODEC_OneByOneBack(player.port());
        LUMODEC_Play(player.port(), window.id());
        ASSERT_TRUE(ended(player));
        EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
        EXPECT_EQ(recordings::countPictures(avi), 25) << "from the next key frame, number 50, on";
    }
}

TEST_F(FilePlayTest, ClipOfACodecThatFramesCannotCarryIsRefused)
{
    Movie old;
    old.codec = "mpeg2video";
    const auto path = m_folder / "old.mpg";
    ASSERT_TRUE(recordings::make(path, old));
    FilePlayer player(path, 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(player.port(), (m_folder / "clip.avi").c_str(), 2), 0);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "clip.avi"));
}

TEST_F(FilePlayTest, FourFilesPlayTogether)
{
    const auto path = movie(50);
    TestWindow a(320, 240), b(320, 240), c(320, 240), d(320, 240);
    FilePlayer one(path, a.id()), two(path, b.id()), three(path, c.id()), four(path, d.id());
    for (const FilePlayer* player : {&one, &two, &three, &four})
        EXPECT_TRUE(ended(*player));
}

} // namespace
