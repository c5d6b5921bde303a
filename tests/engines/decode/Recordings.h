// Recorded files for the tests: in containers as FFmpeg's own programs write them, with numbered pictures, and raw.
#pragma once

#include "Player.h"

#include <atomic>
#include <string>
#include <vector>

namespace recordings
{

struct Movie {
    int frames = 60;
    int fps = 25;
    int keyEvery = 25;
    std::string codec = "libx264";                 // FFmpeg's name of the encoder
    std::string options = "-bf 2 -sc_threshold 0"; // key frames nowhere but every keyEvery
    std::string sound;                             // "": none; options of FFmpeg for a sound of as long, see beep
    int width = 320, height = 240;
};

/// Writes the file; its ending says which container. False when FFmpeg cannot.
bool make(const std::string& path, const Movie& movie);

/// A tone of a tenth of a second that begins at this second, as `sound` of a movie.
std::string beep(double second, const std::string& codec);

/// Raw frames, one after the other.
void writeFile(const std::string& path, const clip::Bytes& bytes);
clip::Bytes joined(const std::vector<clip::Unit>& units);

/// What a program prints.
std::string output(const std::string& command);
/// How many pictures FFmpeg decodes.
int countPictures(const std::string& path);

} // namespace recordings

/// A port that plays a file, and how often it said that the end was reached.
class FilePlayer
{
public:
    FilePlayer(const std::string& path, LumoWindow window, bool play = true);
    ~FilePlayer();
    FilePlayer(const FilePlayer&) = delete;
    FilePlayer& operator=(const FilePlayer&) = delete;

    int port() const { return m_port; }
    bool opened() const { return m_opened; }
    int ends() const { return m_ends; }
    /// The picture, by number, that comes to stand on the window.
    static testing::AssertionResult shows(const TestWindow& window, int number);

private:
    const int m_port;
    bool m_opened = false;
    std::atomic<int> m_ends{0};
};
