// The frame that travels between the two libraries.
#include "common/StreamFrame.h"

#include <gtest/gtest.h>

#include <random>

using namespace lumo;

namespace
{

std::vector<uint8_t> bytes(size_t n, uint8_t first = 1)
{
    std::vector<uint8_t> out(n);
    for (size_t i = 0; i < n; ++i)
        out[i] = uint8_t(first + i);
    return out;
}

VideoFrameHeader keyFrame()
{
    VideoFrameHeader h;
    h.key = true;
    h.codec = VideoCodec::H265;
    h.fps = 25;
    h.width = 1280;
    h.height = 720;
    h.flags = kFlagDecodeOnly;
    h.utcMs = 0x0123456789ABCDEFull;
    return h;
}

TEST(StreamFrame, VideoBytesStandAsDocumented)
{
    std::vector<uint8_t> out;
    const uint8_t payload[] = {0xAA, 0xBB};
    appendVideoFrame(out, keyFrame(), payload, 2);
    const std::vector<uint8_t> expected = {0, 0, 1, 0xF0, 3,    25,   0x00, 0x05, 0xD0, 0x02, 1,    0,    2,
                                           0, 0, 0, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01, 0xAA, 0xBB};
    EXPECT_EQ(expected, out);
}

TEST(StreamFrame, AudioBytesStandAsDocumented)
{
    std::vector<uint8_t> out;
    const auto payload = bytes(320);
    appendAudioFrame(out, {AudioCodec::ALaw, 8000, 0}, payload.data(), payload.size());
    const std::vector<uint8_t> header(out.begin(), out.begin() + 8);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 1, 0xFA, 14, 2, 0x40, 0x01}), header);
    EXPECT_EQ(4, rateCode(16000));
    EXPECT_EQ(0, rateCode(12345));
}

TEST(StreamFrame, WhatWasWrittenIsReadBackInAnyPieces)
{
    std::vector<uint8_t> stream;
    const auto payload = bytes(1000);
    appendVideoFrame(stream, keyFrame(), payload.data(), payload.size());
    appendAudioFrame(stream, {AudioCodec::Aac, 48000, 0}, payload.data(), 77);
    appendVideoFrame(stream, VideoFrameHeader{}, payload.data(), 0);
    for (size_t piece : {size_t(1), size_t(7), size_t(100), stream.size()}) {
        FrameReader reader;
        std::vector<size_t> sizes;
        for (size_t at = 0; at < stream.size(); at += piece) {
            reader.push(stream.data() + at, std::min(piece, stream.size() - at));
            while (const auto frame = reader.next()) {
                sizes.push_back(frame->payloadSize);
                if (sizes.size() == 1) {
                    EXPECT_EQ(1280, frame->v.width);
                    EXPECT_EQ(0x0123456789ABCDEFull, frame->v.utcMs);
                    EXPECT_EQ(0, memcmp(payload.data(), frame->payload, 1000));
                }
            }
        }
        EXPECT_EQ((std::vector<size_t>{1000, 77, 0}), sizes) << piece;
        EXPECT_EQ(0u, reader.skipped());
    }
}

TEST(StreamFrame, ThePlaceIsFoundAgainAfterDamage)
{
    std::vector<uint8_t> good;
    const auto payload = bytes(50);
    appendVideoFrame(good, keyFrame(), payload.data(), payload.size());
    std::vector<uint8_t> stream = {0, 0, 1, 0xF0, 99, 0, 0, 0, 0, 0, 1, 0xFA, 14, 77}; // codec and rate unknown
    stream.insert(stream.end(), good.begin(), good.end());
    FrameReader reader;
    reader.push(stream.data(), stream.size());
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(50u, frame->payloadSize);
    EXPECT_EQ(14u, reader.skipped());
}

TEST(StreamFrame, AnAbsurdLengthIsTakenForDamage)
{
    std::vector<uint8_t> stream;
    appendVideoFrame(stream, keyFrame(), nullptr, 0);
    stream[15] = 0xFF; // payload length above the limit
    const size_t bad = stream.size();
    appendVideoFrame(stream, keyFrame(), nullptr, 0);
    FrameReader reader;
    reader.push(stream.data(), stream.size());
    const auto frame = reader.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(bad, reader.skipped());
}

TEST(StreamFrame, RandomBytesNeitherCrashNorGrow)
{
    std::mt19937 random(7);
    FrameReader reader;
    std::vector<uint8_t> chunk(4096);
    for (int i = 0; i < 2000; ++i) {
        for (auto& b : chunk)
            b = uint8_t(random() % 5 == 0 ? random() : random() % 2);
        reader.push(chunk.data(), chunk.size());
        while (reader.next()) {
        }
        ASSERT_LE(reader.buffered(), kMaxVideoPayload + 2 * chunk.size());
    }
}

} // namespace
