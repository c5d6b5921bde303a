// Feeds a bare H.264 or H.265 file in real time to N ports in N windows and says what it cost.
//
//   decode_driver CLIP N WIDTH HEIGHT SECONDS [FPS]
//
// Prints one line of JSON: CPU seconds of this process, resident megabytes, threads, pictures shown a second on the
// slowest port. The clip is held in memory and cut beforehand, so that hardly anything but the library is measured.
#include "AnnexBUnits.h"
#include "Player.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>

namespace
{

struct Cell {
    std::unique_ptr<TestWindow> window;
    int port = 0;
};

std::array<std::atomic<int>, LUMODEC_PORTS> g_shown;

void onShown(int port, void*, int32_t)
{
    ++g_shown[size_t(port)];
}

double cpuSeconds()
{
    rusage use = {};
    getrusage(RUSAGE_SELF, &use);
    return double(use.ru_utime.tv_sec + use.ru_stime.tv_sec) +
           double(use.ru_utime.tv_usec + use.ru_stime.tv_usec) * 1e-6;
}

long statusValue(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == key) {
            long value = 0;
            status >> value;
            return value;
        }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 6) {
        std::fprintf(stderr, "decode_driver CLIP N WIDTH HEIGHT SECONDS [FPS]\n");
        return 2;
    }
    const int count = std::atoi(argv[2]), width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    const int seconds = std::atoi(argv[5]), fps = argc > 6 ? std::atoi(argv[6]) : 25;
    const auto units = cutClip(readFile(argv[1]));
    if (units.empty())
        return 1;
    const long kbBefore = statusValue("VmRSS:"), threadsBefore = statusValue("Threads:");
    TestWindow wall(width * 8, height * ((count + 7) / 8));
    std::vector<Cell> cells;
    for (int i = 0; i < count; ++i) {
        Cell& cell = cells.emplace_back();
        cell.window = std::make_unique<TestWindow>(width, height, wall.id());
        cell.port = i;
        cell.window->moveTo(i % 8 * width, i / 8 * height);
        const uint8_t header = 0;
        LUMODEC_OpenStream(i, &header, 1, 2048000);
        LUMODEC_SetPreviewOption(i, 8);
        LUMODEC_RegisterDrawCallback(i, onShown, 0);
        if (!LUMODEC_Play(i, cell.window->id()))
            return 1;
    }
    const double cpuBefore = cpuSeconds();
    const auto begin = std::chrono::steady_clock::now();
    long kb = 0, threads = 0;
    for (int frame = 0; frame < seconds * fps; ++frame) {
        std::this_thread::sleep_until(begin + std::chrono::microseconds(1'000'000LL * frame / fps));
        const auto& unit = units[size_t(frame) % units.size()];
        const uint64_t utcMs = 1'700'000'000'000 + uint64_t(frame) * 1000 / uint64_t(fps);
        const auto bytes = clip::wrap(unit.key, unit.codec, utcMs, unit.payload, uint8_t(fps));
        for (const Cell& cell : cells)
            LUMODEC_InputData(cell.port, bytes.data(), int(bytes.size()));
        if (frame == seconds * fps - 1) {
            kb = statusValue("VmRSS:");
            threads = statusValue("Threads:");
        }
    }
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const double cpu = cpuSeconds() - cpuBefore;
    const int fewest = *std::min_element(g_shown.begin(), g_shown.begin() + count);
    std::printf("{\"cpuSeconds\":%.2f,\"seconds\":%.1f,\"residentMb\":%.1f,\"addedMb\":%.1f,\"addedThreads\":%ld,"
                "\"picturesPerSecond\":%.2f}\n",
                cpu, took, double(kb) / 1024, double(kb - kbBefore) / 1024, threads - threadsBefore, fewest / took);
    for (const Cell& cell : cells) {
        LUMODEC_Stop(cell.port);
        LUMODEC_CloseStream(cell.port);
    }
}
