// lumo-screenread: reads the recorder's picture code from the screen. One request per line on stdin, one line of
// JSON per answer on stdout. Looks at the X display $DISPLAY through shared memory, a few lines of each cell only.
//
//   read X Y W H            {"ok":true,"channel":C,"frame":N,"us":T,"mean":[r,g,b],"var":V}
//                           T: CLOCK_REALTIME in microseconds after the grab; mean and variance (of the luma) of a
//                           band above the strip; without a valid code "ok" is false and channel and frame are -1
//   watch SECONDS N [LOOP] [ages]
//     then N lines X Y W H
//     {"cells":[{"channel":C,"distinct":D,"first":F,"last":L,"advanced":A,"maxGap":G,"perSecond":P,
//                             "samples":S,"bad":B,"seen":[[frame,us],...]},...],"seconds":T}
//                           LOOP: frames in the recorder's loop (125). distinct: changes of the number; advanced: frame
//                           numbers passed from first to last; maxGap: the biggest step of the number (1: none missed);
//                           perSecond: changes over the whole watch; bad: samples without a code; seen (with "ages"):
//                           each number with the time it was first seen
//   shot FILE.ppm           {"ok":true,"width":W,"height":H}, the whole screen
//   quit
#include "PictureCode.h"
#include "ScreenGrabber.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

constexpr int kBandLines = 3;

struct Cell {
    int x = 0, y = 0, width = 0, height = 0;
};

int64_t microseconds(clockid_t clock)
{
    timespec t{};
    clock_gettime(clock, &t);
    return t.tv_sec * 1000000LL + t.tv_nsec / 1000;
}

ScreenRect bandRect(const Cell& cell, int row)
{
    const lumo::RowSpan band = lumo::pictureStripBand(cell.height, row, kBandLines);
    return {cell.x, cell.y + band.first, cell.width, band.count};
}

bool usable(const Cell& cell, const ScreenGrabber& screen)
{
    return cell.width >= 16 && cell.height >= 10 && cell.x >= 0 && cell.y >= 0 &&
           cell.x + cell.width <= screen.width() && cell.y + cell.height <= screen.height();
}

// Grabs the bands of all cells in one go: requests first, answers after.
std::vector<std::optional<lumo::PictureCode>> readCodes(ScreenGrabber& screen, const std::vector<Cell>& cells)
{
    std::vector<ScreenRect> rects;
    for (const Cell& cell : cells) {
        rects.push_back(bandRect(cell, 0));
        rects.push_back(bandRect(cell, 1));
    }
    const auto pixels = screen.grab(rects);
    std::vector<std::optional<lumo::PictureCode>> codes;
    for (size_t i = 0; i < cells.size(); ++i) {
        const uint8_t *band0 = pixels[2 * i], *band1 = pixels[2 * i + 1];
        const int lines = std::min(rects[2 * i].height, rects[2 * i + 1].height);
        codes.push_back(band0 && band1
                            ? lumo::readPictureBandsBgrx(band0, band1, 4 * cells[i].width, cells[i].width, lines)
                            : std::nullopt);
    }
    return codes;
}

struct Look {
    double red = 0, green = 0, blue = 0, variance = 0;
};

Look lookAt(const uint8_t* pixels, int count)
{
    Look look;
    double sum = 0, squares = 0;
    for (int i = 0; i < count; ++i) {
        const uint8_t* p = pixels + 4 * i;
        look.blue += p[0];
        look.green += p[1];
        look.red += p[2];
        const double luma = (29 * p[0] + 150 * p[1] + 77 * p[2]) / 256.0;
        sum += luma;
        squares += luma * luma;
    }
    look.red /= count;
    look.green /= count;
    look.blue /= count;
    look.variance = squares / count - sum / count * (sum / count);
    return look;
}

void answerRead(ScreenGrabber& screen, std::istringstream& words)
{
    Cell cell;
    if (!(words >> cell.x >> cell.y >> cell.width >> cell.height) || !usable(cell, screen)) {
        std::printf("{\"ok\":false,\"error\":\"needs X Y W H on the screen\"}\n");
        return;
    }
    const ScreenRect middle{cell.x, cell.y + cell.height * 2 / 5, cell.width, std::min(8, cell.height / 5)};
    const std::vector<ScreenRect> rects = {bandRect(cell, 0), bandRect(cell, 1), middle};
    const auto pixels = screen.grab(rects);
    const int64_t now = microseconds(CLOCK_REALTIME);
    if (!pixels[0] || !pixels[1] || !pixels[2]) {
        std::printf("{\"ok\":false,\"error\":\"grab failed\"}\n");
        return;
    }
    const auto code = lumo::readPictureBandsBgrx(pixels[0], pixels[1], 4 * cell.width, cell.width,
                                                 std::min(rects[0].height, rects[1].height));
    const Look look = lookAt(pixels[2], middle.width * middle.height);
    std::printf("{\"ok\":%s,\"channel\":%d,\"frame\":%d,\"us\":%lld,\"mean\":[%.1f,%.1f,%.1f],\"var\":%.1f}\n",
                code ? "true" : "false", code ? code->channel : -1, code ? code->frame : -1,
                static_cast<long long>(now), look.red, look.green, look.blue, look.variance);
}

// What one cell showed over a watch.
struct Watched {
    int channel = -1, first = -1, last = -1, distinct = 0, advanced = 0, maxGap = 0, samples = 0, bad = 0;
    std::vector<std::pair<int, int64_t>> seen;

    void take(const std::optional<lumo::PictureCode>& code, int loop, int64_t realUs)
    {
        ++samples;
        if (!code) {
            ++bad;
            return;
        }
        if (last == code->frame && channel == code->channel) {
            return;
        }
        if (last >= 0 && channel == code->channel) {
            const int step = ((code->frame - last) % loop + loop) % loop;
            advanced += step;
            maxGap = std::max(maxGap, step);
        } else {
            first = code->frame;
        }
        channel = code->channel;
        last = code->frame;
        ++distinct;
        seen.emplace_back(code->frame, realUs);
    }
    // Changes over the whole watch: a picture that stands still in the middle counts as time without pictures.
    double rate(double seconds) const { return distinct > 0 ? (distinct - 1) / seconds : 0.0; }
};

void printWatched(const Watched& w, double seconds, bool ages)
{
    std::printf("{\"channel\":%d,\"distinct\":%d,\"first\":%d,\"last\":%d,\"advanced\":%d,\"maxGap\":%d,"
                "\"perSecond\":%.2f,\"samples\":%d,\"bad\":%d",
                w.channel, w.distinct, w.first, w.last, w.advanced, w.maxGap, w.rate(seconds), w.samples, w.bad);
    if (ages) {
        std::printf(",\"seen\":[");
        for (size_t i = 0; i < w.seen.size(); ++i) {
            std::printf("%s[%d,%lld]", i ? "," : "", w.seen[i].first, static_cast<long long>(w.seen[i].second));
        }
        std::printf("]");
    }
    std::printf("}");
}

void answerWatch(ScreenGrabber& screen, std::istringstream& words)
{
    double seconds = 0;
    int count = 0, loop = 125;
    std::string option;
    const bool good = static_cast<bool>(words >> seconds >> count);
    bool ages = false;
    while (words >> option) {
        ages = ages || option == "ages";
        loop = option == "ages" ? loop : std::max(1, std::atoi(option.c_str()));
    }
    std::vector<Cell> cells(static_cast<size_t>(std::max(0, count)));
    bool fits = good && count > 0 && seconds > 0;
    for (Cell& cell : cells) {
        std::string line;
        std::getline(std::cin, line);
        fits = static_cast<bool>(std::istringstream(line) >> cell.x >> cell.y >> cell.width >> cell.height) &&
               usable(cell, screen) && fits;
    }
    if (!fits) {
        std::printf("{\"ok\":false,\"error\":\"needs SECONDS N, then N lines X Y W H on the screen\"}\n");
        return;
    }
    std::vector<Watched> watched(cells.size());
    // Often enough to miss no picture at 25 a second; less often with many cells, to cost the X server little.
    const auto interval = std::chrono::milliseconds(cells.size() <= 4 ? 4 : cells.size() <= 16 ? 8 : 12);
    const int64_t start = microseconds(CLOCK_MONOTONIC);
    auto due = std::chrono::steady_clock::now();
    int64_t now = start;
    for (; now < start + static_cast<int64_t>(seconds * 1e6); now = microseconds(CLOCK_MONOTONIC)) {
        const auto codes = readCodes(screen, cells);
        const int64_t real = microseconds(CLOCK_REALTIME);
        for (size_t i = 0; i < cells.size(); ++i) {
            watched[i].take(codes[i], loop, real);
        }
        due = std::max(due + interval, std::chrono::steady_clock::now());
        std::this_thread::sleep_until(due);
    }
    const double watchedFor = static_cast<double>(now - start) / 1e6;
    std::printf("{\"ok\":true,\"cells\":[");
    for (size_t i = 0; i < watched.size(); ++i) {
        std::printf("%s", i ? "," : "");
        printWatched(watched[i], watchedFor, ages);
    }
    std::printf("],\"seconds\":%.3f}\n", watchedFor);
}

void answerShot(ScreenGrabber& screen, std::istringstream& words)
{
    std::string path;
    words >> path;
    const auto pixels = screen.grab({{0, 0, screen.width(), screen.height()}});
    std::FILE* file = pixels[0] && !path.empty() ? std::fopen(path.c_str(), "wb") : nullptr;
    if (!file) {
        std::printf("{\"ok\":false,\"error\":\"cannot grab or write\"}\n");
        return;
    }
    std::vector<uint8_t> rgb;
    rgb.reserve(static_cast<size_t>(screen.width()) * screen.height() * 3);
    for (size_t i = 0; i < static_cast<size_t>(screen.width()) * screen.height(); ++i) {
        const uint8_t* p = pixels[0] + 4 * i;
        rgb.insert(rgb.end(), {p[2], p[1], p[0]});
    }
    std::fprintf(file, "P6\n%d %d\n255\n", screen.width(), screen.height());
    const bool written = std::fwrite(rgb.data(), 1, rgb.size(), file) == rgb.size();
    const bool closed = std::fclose(file) == 0;
    std::printf("{\"ok\":%s,\"width\":%d,\"height\":%d}\n", written && closed ? "true" : "false", screen.width(),
                screen.height());
}

} // namespace

int main()
{
    ScreenGrabber screen;
    if (!screen.open()) {
        std::fprintf(stderr, "lumo-screenread: no X display with shared memory and 32 bits a pixel in $DISPLAY\n");
        return 1;
    }
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "read") {
            answerRead(screen, words);
        } else if (command == "watch") {
            answerWatch(screen, words);
        } else if (command == "shot") {
            answerShot(screen, words);
        } else if (command == "quit") {
            break;
        } else {
            std::printf("{\"ok\":false,\"error\":\"unknown request\"}\n");
        }
        std::fflush(stdout);
    }
    return 0;
}
