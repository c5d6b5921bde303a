// Makes streams for the tests with FFmpeg's encoders: pictures painted by the test, cut into the library's frames.
#pragma once

#include "common/StreamFrame.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct AVFrame;

namespace clip
{

using Bytes = std::vector<uint8_t>;

struct Yuv {
    uint8_t y, u, v;
    bool operator==(const Yuv&) const = default;
};
inline constexpr Yuv kBlack{16, 128, 128}, kWhite{235, 128, 128}, kGray{126, 128, 128};
inline constexpr Yuv kRed{81, 90, 240}, kGreen{145, 54, 34}, kBlue{41, 240, 110}; // BT.601

struct Spec {
    lumo::VideoCodec codec = lumo::VideoCodec::LUMO_CLIP_CODEC; // what the encoders of this system can make
    int width = 320, height = 240;
    int fps = 25;
    int frames = 1;
    int keyEvery = 25;
    int bFrames = 0;
    int colorSpace = 2; // AVCOL_SPC_UNSPECIFIED
    bool fullRange = false;
    int pixelFormat = 0; // AV_PIX_FMT_YUV420P
    int sarNum = 1, sarDen = 1;
    uint64_t utcMs = 1'700'000'000'000;
    uint16_t flags = 0;
    uint8_t saidFps = 25; // what the frames' headers say
};

/// One encoded picture in the library's frame.
struct Unit {
    Bytes frame;   // header and payload
    Bytes payload; // access unit alone
    bool key = false;
};

/// paint(picture index, frame): fills a writable 8-bit frame.
std::vector<Unit> encode(const Spec& spec, const std::function<void(int, AVFrame&)>& paint);

/// A picture whose four quarters have these colours: upper left, upper right, lower left, lower right.
std::vector<Unit> quarters(const Spec& spec, Yuv a, Yuv b, Yuv c, Yuv d);
std::vector<Unit> solid(const Spec& spec, Yuv color);
/// Pictures that carry their own number: sixteen upright bars, white for 1, most significant first.
std::vector<Unit> numbered(const Spec& spec);

void fill(AVFrame& frame, int x, int y, int w, int h, Yuv color);

/// A 1 kHz or other tone, in the library's sound frames of frameMs each.
std::vector<Bytes> aLawTone(int rate, double hz, int ms, int frameMs);
std::vector<Bytes> aacTone(int rate, double hz, int ms);

Bytes wrap(bool key, lumo::VideoCodec codec, uint64_t utcMs, const Bytes& payload, uint8_t fps = 25);

} // namespace clip
