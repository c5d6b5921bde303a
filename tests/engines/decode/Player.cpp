#include "Player.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

bool eventually(const std::function<bool()>& fact, std::chrono::milliseconds bound)
{
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!fact()) {
        if (std::chrono::steady_clock::now() > end)
            return fact();
        std::this_thread::sleep_for(std::chrono::milliseconds(2)); // between two looks
    }
    return true;
}

int Player::freePort()
{
    static std::atomic<int> next{0};
    return next++ % 300;
}

Player::Player(LumoWindow window, Mode mode, int port, int bufferBytes) : m_port(port)
{
    const uint8_t header = 0;
    EXPECT_NE(LUMODEC_OpenStream(m_port, &header, 1, bufferBytes), 0);
    if (mode == Mode::Live) {
        EXPECT_NE(LUMODEC_SetPreviewOption(m_port, 8), 0);
    }
    if (mode == Mode::Playback) {
        EXPECT_NE(LUMODEC_SetStreamMode(m_port, 1), 0);
    }
    EXPECT_NE(LUMODEC_Play(m_port, window), 0);
}

Player::~Player()
{
    close();
}

void Player::close()
{
    if (m_open) {
        LUMODEC_Stop(m_port);
        EXPECT_NE(LUMODEC_CloseStream(m_port), 0);
    }
    m_open = false;
}

void Player::feed(const clip::Bytes& bytes)
{
    LUMODEC_InputData(m_port, bytes.data(), int(bytes.size()));
}

void Player::feed(const std::vector<clip::Unit>& units)
{
    for (const auto& unit : units)
        feed(unit.frame);
}

TempFolder::TempFolder()
{
    static std::atomic<int> count{0};
    m_path = std::filesystem::temp_directory_path() /
             ("lumo-decode-" + std::to_string(std::random_device()()) + "-" + std::to_string(count++));
    std::filesystem::create_directories(m_path);
}

clip::Bytes readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

testing::AssertionResult ScreenTest::shows(const TestWindow& window, int x, int y, Rgb color, int by)
{
    Rgb seen;
    const bool good = eventually([&] { return (seen = window.shot().at(x, y)).near(color, by); });
    if (good)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "at " << x << "," << y << " is " << seen << ", not " << color;
}

void ScreenTest::expectQuarters(const TestWindow& window, int width, int height)
{
    EXPECT_TRUE(shows(window, width / 4, height / 4, {255, 0, 0}));
    EXPECT_TRUE(shows(window, width * 3 / 4, height / 4, {0, 255, 0}));
    EXPECT_TRUE(shows(window, width / 4, height * 3 / 4, {0, 0, 255}));
    EXPECT_TRUE(shows(window, width * 3 / 4, height * 3 / 4, {255, 255, 255}));
    EXPECT_TRUE(shows(window, 1, 1, {255, 0, 0}));
    EXPECT_TRUE(shows(window, width - 2, height - 2, {255, 255, 255}));
}
