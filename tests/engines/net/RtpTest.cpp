#include "Rtp.h"
#include "Bytes.h"
#include "Timings.h"

#include <gtest/gtest.h>

using namespace lumo::net;
using test::Bytes;
using test::hex;

TEST(RtpHeader, PlainPacket)
{
    const Bytes bytes = test::rtp(0xFFFE, 90000, true, {1, 2, 3});
    const auto p = parseRtp(bytes.data(), bytes.size());
    ASSERT_TRUE(p);
    EXPECT_EQ(p->sequence, 0xFFFE);
    EXPECT_EQ(p->timestamp, 90000u);
    EXPECT_EQ(p->payloadType, 96);
    EXPECT_TRUE(p->marker);
    EXPECT_EQ(Bytes(p->payload, p->payload + p->size), (Bytes{1, 2, 3}));
}

TEST(RtpHeader, SourcesExtensionAndPaddingAreTakenOff)
{
    // One contributing source, an extension of one word, three bytes of padding.
    const Bytes bytes = hex("b160 0001 00000000 00001234 deadbeef abac0001 11223344 aabb 000003");
    const auto p = parseRtp(bytes.data(), bytes.size());
    ASSERT_TRUE(p);
    EXPECT_EQ(Bytes(p->payload, p->payload + p->size), hex("aabb"));
}

TEST(RtpHeader, LengthsThatLieAreRefused)
{
    for (const char* text :
         {"", "80600001", "4060 0001 00000000 00001234", "8f60 0001 00000000 00001234",
          "9060 0001 00000000 00001234 abacffff", "a060 0001 00000000 00001234 ff", "a060 0001 00000000 00001234 00"}) {
        const Bytes bytes = hex(text);
        EXPECT_FALSE(parseRtp(bytes.data(), bytes.size())) << text;
    }
}

TEST(Rtcp, ByeIsFoundBehindOtherReports)
{
    const Bytes with = hex("80c90001 00001234 81cb0001 00001234"), without = hex("80c90001 00001234");
    EXPECT_TRUE(hasRtcpBye(with.data(), with.size()));
    EXPECT_FALSE(hasRtcpBye(without.data(), without.size()));
    const Bytes lying = hex("80c9ffff 00001234 81cb0001");
    EXPECT_FALSE(hasRtcpBye(lying.data(), lying.size()));
}

namespace
{

class Order : public testing::Test
{
protected:
    void use(int waitMs)
    {
        buffer = std::make_unique<ReorderBuffer>(waitMs, [this](const RtpPacket& p, bool lost) {
            out.push_back((lost ? "!" : "") + std::to_string(p.sequence) + ":" +
                          std::string(p.payload, p.payload + p.size));
        });
    }
    void push(uint16_t sequence, int64_t now = 0, uint32_t source = 0x1234)
    {
        Bytes bytes = test::rtp(sequence, 0, false, {uint8_t('a' + sequence % 26)});
        auto p = *parseRtp(bytes.data(), bytes.size());
        p.source = source;
        buffer->push(p, now);
        std::fill(bytes.begin(), bytes.end(), 0xEE); // what was held must have been copied
    }
    std::unique_ptr<ReorderBuffer> buffer;
    std::vector<std::string> out;
    using Out = std::vector<std::string>;
};

} // namespace

TEST_F(Order, SwappedPacketsComeInOrder)
{
    use(50);
    for (const uint16_t s : {10, 12, 11, 14, 13})
        push(s);
    EXPECT_EQ(out, (Out{"10:k", "11:l", "12:m", "13:n", "14:o"}));
    EXPECT_EQ(buffer->held(), 0u);
    EXPECT_EQ(buffer->due(), -1);
}

TEST_F(Order, NumbersWrapAround)
{
    use(50);
    for (const int s : {65534, 0, 65535, 1})
        push(uint16_t(s));
    EXPECT_EQ(out, (Out{"65534:o", "65535:p", "0:a", "1:b"}));
}

TEST_F(Order, LostPacketIsWaitedForAndThenToldOnce)
{
    use(50);
    push(1, 0);
    push(3, 10);
    push(4, 20);
    EXPECT_EQ(out, (Out{"1:b"}));
    EXPECT_EQ(buffer->due(), 60);
    buffer->expire(59);
    EXPECT_EQ(out.size(), 1u);
    buffer->expire(60);
    EXPECT_EQ(out, (Out{"1:b", "!3:d", "4:e"}));
}

TEST_F(Order, HoldsNoMoreThan128)
{
    use(1000000);
    push(0);
    for (uint16_t s = 2; s <= 129; ++s)
        push(s);
    EXPECT_EQ(out.size(), 1u);
    EXPECT_EQ(buffer->held(), 128u);
    push(130);
    EXPECT_EQ(out.size(), 130u);
    EXPECT_EQ(out[1], "!2:c");
    EXPECT_EQ(buffer->held(), 0u);
}

TEST_F(Order, DuplicatesAndLatecomersAreDropped)
{
    use(50);
    for (const uint16_t s : {5, 6, 5, 6, 4, 7})
        push(s);
    EXPECT_EQ(out, (Out{"5:f", "6:g", "7:h"}));
}

TEST_F(Order, ADuplicateOfAHeldPacketIsDropped)
{
    use(50);
    for (const uint16_t s : {5, 7, 7, 6})
        push(s);
    EXPECT_EQ(out, (Out{"5:f", "6:g", "7:h"}));
}

TEST_F(Order, SenderThatCountsAnewIsFollowed)
{
    use(50);
    for (const uint16_t s : {5000, 100, 101, 102, 103, 104})
        push(s);
    EXPECT_EQ(out.back(), "104:a");
    EXPECT_EQ(out[1][0], '!');
}

TEST_F(Order, NewSourceIsALossAndNoWait)
{
    use(50);
    push(5);
    push(4000, 0, 99);
    EXPECT_EQ(out, (Out{"5:f", "!4000:w"}));
}

TEST_F(Order, WithoutWaitingGapsAreOnlyTold)
{
    use(0);
    for (const uint16_t s : {1, 2, 5, 6})
        push(s);
    EXPECT_EQ(out, (Out{"1:b", "2:c", "!5:f", "6:g"}));
}

TEST(Backoff, FiveTimesOneSecondFiveTimesFiveThenTenForEver)
{
    Backoff b{Timings()};
    std::vector<int> seen;
    for (int i = 0; i < 13; ++i)
        seen.push_back(b.nextMs());
    EXPECT_EQ(seen,
              (std::vector<int>{1000, 1000, 1000, 1000, 1000, 5000, 5000, 5000, 5000, 5000, 10000, 10000, 10000}));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(b.nextMs(), 10000);
    b.reset();
    EXPECT_EQ(b.nextMs(), 1000);
}
