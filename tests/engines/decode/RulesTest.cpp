// The rules inside, one by one: the packet queue, the cutting of bare streams, finding a frame in anything.
#include "AnnexB.h"
#include "Clip.h"
#include "InputParser.h"
#include "PacketQueue.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace
{

Packet videoPacket(bool key, uint64_t utcMs, size_t payload = 1000, int64_t arrivalMs = 0, uint8_t fps = 25)
{
    const auto bytes = clip::wrap(key, VideoCodec::H264, utcMs, clip::Bytes(payload, 1), fps);
    return makePacket(*frameAt(bytes.data(), bytes.size()), arrivalMs);
}

std::string keysIn(PacketQueue& queue)
{
    std::string out;
    while (auto packet = queue.pop())
        out += packet->isKey() ? 'K' : '-';
    return out;
}

TEST(PacketQueueTest, FullQueueDropsItsOldestGroup)
{
    PacketQueue queue(7 * 1300);
    for (const bool key : {true, false, false, true, false, false, false, false})
        queue.push(videoPacket(key, 1));
    EXPECT_EQ(keysIn(queue), "K----");
}

TEST(PacketQueueTest, QueueWithoutAnotherKeyFrameWaitsForOne)
{
    PacketQueue queue(4 * 1300);
    for (const bool key : {true, false, false, false, false, false, true, false})
        queue.push(videoPacket(key, 1));
    EXPECT_EQ(keysIn(queue), "K-");
}

TEST(PacketQueueTest, FrameLargerThanTheQueueIsTakenAlone)
{
    PacketQueue queue(1000);
    queue.push(videoPacket(true, 1, 100));
    queue.push(videoPacket(true, 1, 5000));
    EXPECT_EQ(queue.bytes(), 5000 + kVideoHeaderSize);
    EXPECT_EQ(keysIn(queue), "K");
}

TEST(PacketQueueTest, FloodOfEmptyFramesIsBounded)
{
    PacketQueue queue(65536);
    for (int i = 0; i < 100000; ++i)
        queue.push(videoPacket(true, 1, 0));
    EXPECT_LT(keysIn(queue).size(), 300u);
}

TEST(PacketQueueTest, BacklogIsTheLongerOfWaitingAndSpan)
{
    PacketQueue queue(1 << 20);
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 5000, 10, 100), 130), 30);
    queue.push(videoPacket(false, 6500));
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 5000, 10, 100), 130), 1500);
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 6400, 10, 100), 900), 800);
}

TEST(PacketQueueTest, ClockThatJumpsIsNoBacklog)
{
    PacketQueue queue(1 << 20);
    queue.push(videoPacket(false, 9'000'000));
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 5000, 10, 100), 100), 0);
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 99'000'000, 10, 100), 100), 0);
}

TEST(PacketQueueTest, FramesWithoutTimesAreCounted)
{
    PacketQueue queue(1 << 20);
    for (int i = 0; i < 50; ++i)
        queue.push(videoPacket(false, 0));
    EXPECT_EQ(queue.backlogMs(videoPacket(true, 0, 10, 100), 100), 2000);
}

TEST(AnnexBTest, CodecIsKnownByItsParameterSets)
{
    VideoCodec codec;
    const uint8_t h264[] = {0, 0, 1, 0x67, 66, 0, 30, 1};
    const uint8_t h265[] = {0, 0, 0, 1, 0x40, 1, 12, 1};
    const uint8_t neither[] = {0, 0, 1, 0x41, 1, 2, 3, 4};
    EXPECT_TRUE(detectBareCodec(h264, sizeof h264, codec));
    EXPECT_EQ(codec, VideoCodec::H264);
    EXPECT_TRUE(detectBareCodec(h265, sizeof h265, codec));
    EXPECT_EQ(codec, VideoCodec::H265);
    EXPECT_FALSE(detectBareCodec(neither, sizeof neither, codec));
    EXPECT_FALSE(detectBareCodec(h264, 3, codec));
    EXPECT_FALSE(detectBareCodec(nullptr, 0, codec));
}

TEST(AnnexBTest, UnitsComeOutAsTheEncoderMadeThem)
{
    for (const auto codec : {VideoCodec::H264, VideoCodec::H265}) {
        clip::Spec spec;
        spec.codec = codec;
        spec.frames = 12;
        spec.keyEvery = 5;
        const auto units = clip::numbered(spec);
        clip::Bytes all;
        for (const auto& unit : units)
            all.insert(all.end(), unit.payload.begin(), unit.payload.end());
        for (const size_t piece : {size_t(37), all.size()}) {
            AnnexBSplitter splitter;
            size_t at = 0;
            const auto check = [&](VideoCodec seen, bool key, const uint8_t* data, size_t size) {
                ASSERT_LT(at, units.size());
                EXPECT_EQ(seen, codec);
                EXPECT_EQ(key, units[at].key) << at;
                EXPECT_TRUE(clip::Bytes(data, data + size) == units[at].payload) << at;
                ++at;
            };
            for (size_t from = 0; from < all.size(); from += piece)
                splitter.push(all.data() + from, std::min(piece, all.size() - from), check);
            EXPECT_EQ(at, units.size() - 1) << "the last one is not known to be whole";
        }
    }
}

TEST(AnnexBTest, StreamWithoutStartCodesIsForgotten)
{
    AnnexBSplitter splitter;
    const clip::Bytes sps = {0, 0, 1, 0x67, 66, 0, 30, 1, 2, 3};
    const clip::Bytes rest(1 << 20, 9);
    int units = 0;
    const auto count = [&](VideoCodec, bool, const uint8_t*, size_t) { ++units; };
    splitter.push(sps.data(), sps.size(), count);
    for (int i = 0; i < 20; ++i)
        splitter.push(rest.data(), rest.size(), count);
    EXPECT_EQ(units, 0);
    EXPECT_FALSE(splitter.active());
}

// ---- finding a frame in anything

std::vector<size_t> sizesIn(InputParser& parser, const clip::Bytes& bytes)
{
    std::vector<size_t> sizes;
    parser.push(bytes.data(), bytes.size(), [&](Packet&& packet) { sizes.push_back(packet.payloadSize); });
    return sizes;
}

clip::Bytes operator+(clip::Bytes a, const clip::Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(InputParserTest, WholeFramesPassAndAHalfOneIsThrownAwayByTheNextWholeBlock)
{
    InputParser parser;
    const auto a = clip::wrap(true, VideoCodec::H264, 1, clip::Bytes(100, 1));
    const auto b = clip::wrap(false, VideoCodec::H264, 2, clip::Bytes(50, 2));
    EXPECT_EQ(sizesIn(parser, a + b), (std::vector<size_t>{100, 50}));
    EXPECT_TRUE(sizesIn(parser, clip::Bytes(a.begin(), a.begin() + 60)).empty());
    EXPECT_EQ(sizesIn(parser, b), (std::vector<size_t>{50}));
    EXPECT_EQ(sizesIn(parser, a), (std::vector<size_t>{100}));
}

TEST(InputParserTest, FrameIsFoundBehindNoise)
{
    InputParser parser;
    const auto a = clip::wrap(true, VideoCodec::H264, 1, clip::Bytes(100, 1));
    const clip::Bytes noise = {1, 0, 0, 1, 0xF0, 77, 0, 0, 1, 0xFA, 200, 0, 0, 0};
    EXPECT_EQ(sizesIn(parser, noise + a), (std::vector<size_t>{100}));
}

TEST(InputParserTest, PacketIsPaddedForTheDecoder)
{
    const auto packet = videoPacket(true, 1, 10);
    ASSERT_GE(packet.buffer->size, packet.wholeSize + AV_INPUT_BUFFER_PADDING_SIZE);
    for (size_t i = 0; i < AV_INPUT_BUFFER_PADDING_SIZE; ++i)
        EXPECT_EQ(packet.whole()[packet.wholeSize + i], 0);
}

} // namespace
