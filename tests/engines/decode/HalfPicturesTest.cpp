// Halves made while the decoder works: each is exactly what halving the finished picture gives, or there is none; and
// what is painted from one is what is painted from the picture itself.
#include "Clip.h"
#include "InputParser.h"
#include "Painter.h"
#include "VideoDecoder.h"

#include <gtest/gtest.h>

#include <random>

using namespace lumo;

namespace
{

using Units = std::vector<clip::Unit>;

Units rollingStripes(clip::Spec spec, int width, int height, int frames)
{
    spec.width = width;
    spec.height = height;
    spec.frames = frames;
    return clip::encode(spec, [](int n, AVFrame& frame) {
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < (plane ? frame.height / 2 : frame.height); ++y)
                for (int x = 0; x < (plane ? frame.width / 2 : frame.width); ++x)
                    frame.data[plane][y * frame.linesize[plane] + x] = uint8_t(x * 5 + y * 3 + n * 7 + x * y / 31);
    });
}

void expectHalf(const AVFrame& whole, const AVFrame& half)
{
    ASSERT_EQ(half.width, whole.width / 2);
    ASSERT_EQ(half.height, whole.height / 2);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane ? whole.width / 2 : whole.width, height = plane ? whole.height / 2 : whole.height;
        std::vector<uint8_t> wanted(size_t(width / 2) * size_t(height / 2));
        halvePlane(whole.data[plane], whole.linesize[plane], width, height, wanted.data(), width / 2);
        for (int y = 0; y < height / 2; ++y)
            ASSERT_TRUE(std::equal(wanted.begin() + y * (width / 2), wanted.begin() + (y + 1) * (width / 2),
                                   half.data[plane] + y * half.linesize[plane]))
                << "plane " << plane << " row " << y;
    }
}

std::vector<Picture> decoded(const Units& units, bool halves = true)
{
    VideoDecoder decoder(true);
    InputParser parser;
    std::vector<Picture> pictures;
    const auto keep = [&](Picture&& picture) { pictures.push_back(std::move(picture)); };
    for (const clip::Unit& unit : units)
        parser.push(unit.frame.data(), unit.frame.size(), [&](Packet&& packet) {
            decoder.wantHalves(halves);
            decoder.decode(packet, keep);
        });
    decoder.drain(keep);
    return pictures;
}

ptrdiff_t halvesIn(const std::vector<Picture>& pictures)
{
    return std::count_if(pictures.begin(), pictures.end(), [](const Picture& p) { return p.half != nullptr; });
}

void expectAllHalved(const Units& units, size_t count)
{
    const auto pictures = decoded(units);
    ASSERT_EQ(pictures.size(), count);
    for (const Picture& picture : pictures) {
        ASSERT_TRUE(picture.half);
        expectHalf(*picture.frame, *picture.half);
    }
}

} // namespace

TEST(HalfPictures, EveryWholePictureHasItsExactHalf)
{
    expectAllHalved(rollingStripes({}, 320, 240, 30), 30);
}

TEST(HalfPictures, RowsThatTheStreamCutsOffAreCutOff)
{
    expectAllHalved(rollingStripes({}, 320, 184, 5), 5); // coded with 192 rows
}

TEST(HalfPictures, PicturesThatComeOutLaterThanTheyWentInHaveThem)
{
    clip::Spec spec;
    spec.bFrames = 2;
    expectAllHalved(rollingStripes(spec, 320, 240, 30), 30);
}

TEST(HalfPictures, OddSizesHaveNone)
{
    for (const auto& [width, height] : {std::pair(318, 240), std::pair(320, 238)}) {
        const auto pictures = decoded(rollingStripes({}, width, height, 3));
        EXPECT_EQ(pictures.size(), 3u);
        EXPECT_EQ(halvesIn(pictures), 0) << width << "x" << height;
    }
}

TEST(HalfPictures, WhatIsNotWantedIsNotMade)
{
    const auto pictures = decoded(rollingStripes({}, 320, 240, 3), false);
    EXPECT_EQ(pictures.size(), 3u);
    EXPECT_EQ(halvesIn(pictures), 0);
}

TEST(HalfPictures, OtherCodecsHaveNone)
{
    clip::Spec spec;
    spec.codec = VideoCodec::Mjpeg;
    const auto pictures = decoded(rollingStripes(spec, 320, 240, 3));
    EXPECT_EQ(pictures.size(), 3u);
    EXPECT_EQ(halvesIn(pictures), 0);
}

TEST(HalfPictures, DamageLeavesAnExactHalfOrNone)
{
    const Units whole = rollingStripes({}, 320, 240, 50);
    size_t pictures = 0, halves = 0;
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        Units units = whole;
        for (clip::Unit& unit : units)
            if (random() % 3 == 0)
                for (int i = 0; i < 4; ++i)
                    unit.frame[unit.frame.size() - 1 - random() % (unit.payload.size() - 40)] ^= uint8_t(random());
        for (const Picture& picture : decoded(units)) {
            ++pictures;
            halves += picture.half != nullptr;
            if (picture.half)
                expectHalf(*picture.frame, *picture.half);
        }
    }
    EXPECT_GT(halves, 0u);
    EXPECT_LT(halves, pictures) << "nothing was damaged";
}

TEST(HalfPictures, TheSurfaceIsTheSame)
{
    const auto pictures = decoded(rollingStripes({}, 640, 360, 1));
    ASSERT_EQ(pictures.size(), 1u);
    ASSERT_TRUE(pictures[0].half);
    View original, tinted;
    original.original = true;
    tinted.color.brightness = 80;
    int fromHalf = 0;
    for (const View& view : {View(), original, tinted})
        for (const auto& [width, height] : {std::pair(320, 180),
                                            {319, 179},
                                            {318, 178},
                                            {256, 144},
                                            {160, 90},
                                            {160, 160},
                                            {101, 57},
                                            {320, 200},
                                            {16, 9},
                                            {1, 1}}) {
            if (!paintsFromHalf(*pictures[0].frame, view, width, height))
                continue;
            ++fromHalf;
            std::vector<uint8_t> a(size_t(width) * size_t(height) * 4), b(a.size());
            Painter painter;
            ASSERT_TRUE(painter.paint(*pictures[0].frame, view, {a.data(), width, height, width * 4}));
            ASSERT_TRUE(
                painter.paint(*pictures[0].frame, pictures[0].half.get(), view, {b.data(), width, height, width * 4}));
            EXPECT_EQ(a, b) << width << "x" << height;
        }
    EXPECT_GE(fromHalf, 24);
}

TEST(HalfPictures, APartOrALargeCellIsPaintedFromThePictureItself)
{
    const auto pictures = decoded(rollingStripes({}, 640, 360, 1));
    View part;
    part.region = {0, 0, kRegionUnits / 2, kRegionUnits / 2};
    EXPECT_FALSE(paintsFromHalf(*pictures.at(0).frame, part, 160, 90));
    EXPECT_FALSE(paintsFromHalf(*pictures.at(0).frame, View(), 322, 180));
    EXPECT_FALSE(paintsFromHalf(*pictures.at(0).frame, View(), 320, 182));
    EXPECT_TRUE(paintsFromHalf(*pictures.at(0).frame, View(), 320, 180));
}
