// The microphone: SDL's disk driver gives out a file in real time as if it were spoken.
#include "Environment.h"
#include "PlayedSound.h"
#include "Player.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <numbers>
#include <thread>

using clip::Bytes;
using Clock = std::chrono::steady_clock;

namespace
{

/// Who captures, and what came.
struct Listener {
    std::mutex lock;
    std::vector<int> sizes;
    std::vector<std::thread::id> threads;
    std::vector<Clock::time_point> times;
    Bytes sound;
    std::function<void()> within; // called inside the callback

    intptr_t user() { return reinterpret_cast<intptr_t>(this); }
    size_t blocks()
    {
        std::lock_guard guard(lock);
        return sizes.size();
    }
    bool hears(size_t count)
    {
        return eventually([&] { return blocks() >= count; });
    }
};

void take(const uint8_t* block, int size, intptr_t user)
{
    auto& listener = *reinterpret_cast<Listener*>(user);
    if (listener.within)
        listener.within();
    std::lock_guard guard(listener.lock);
    listener.sizes.push_back(size);
    listener.threads.push_back(std::this_thread::get_id());
    listener.times.push_back(Clock::now());
    listener.sound.insert(listener.sound.end(), block, block + size);
}

int start(Listener& listener, int rate = 8000, int blockSize = 640)
{
    return LUMODEC_StartAudioCapture(take, 16, rate, blockSize, listener.user());
}

class CaptureTest : public testing::Test
{
protected:
    void SetUp() override { speak(8000, 1000, 10000); }
    void TearDown() override { setEnvironment("SDL_AUDIODRIVER", "disk"); }

    /// What the microphone will hear: a tone, different at every period so that a place in it can be told.
    void speak(int rate, double hz, int ms)
    {
        m_spoken.clear();
        for (int i = 0; i < rate / 1000 * ms; ++i) {
            const int value = int((8000 + i % 4001) * std::sin(2 * std::numbers::pi * hz * i / rate));
            m_spoken.push_back(uint8_t(value & 0xFF));
            m_spoken.push_back(uint8_t(value >> 8 & 0xFF));
        }
        std::ofstream(m_file, std::ios::binary)
            .write(reinterpret_cast<const char*>(m_spoken.data()), std::streamsize(m_spoken.size()));
        setEnvironment("SDL_AUDIODRIVER", "disk");
        setEnvironment("SDL_DISKAUDIOFILEIN", m_file);
    }

    TempFolder m_folder;
    const std::string m_file = m_folder / "spoken.raw";
    Bytes m_spoken;
};

TEST_F(CaptureTest, BlocksHaveExactlyTheAskedSize)
{
    for (const int rate : {8000, 16000}) {
        for (const int size : {640, 320, 50, 2000}) {
            Listener listener;
            ASSERT_EQ(start(listener, rate, size), 1) << rate << " Hz, " << size << " bytes";
            ASSERT_TRUE(listener.hears(4));
            ASSERT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
            EXPECT_EQ(listener.sizes, std::vector<int>(listener.sizes.size(), size)) << rate;
        }
    }
}

TEST_F(CaptureTest, BlocksComeAtTheAskedRate)
{
    for (const int rate : {8000, 16000}) {
        speak(rate, 1000, 10000);
        Listener listener;
        ASSERT_EQ(start(listener, rate, 640), 1);
        ASSERT_TRUE(listener.hears(26));
        LUMODEC_StopAudioCapture(listener.user());
        const double seconds = std::chrono::duration<double>(listener.times[25] - listener.times[0]).count();
        const double due = 25.0 * 320 / rate;
        EXPECT_GT(seconds, due * 0.9) << rate;
        EXPECT_LT(seconds, due * 1.5) << rate;
    }
}

TEST_F(CaptureTest, ToneComesThroughUnchanged)
{
    for (const int rate : {8000, 16000}) {
        speak(rate, 1000, 10000);
        Listener listener;
        ASSERT_EQ(start(listener, rate, 640), 1);
        ASSERT_TRUE(listener.hears(12));
        LUMODEC_StopAudioCapture(listener.user());
        // Every byte in its place, and none left out between the blocks.
        const auto found = std::search(m_spoken.begin(), m_spoken.end(), listener.sound.begin(), listener.sound.end());
        EXPECT_NE(found, m_spoken.end()) << rate;
        std::vector<double> samples;
        for (size_t i = 0; i + 2 <= listener.sound.size(); i += 2)
            samples.push_back(int16_t(listener.sound[i] | listener.sound[i + 1] << 8));
        EXPECT_GT(played::share(samples, 1000, rate), 0.9) << rate;
    }
}

TEST_F(CaptureTest, BlocksComeOnOneThreadOfTheirOwn)
{
    Listener listener;
    ASSERT_EQ(start(listener), 1);
    ASSERT_TRUE(listener.hears(3));
    LUMODEC_StopAudioCapture(listener.user());
    for (const auto& id : listener.threads) {
        EXPECT_NE(id, std::this_thread::get_id());
        EXPECT_EQ(id, listener.threads[0]);
    }
}

TEST_F(CaptureTest, OneCaptureAtATime)
{
    Listener first, second;
    ASSERT_EQ(start(first), 1);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_NONE);
    EXPECT_EQ(start(second), 0);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_BUSY);
    EXPECT_EQ(start(first), 0) << "nor a second one of the same user";
    const size_t before = first.blocks();
    EXPECT_TRUE(first.hears(before + 2)) << "the refused start disturbs nobody";
    EXPECT_EQ(LUMODEC_StopAudioCapture(first.user()), 1);
    EXPECT_EQ(start(second), 1) << "the microphone is free again";
    EXPECT_TRUE(second.hears(2));
    EXPECT_EQ(LUMODEC_StopAudioCapture(second.user()), 1);
}

TEST_F(CaptureTest, StopIsForTheUserWhoStarted)
{
    Listener listener, stranger;
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 0);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_NOT_RUNNING);
    ASSERT_EQ(start(listener), 1);
    EXPECT_EQ(LUMODEC_StopAudioCapture(stranger.user()), 0);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_NOT_RUNNING);
    EXPECT_TRUE(listener.hears(listener.blocks() + 2));
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 0);
}

TEST_F(CaptureTest, NoSoundSystemIsNoDevice)
{
    setEnvironment("SDL_AUDIODRIVER", "nonesuch");
    Listener listener;
    EXPECT_EQ(start(listener), 0);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_NO_DEVICE);
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 0);
    setEnvironment("SDL_AUDIODRIVER", "disk");
    EXPECT_EQ(start(listener), 1) << "a microphone that came later is found";
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
}

TEST_F(CaptureTest, NoMicrophoneIsNoDevice)
{
    std::filesystem::remove(m_file);
    Listener listener;
    EXPECT_EQ(start(listener), 0);
    EXPECT_EQ(LUMODEC_GetLastError(0), LUMODEC_ERR_NO_DEVICE);
    EXPECT_EQ(listener.blocks(), 0u);
}

TEST_F(CaptureTest, ArgumentsOutOfRangeAreRefused)
{
    Listener listener;
    const auto refused = [&](LumoCaptureCallback call, int bits, int rate, int size) {
        return LUMODEC_StartAudioCapture(call, bits, rate, size, listener.user()) == 0 &&
               LUMODEC_GetLastError(0) == LUMODEC_ERR_ARGUMENT;
    };
    EXPECT_TRUE(refused(nullptr, 16, 8000, 640));
    for (const int bits : {0, 8, 24, -16})
        EXPECT_TRUE(refused(take, bits, 8000, 640)) << bits;
    for (const int rate : {0, -8000, 7999, 44100, INT32_MAX})
        EXPECT_TRUE(refused(take, 16, rate, 640)) << rate;
    for (const int size : {0, -2, 1, 641, 65536, INT32_MAX, INT32_MIN})
        EXPECT_TRUE(refused(take, 16, 8000, size)) << size;
    EXPECT_EQ(LUMODEC_GetLastError(7), LUMODEC_ERR_NONE) << "only port 0 stands for the capture";
}

TEST_F(CaptureTest, StopReturnsOnlyWhenTheCallbackIsNotRunning)
{
    std::atomic<bool> inside{false}, mayLeave{false}, left{false};
    Listener listener;
    listener.within = [&] {
        left = false;
        inside = true;
        eventually([&] { return mayLeave.load(); });
        left = true;
    };
    ASSERT_EQ(start(listener), 1);
    ASSERT_TRUE(eventually([&] { return inside.load(); }));
    std::thread release([&] { mayLeave = true; });
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
    EXPECT_TRUE(left);
    release.join();
    const size_t blocks = listener.blocks();
    Listener next; // whose blocks prove that time has gone on
    ASSERT_EQ(start(next), 1);
    ASSERT_TRUE(next.hears(3));
    LUMODEC_StopAudioCapture(next.user());
    EXPECT_EQ(listener.blocks(), blocks);
}

TEST_F(CaptureTest, CallsFromWithinTheCallbackAreRefused)
{
    std::atomic<int> stopped{-1}, started{-1};
    Listener listener;
    listener.within = [&] {
        stopped = LUMODEC_StopAudioCapture(listener.user());
        started = start(listener);
    };
    ASSERT_EQ(start(listener), 1);
    ASSERT_TRUE(listener.hears(2));
    EXPECT_EQ(stopped, 0);
    EXPECT_EQ(started, 0);
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
}

TEST_F(CaptureTest, OneOfManyStopsSucceeds)
{
    Listener listener;
    ASSERT_EQ(start(listener), 1);
    ASSERT_TRUE(listener.hears(1));
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { good += LUMODEC_StopAudioCapture(listener.user()); });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(good, 1);
}

TEST_F(CaptureTest, StartsAndStopsAgainAndAgain)
{
    for (int i = 0; i < 20; ++i) {
        Listener listener;
        ASSERT_EQ(start(listener, i % 2 ? 8000 : 16000, 320), 1) << i;
        ASSERT_TRUE(i % 3 != 0 || listener.hears(1));
        ASSERT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1) << i;
    }
}

TEST_F(CaptureTest, GoesBesideSoundOut)
{
    const auto heardFile = m_folder / "heard.raw";
    setEnvironment("SDL_DISKAUDIOFILE", heardFile);
    Listener listener;
    Player player(0, Mode::None, LUMODEC_TALK_PORT);
    ASSERT_EQ(LUMODEC_PlaySound(player.port()), 1);
    ASSERT_EQ(start(listener), 1);
    ASSERT_TRUE(listener.hears(2));
    ASSERT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
    const size_t before = played::ms(heardFile);
    EXPECT_TRUE(eventually([&] { return played::ms(heardFile) > before + 100; })) << "sound goes on";
    ASSERT_EQ(start(listener), 1);
    ASSERT_EQ(LUMODEC_StopSound(player.port()), 1);
    const size_t blocks = listener.blocks();
    EXPECT_TRUE(listener.hears(blocks + 3)) << "the microphone goes on";
    EXPECT_EQ(LUMODEC_StopAudioCapture(listener.user()), 1);
}

} // namespace
