// A port as a test uses it: opened and played on making, stopped and closed at the end.
#pragma once

#include "Clip.h"
#include "TestWindow.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

/// Waits for a fact, up to a generous bound.
bool eventually(const std::function<bool()>& fact, std::chrono::milliseconds bound = std::chrono::seconds(15));

enum class Mode { Live, Playback, None };

class Player
{
public:
    explicit Player(LumoWindow window = 0, Mode mode = Mode::Live, int port = freePort(), int bufferBytes = 4096000);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    int port() const { return m_port; }
    void feed(const clip::Bytes& bytes);
    void feed(const std::vector<clip::Unit>& units);
    void close();
    static int freePort();

private:
    const int m_port;
    bool m_open = true;
};

/// A folder of the test's own, removed with all in it.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder() { std::filesystem::remove_all(m_path); }
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }
    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

clip::Bytes readFile(const std::string& path);

/// Tests that show something.
class ScreenTest : public testing::Test
{
protected:
    /// Waits until the pixel has the colour.
    static testing::AssertionResult shows(const TestWindow& window, int x, int y, Rgb color, int by = 8);
    /// Red, green, blue and white fill their quarters of a window of this size, to its corners.
    static void expectQuarters(const TestWindow& window, int width, int height);
};
