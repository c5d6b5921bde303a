// Plays and converts a recorded file and says what it cost.
//
//   file_driver play FILE N WIDTH HEIGHT SECONDS      N windows at normal speed: CPU seconds, pictures a second
//   file_driver fast FILE WIDTH HEIGHT                16 times to the end: seconds from where it stood (a fraction) on
//   file_driver seek FILE COUNT                       paused, from the call to the painted picture: median, worst (ms)
//   file_driver convert FILE TARGET                   seconds
//
// Prints one line of JSON.
#include "Player.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

namespace
{

using Clock = std::chrono::steady_clock;

std::array<std::atomic<int>, LUMODEC_PORTS> g_shown;
std::atomic<int> g_ends{0};
std::atomic<bool> g_converted{false};

double cpuSeconds()
{
    rusage use = {};
    getrusage(RUSAGE_SELF, &use);
    return double(use.ru_utime.tv_sec + use.ru_stime.tv_sec) +
           double(use.ru_utime.tv_usec + use.ru_stime.tv_usec) * 1e-6;
}

double since(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

bool within(double seconds, const std::function<bool()>& fact)
{
    return eventually(fact, std::chrono::milliseconds(int64_t(seconds * 1000)));
}

bool open(int port, const char* path)
{
    LUMODEC_RegisterDrawCallback(
        port, [](int p, void*, int32_t) { ++g_shown[size_t(p)]; }, 0);
    return LUMODEC_OpenFile(port, path) && LUMODEC_SetFileEndCallBack(
                                               port, [](int, intptr_t) { ++g_ends; }, 0);
}

int play(const char* path, int count, int width, int height, double seconds)
{
    std::vector<std::unique_ptr<TestWindow>> windows;
    for (int port = 0; port < count; ++port) {
        windows.push_back(std::make_unique<TestWindow>(width, height));
        if (!open(port, path) || !LUMODEC_Play(port, windows.back()->id()))
            return 1;
    }
    const double cpu = cpuSeconds();
    const auto begin = Clock::now();
    within(seconds, [&] { return g_ends > 0; });
    const double took = since(begin), used = cpuSeconds() - cpu;
    int least = g_shown[0];
    for (int port = 0; port < count; ++port)
        least = std::min(least, g_shown[size_t(port)].load());
    std::printf("{\"seconds\":%.3f,\"cpu\":%.3f,\"pictures\":%.2f}\n", took, used, least / took);
    for (int port = 0; port < count; ++port)
        LUMODEC_CloseFile(port);
    return 0;
}

int fast(const char* path, int width, int height)
{
    TestWindow window(width, height);
    if (!open(0, path) || !LUMODEC_Play(0, window.id()))
        return 1;
    if (!within(10, [] { return LUMODEC_GetPlayPos(0) > 0; }))
        return 1;
    for (int i = 0; i < 4; ++i)
        LUMODEC_Fast(0);
    const double from = LUMODEC_GetPlayPos(0);
    const auto begin = Clock::now();
    const double cpu = cpuSeconds();
    within(600, [] { return g_ends > 0; });
    const double took = since(begin);
    std::printf("{\"seconds\":%.3f,\"cpu\":%.3f,\"from\":%.5f,\"painted\":%d}\n", took, cpuSeconds() - cpu, from,
                g_shown[0].load());
    LUMODEC_CloseFile(0);
    return 0;
}

int seek(const char* path, int count)
{
    TestWindow window(640, 360);
    if (!open(0, path) || !LUMODEC_Play(0, window.id()))
        return 1;
    LUMODEC_Pause(0, 1);
    std::mt19937 random(1);
    std::vector<double> took;
    for (int i = 0; i <= count; ++i) {
        const float to = float(random() % 1000) / 1000;
        const int shown = g_shown[0];
        const auto begin = Clock::now();
        LUMODEC_SetPlayPos(0, to);
        if (!within(60, [&] { return g_shown[0] > shown; }))
            return 1;
        if (i > 0) // the first waits for the index
            took.push_back(since(begin) * 1000);
        else
            std::fprintf(stderr, "first %.1f ms\n", since(begin) * 1000);
    }
    std::sort(took.begin(), took.end());
    std::printf("{\"median\":%.1f,\"worst\":%.1f}\n", took[took.size() / 2], took.back());
    LUMODEC_CloseFile(0);
    return 0;
}

int convert(const char* from, const char* to)
{
    const auto begin = Clock::now();
    const auto report = [](long current, long total, intptr_t) { g_converted = current == total; };
    if (!LUMODEC_ConvertFile(from, to, LUMODEC_RECORD_AVI, report, 0))
        return 1;
    within(600, [] { return g_converted.load(); });
    std::printf("{\"seconds\":%.3f}\n", since(begin));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "play" && argc == 7)
        return play(argv[2], std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]), std::atof(argv[6]));
    if (what == "fast" && argc == 5)
        return fast(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    if (what == "seek" && argc == 4)
        return seek(argv[2], std::atoi(argv[3]));
    if (what == "convert" && argc == 4)
        return convert(argv[2], argv[3]);
    std::fprintf(stderr, "file_driver play|fast|seek|convert FILE ...\n");
    return 2;
}
