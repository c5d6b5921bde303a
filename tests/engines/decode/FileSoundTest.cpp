// The sound of recordings, from files and pushed, in step with the picture: SDL's disk driver stands for the sound
// card, and writes a block when it would be heard.
#include "Environment.h"
#include "Player.h"
#include "Recordings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <thread>

using recordings::Movie;
using Clock = std::chrono::steady_clock;

namespace
{

constexpr int kBeepAt = 25; // number of the picture that is shown when the tone begins
constexpr int kLast = 59;   // number of the last one

std::mutex g_lock;
Clock::time_point g_beepPicture; // when it was shown

void watch(int, void* context, int32_t)
{
    const auto& cell = *static_cast<LumoDrawSurface*>(context);
    int number = 0;
    for (int bit = 0; bit < 16; ++bit)
        number = number * 2 + (cell.pBits[(2 * bit + 1) * cell.nWidth / 32 * 4] > 127);
    std::lock_guard guard(g_lock);
    if (number >= kBeepAt && g_beepPicture == Clock::time_point())
        g_beepPicture = Clock::now();
}

class FileSoundTest : public ScreenTest
{
protected:
    void SetUp() override
    {
        m_file = m_folder / "sound.raw";
        setEnvironment("SDL_AUDIODRIVER", "disk");
        setEnvironment("SDL_DISKAUDIOFILE", m_file);
        g_beepPicture = {};
    }

    /// Where the first loud sample lies, in bytes; -1 while there is none.
    int64_t loudByte() const
    {
        const auto raw = readFile(m_file);
        for (size_t i = 0; i + 4 <= raw.size(); i += 4)
            if (std::abs(int16_t(raw[i] | raw[i + 1] << 8)) > 800)
                return int64_t(i);
        return -1;
    }

    using First = std::function<void(FilePlayer&, TestWindow&)>;
    testing::AssertionResult inStep(const std::string& path, const First& first = {})
    {
        return inStep([&] { return lateness(path, first); });
    }
    /// Measured in real time on a machine that does other things, too: one of three times must do.
    testing::AssertionResult inStep(const std::function<double()>& lateness)
    {
        auto result = testing::AssertionFailure();
        for (int i = 0; i < 3; ++i) {
            SetUp();
            std::filesystem::remove(m_file);
            const double late = lateness();
            if (std::abs(late) <= 40)
                return testing::AssertionSuccess();
            result << late << " ms late; ";
        }
        return result;
    }

    /// Plays the file and says by how many ms the tone came after its picture.
    double lateness(const std::string& path, const First& first)
    {
        TestWindow window(320, 240);
        FilePlayer player(path, window.id(), false);
        LUMODEC_RegisterDrawCallback(player.port(), watch, 0);
        EXPECT_EQ(LUMODEC_PlaySound(player.port()), 1);
        EXPECT_EQ(LUMODEC_Play(player.port(), window.id()), 1);
        if (first)
            first(player, window);
        return latenessUntil([&] { return player.ends() == 1; });
    }

    /// The same for frames that are pushed, a recording that the device plays.
    double latenessPushed(const std::vector<clip::Bytes>& frames)
    {
        TestWindow window(320, 240);
        const int port = Player::freePort();
        LUMODEC_RegisterDrawCallback(port, watch, 0);
        Player player(window.id(), Mode::Playback, port);
        EXPECT_EQ(LUMODEC_PlaySound(port), 1);
        std::thread device([&] {
            for (const auto& frame : frames)
                player.feed(frame);
        });
        const double late = latenessUntil([&] { return window.shot().number() == kLast; });
        device.join();
        return late;
    }

    double latenessUntil(const std::function<bool()>& over)
    {
        // When each block was written.
        std::vector<std::pair<int64_t, Clock::time_point>> blocks;
        EXPECT_TRUE(eventually([&] {
            std::error_code none;
            const auto size = int64_t(std::filesystem::file_size(m_file, none));
            if (!none && (blocks.empty() || blocks.back().first < size))
                blocks.emplace_back(size, Clock::now());
            return over();
        }));
        const int64_t loud = loudByte();
        const auto block = std::find_if(blocks.begin(), blocks.end(), [&](auto& b) { return b.first > loud; });
        if (loud < 0 || block == blocks.end())
            return 1e9;
        constexpr int64_t kBlock = 1024 * 4;
        const double within = double(loud % kBlock) / 4 / 48;
        std::lock_guard guard(g_lock);
        if (g_beepPicture == Clock::time_point())
            return 1e9; // its picture was skipped
        return std::chrono::duration<double, std::milli>(block->second - g_beepPicture).count() + within;
    }

    /// Without pictures that are shown in another order than decoded: in an AVI these leave open when the first is
    /// shown.
    std::string movie(const std::string& name, const std::string& codec)
    {
        Movie movie;
        movie.options = "-bf 0";
        movie.sound = recordings::beep(kBeepAt / 25.0, codec);
        EXPECT_TRUE(recordings::make(m_folder / name, movie));
        return m_folder / name;
    }

    TempFolder m_folder;
    std::string m_file;
};

TEST_F(FileSoundTest, ContainersSoundIsInStepWithThePicture)
{
    const std::pair<const char*, const char*> kinds[] = {
        {"a.avi", "pcm_alaw -ar 8000"}, {"a.mp4", "aac"}, {"a.mkv", "pcm_s16le"}, {"b.ts", "aac"}, {"b.avi", "mp3"}};
    for (const auto& [name, codec] : kinds) {
        EXPECT_TRUE(inStep(movie(name, codec))) << name << " " << codec;
    }
}

/// Pictures, each followed by its 40 ms of sound.
std::vector<clip::Bytes> framesWithTone()
{
    clip::Spec spec;
    spec.frames = kLast + 1;
    const auto silence = clip::aLawTone(8000, 0, 1000, 40), tone = clip::aLawTone(8000, 1000, 1400, 40);
    std::vector<clip::Bytes> frames;
    for (const auto& picture : clip::numbered(spec)) {
        const size_t i = frames.size() / 2;
        frames.push_back(picture.frame);
        frames.push_back(i < kBeepAt ? silence[i] : tone[i - kBeepAt]);
    }
    return frames;
}

TEST_F(FileSoundTest, PushedRecordingsSoundIsInStepWithThePicture)
{
    EXPECT_TRUE(inStep([&] { return latenessPushed(framesWithTone()); }));
}

TEST_F(FileSoundTest, RawFilesSoundIsInStepWithThePicture)
{
    clip::Bytes bytes;
    for (const auto& frame : framesWithTone())
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    const auto path = m_folder / "a.h265x";
    recordings::writeFile(path, bytes);
    EXPECT_TRUE(inStep(path));
}

TEST_F(FileSoundTest, SoundIsInStepAfterAPauseAndASeek)
{
    const auto path = movie("a.mp4", "aac");
    EXPECT_TRUE(inStep(path, [](FilePlayer& player, TestWindow& window) {
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 15.0f / 60);
        ASSERT_TRUE(FilePlayer::shows(window, 15));
        LUMODEC_Pause(player.port(), 0);
    }));
}

TEST_F(FileSoundTest, NothingIsHeardAtOtherSpeedsOrWhilePaused)
{
    Movie loud;
    loud.sound = "-f lavfi -i sine=f=1000:r=16000 -shortest -c:a aac";
    loud.frames = 200;
    const auto path = m_folder / "loud.mp4";
    ASSERT_TRUE(recordings::make(path, loud));
    TestWindow window(320, 240);
    FilePlayer player(path, window.id(), false);
    Player silent; // keeps the device open
    ASSERT_EQ(LUMODEC_PlaySound(silent.port()), 1);
    LUMODEC_Play(player.port(), window.id());
    LUMODEC_Pause(player.port(), 1);
    ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
    LUMODEC_SetPlayPos(player.port(), 0.1f);
    for (int i = 0; i < 3; ++i)
        LUMODEC_OneByOne(player.port());
    ASSERT_TRUE(FilePlayer::shows(window, 23));
    EXPECT_EQ(loudByte(), -1);
    LUMODEC_Play(player.port(), window.id());
    LUMODEC_Slow(player.port());
    const auto before = std::filesystem::file_size(m_file);
    ASSERT_TRUE(eventually([&] { return std::filesystem::file_size(m_file) > before + 48000 * 2; }));
    LUMODEC_Stop(player.port());
    EXPECT_EQ(loudByte(), -1);
}

} // namespace
