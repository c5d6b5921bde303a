// Speech to A-law, held against the decision values of ITU-T G.711, table 1: not against the table in the code.
#include "audio/EncodeALaw.h"
#include "audio/TalkFrame.h"

#include <gmock/gmock.h>

#include <vector>

using testing::ElementsAre;

namespace
{

/// The recommendation counts in units of 1/4096 of the largest magnitude, in which a 16-bit sample is in eighths.
/// Interval n, 1 to 128, lies between its decision values x(n) and x(n + 1).
std::vector<int> decisionValues()
{
    std::vector<int> values{0};
    const int intervals[] = {32, 16, 16, 16, 16, 16, 16};
    int step = 2;
    for (const int count : intervals) {
        for (int i = 0; i < count; ++i)
            values.push_back(values.back() + step);
        step *= 2;
    }
    return values;
}

/// The character signal of interval n is n - 1 in seven bits below the sign, 1 for positive; the even bits inverted.
uint8_t recommended(int nMagnitude)
{
    static const std::vector<int> values = decisionValues();
    int n = 1;
    while (values[size_t(n)] * 8 <= nMagnitude)
        ++n;
    uint8_t code = uint8_t(0x80 | (n - 1));
    for (const int bit : {1, 3, 5, 7})
        code ^= uint8_t(1 << (bit - 1));
    return code;
}

uint8_t encoded(int nSample)
{
    const uint8_t pcm[2] = {uint8_t(nSample & 0xFF), uint8_t(nSample >> 8 & 0xFF)};
    uint8_t code = 0;
    EXPECT_EQ(1, EncodeALaw(pcm, 2, &code, 1));
    return code;
}

TEST(EncodeALawTest, DecisionValuesAreThoseOfTheRecommendation)
{
    const auto values = decisionValues();
    ASSERT_EQ(129u, values.size());
    EXPECT_EQ(64, values[32]);
    EXPECT_EQ(2048, values[112]);
    EXPECT_EQ(4096, values[128]);
}

TEST(EncodeALawTest, EveryNonNegativeSampleHasTheCodeOfTheRecommendation)
{
    for (int nSample = 0; nSample <= 32767; ++nSample)
        ASSERT_EQ(recommended(nSample), encoded(nSample)) << nSample;
}

TEST(EncodeALawTest, EveryNegativeSampleHasTheCodeOfItsMagnitudeWithTheTopBitCleared)
{
    for (int nSample = -32767; nSample < 0; ++nSample)
        ASSERT_EQ(recommended(-nSample) & 0x7F, encoded(nSample)) << nSample;
}

TEST(EncodeALawTest, SmallestSampleCountsAsTheLargestMagnitude)
{
    EXPECT_EQ(recommended(32767) & 0x7F, encoded(-32768));
    EXPECT_EQ(0x2A, encoded(-32768));
}

TEST(EncodeALawTest, EndsOfTheTable)
{
    EXPECT_EQ(0xD5, encoded(0));
    EXPECT_EQ(0xD5, encoded(15));
    EXPECT_EQ(0xD4, encoded(16));
    EXPECT_EQ(0xAA, encoded(32767));
    EXPECT_EQ(0x55, encoded(-1));
}

TEST(EncodeALawTest, OneCodeForEachSampleAndAnOddByteIsLeftOut)
{
    const uint8_t pcm[7] = {0, 0, 0xFF, 0x7F, 0, 0x80, 0x11};
    uint8_t codes[4] = {1, 2, 3, 4};
    EXPECT_EQ(3, EncodeALaw(pcm, 7, codes, 4));
    EXPECT_THAT(codes, ElementsAre(0xD5, 0xAA, 0x2A, 4));
}

TEST(EncodeALawTest, SamplesMayStandAtAnyAddress)
{
    const uint8_t bytes[5] = {9, 0xFF, 0x7F, 0, 0};
    uint8_t codes[2] = {};
    EXPECT_EQ(2, EncodeALaw(bytes + 1, 4, codes, 2));
    EXPECT_THAT(codes, ElementsAre(0xAA, 0xD5));
}

TEST(EncodeALawTest, NeverMoreThanThereIsRoomFor)
{
    const uint8_t pcm[8] = {};
    uint8_t codes[3] = {1, 2, 3};
    EXPECT_EQ(2, EncodeALaw(pcm, 8, codes, 2));
    EXPECT_EQ(3, codes[2]);
    EXPECT_EQ(0, EncodeALaw(pcm, 8, codes, 0));
    EXPECT_EQ(0, EncodeALaw(pcm, 8, codes, -1));
}

TEST(EncodeALawTest, NothingIsNothing)
{
    const uint8_t pcm[2] = {};
    uint8_t code = 7;
    EXPECT_EQ(0, EncodeALaw(pcm, 1, &code, 1));
    EXPECT_EQ(0, EncodeALaw(pcm, 0, &code, 1));
    EXPECT_EQ(0, EncodeALaw(pcm, -640, &code, 1));
    EXPECT_EQ(0, EncodeALaw(nullptr, 640, &code, 1));
    EXPECT_EQ(7, code);
}

TEST(TalkFrameTest, HeaderSaysRateAndLength)
{
    uint8_t header[kTalkHeaderSize];
    writeTalkHeader(header, 8000, 320);
    EXPECT_THAT(header, ElementsAre(0, 0, 1, 0xFA, 14, 2, 0x40, 1));
    writeTalkHeader(header, 16000, 160);
    EXPECT_THAT(header, ElementsAre(0, 0, 1, 0xFA, 14, 4, 0xA0, 0));
}

} // namespace
