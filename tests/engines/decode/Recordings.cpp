#include "Recordings.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace recordings
{

std::string output(const std::string& command)
{
    std::string out;
    if (FILE* pipe = popen((command + " 2>&1").c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe))
            out += buffer;
        pclose(pipe);
    }
    return out;
}

/// The number as sixteen upright bars, as clip::numbered paints it, made small and enlarged.
bool make(const std::string& path, const Movie& movie)
{
    const std::string rate = std::to_string(movie.fps), key = std::to_string(movie.keyEvery);
    const std::string bars =
        "color=s=16x16:r=" + rate +
        ",geq=lum='if(mod(floor(N/pow(2,15-X)),2),235,16)':cb=128:cr=128,scale=" + std::to_string(movie.width) + ":" +
        std::to_string(movie.height) + ":flags=neighbor,format=yuv420p";
    std::string command = "ffmpeg -nostdin -y -v error -f lavfi -i \"" + bars + "\"";
    if (!movie.sound.empty())
        command += " " + movie.sound;
    else
        command += " -an";
    command += " -frames:v " + std::to_string(movie.frames) + " -c:v " + movie.codec + " -g " + key + " " +
               movie.options + " -threads 1 '" + path + "'";
    const std::string said = output(command);
    if (!said.empty())
        std::fprintf(stderr, "%s\n%s\n", command.c_str(), said.c_str());
    return std::filesystem::exists(path) && std::filesystem::file_size(path) > 0;
}

std::string beep(double second, const std::string& codec)
{
    const std::string from = std::to_string(second), to = std::to_string(second + 0.1);
    return "-f lavfi -i \"sine=f=1000:r=16000:d=4:samples_per_frame=160,volume='if(between(t," + from + "," + to +
           "),1,0)':eval=frame\" -shortest -c:a " + codec;
}

void writeFile(const std::string& path, const clip::Bytes& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

clip::Bytes joined(const std::vector<clip::Unit>& units)
{
    clip::Bytes all;
    for (const auto& unit : units)
        all.insert(all.end(), unit.frame.begin(), unit.frame.end());
    return all;
}

int countPictures(const std::string& path)
{
    return std::atoi(output("ffprobe -v error -select_streams v -count_frames -show_entries stream=nb_read_frames "
                            "-of csv=p=0 '" +
                            path + "'")
                         .c_str());
}

} // namespace recordings

FilePlayer::FilePlayer(const std::string& path, LumoWindow window, bool play) : m_port(Player::freePort())
{
    m_opened = LUMODEC_OpenFile(m_port, path.c_str()) != 0;
    EXPECT_TRUE(m_opened) << path;
    const auto onEnd = [](int, intptr_t user) { ++*reinterpret_cast<std::atomic<int>*>(user); };
    EXPECT_NE(LUMODEC_SetFileEndCallBack(m_port, onEnd, reinterpret_cast<intptr_t>(&m_ends)), 0);
    if (play) {
        EXPECT_NE(LUMODEC_Play(m_port, window), 0);
    }
}

FilePlayer::~FilePlayer()
{
    LUMODEC_Stop(m_port);
    EXPECT_NE(LUMODEC_CloseFile(m_port), 0);
}

testing::AssertionResult FilePlayer::shows(const TestWindow& window, int number)
{
    int seen = -1;
    if (eventually([&] { return (seen = window.shot().number()) == number; }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "shows " << seen << ", not " << number;
}
