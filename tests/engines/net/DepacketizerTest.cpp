#include "Depacketizer.h"
#include "Bytes.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

struct Got {
    bool key, video;
    uint32_t time, rate;
    PictureFormat format;
    Bytes data;
};

class Depacketizing : public testing::Test
{
protected:
    void use(const std::string& sdp)
    {
        const Sdp parsed = parseSdp(sdp);
        ASSERT_EQ(parsed.media.size(), 1u);
        d = makeDepacketizer(parsed.media[0], [this](const MediaFrame& f) {
            got.push_back({f.key, f.video, f.rtpTime, f.sampleRate, f.format, Bytes(f.data, f.data + f.size)});
        });
        ASSERT_TRUE(d);
    }
    void useH264(const std::string& format = "") { use("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n" + format); }
    void useH265(const std::string& format = "") { use("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\n" + format); }
    void push(uint32_t time, bool marker, const Bytes& payload, bool lost = false)
    {
        const Bytes bytes = rtp(0, time, marker, payload);
        d->push(*parseRtp(bytes.data(), bytes.size()), lost);
    }
    static Bytes annexB(std::initializer_list<Bytes> nals)
    {
        Bytes out;
        for (const auto& n : nals)
            out = joined({out, kStart, n});
        return out;
    }
    void keyUnit(uint32_t time)
    {
        push(time, false, kSps1080);
        push(time, false, kPps);
        push(time, true, kIdr);
    }

    std::unique_ptr<Depacketizer> d;
    std::vector<Got> got;
};

using H264 = Depacketizing;
using H265 = Depacketizing;
using Mjpeg = Depacketizing;
using Audio = Depacketizing;

} // namespace

TEST_F(H264, SingleUnitsMakeOneAccessUnitAtTheMarker)
{
    useH264();
    push(100, false, kSps1080);
    push(100, false, kPps);
    EXPECT_TRUE(got.empty());
    push(100, true, kIdr);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_TRUE(got[0].key);
    EXPECT_EQ(got[0].time, 100u);
    EXPECT_EQ(got[0].data, annexB({kSps1080, kPps, kIdr}));
    EXPECT_EQ(got[0].format, (PictureFormat{1920, 1080, 25}));
}

TEST_F(H264, ChangeOfTimestampEndsAUnitWithoutAMarker)
{
    useH264();
    push(100, false, kSps1080);
    push(100, false, kPps);
    push(100, false, kIdr);
    push(200, false, kSlice);
    ASSERT_EQ(got.size(), 1u);
    push(300, false, kSlice);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_FALSE(got[1].key);
    EXPECT_EQ(got[1].time, 200u);
    EXPECT_EQ(got[1].data, annexB({kSlice}));
}

TEST_F(H264, AggregateIsTakenApart)
{
    useH264();
    const auto sized = [](const Bytes& nal) { return joined({{uint8_t(nal.size() >> 8), uint8_t(nal.size())}, nal}); };
    push(1, true, joined({{24}, sized(kSps1080), sized(kPps), sized(kIdr)}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, annexB({kSps1080, kPps, kIdr}));
}

TEST_F(H264, FragmentsArePutTogether)
{
    useH264();
    push(1, false, kSps1080);
    push(1, false, kPps);
    push(1, false, joined({{0x7C, 0x85}, Bytes(kIdr.begin() + 1, kIdr.begin() + 4)}));
    push(1, false, joined({{0x7C, 0x05}, Bytes(kIdr.begin() + 4, kIdr.begin() + 6)}));
    push(1, true, joined({{0x7C, 0x45}, Bytes(kIdr.begin() + 6, kIdr.end())}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, annexB({kSps1080, kPps, kIdr}));
}

TEST_F(H264, ParameterSetsOfTheDescriptionGoBeforeEachKeyFrame)
{
    useH264("a=fmtp:96 packetization-mode=1;sprop-parameter-sets=Z2QAKKzZQHgCJ+XARAAAAwAEAAADAMg8YMZY,aOvjyyLA\r\n");
    push(1, true, kIdr);
    push(2, true, kSlice);
    push(3, true, kIdr);
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].data, annexB({kSps1080, kPps, kIdr}));
    EXPECT_EQ(got[1].data, annexB({kSlice}));
    EXPECT_EQ(got[2].data, annexB({kSps1080, kPps, kIdr}));
    EXPECT_EQ(got[0].format.width, 1920);
}

TEST_F(H264, ParameterSetsSeenOnceAreRepeatedLater)
{
    useH264();
    keyUnit(1);
    push(2, true, kIdr);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[1].data, annexB({kSps1080, kPps, kIdr}));
}

TEST_F(H264, NothingBeforeTheFirstKeyFrame)
{
    useH264();
    push(1, true, kSlice);
    push(2, true, kSlice);
    EXPECT_TRUE(got.empty());
    keyUnit(3);
    EXPECT_EQ(got.size(), 1u);
}

TEST_F(H264, AfterALossNothingUntilTheNextKeyFrame)
{
    useH264();
    keyUnit(1);
    push(2, true, kSlice, true);
    push(3, true, kSlice);
    EXPECT_EQ(got.size(), 1u);
    keyUnit(4);
    push(5, true, kSlice);
    EXPECT_EQ(got.size(), 3u);
}

TEST_F(H264, LossThatTookTheEndOfAUnitDamagesThatUnit)
{
    useH264();
    keyUnit(1);
    push(2, false, kSlice); // its second slice and marker are lost
    push(3, true, kSlice, true);
    EXPECT_EQ(got.size(), 1u);
}

TEST_F(H264, LossInAFragmentedKeyFrameDamagesIt)
{
    useH264();
    push(1, false, kSps1080);
    push(1, false, kPps);
    push(1, false, {0x7C, 0x85, 0x88, 0x84, 1});
    push(1, true, {0x7C, 0x45, 9}, true);
    EXPECT_TRUE(got.empty());
    push(2, true, {0x7C, 0x45, 9}); // an end without a beginning
    EXPECT_TRUE(got.empty());
    keyUnit(3);
    EXPECT_EQ(got.size(), 1u);
}

TEST_F(H264, KeyFrameWithoutItsFirstSliceIsDamaged)
{
    useH264();
    keyUnit(1);
    push(2, true, {0x65, 0x05, 1, 2, 3, 4}, true); // first_mb_in_slice is not 0
    EXPECT_EQ(got.size(), 1u);
    push(3, true, kIdr);
    EXPECT_EQ(got.size(), 2u);
}

TEST_F(H264, IntraPictureBehindItsOwnParameterSetsIsAPlaceToBegin)
{
    useH264();
    push(1, false, kSps1080);
    push(1, false, kPps);
    push(1, true, {0x41, 0x88, 0x80, 1, 2, 3}); // slice type 7
    ASSERT_EQ(got.size(), 1u);
    EXPECT_TRUE(got[0].key);
}

TEST_F(H264, DelimitersAreLeftOut)
{
    useH264();
    push(1, false, {9, 0x10});
    keyUnit(1);
    EXPECT_EQ(got.at(0).data, annexB({kSps1080, kPps, kIdr}));
}

TEST_F(H264, BrokenAggregateDamagesTheUnitOnly)
{
    useH264();
    keyUnit(1);
    push(2, true, {24, 0xFF, 0xFF, 1, 2});
    EXPECT_EQ(got.size(), 1u);
    keyUnit(3);
    EXPECT_EQ(got.size(), 2u);
}

TEST_F(H264, UnitWithoutEndIsNotKept)
{
    useH264();
    const Bytes big(60000, 0x55);
    push(1, false, joined({{0x7C, 0x85, 0x88}, big}));
    for (int i = 0; i < 200; ++i) // 12 MB
        push(1, false, joined({{0x7C, 0x05}, big}));
    push(1, true, joined({{0x7C, 0x45}, big}));
    EXPECT_TRUE(got.empty());
    keyUnit(2);
    EXPECT_EQ(got.size(), 1u);
}

TEST_F(H265, SingleUnitsAndFragments)
{
    useH265();
    push(1, false, kVps265);
    push(1, false, kSps265);
    push(1, false, kPps265);
    push(1, false, joined({{0x62, 1, 0x93}, Bytes(kIdr265.begin() + 2, kIdr265.begin() + 4)}));
    push(1, true, joined({{0x62, 1, 0x53}, Bytes(kIdr265.begin() + 4, kIdr265.end())}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_TRUE(got[0].key);
    EXPECT_EQ(got[0].data, annexB({kVps265, kSps265, kPps265, kIdr265}));
    EXPECT_EQ(got[0].format.width, 1920);
    EXPECT_EQ(got[0].format.height, 1080);
    push(2, true, kSlice265);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_FALSE(got[1].key);
}

TEST_F(H265, AggregateIsTakenApart)
{
    useH265();
    const auto sized = [](const Bytes& nal) { return joined({{uint8_t(nal.size() >> 8), uint8_t(nal.size())}, nal}); };
    push(1, true, joined({{0x60, 1}, sized(kVps265), sized(kSps265), sized(kPps265), sized(kIdr265)}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, annexB({kVps265, kSps265, kPps265, kIdr265}));
}

TEST_F(H265, OrderNumbersAreTakenOut)
{
    useH265("a=fmtp:96 sprop-max-don-diff=1\r\n");
    const auto withOrder = [](const Bytes& nal) {
        return joined({{nal[0], nal[1], 0, 7}, Bytes(nal.begin() + 2, nal.end())});
    };
    push(1, false, withOrder(kVps265));
    push(1, false, withOrder(kSps265));
    push(1, false, withOrder(kPps265));
    push(1, false, joined({{0x62, 1, 0x93, 0, 8}, Bytes(kIdr265.begin() + 2, kIdr265.begin() + 4)}));
    push(1, true, joined({{0x62, 1, 0x53}, Bytes(kIdr265.begin() + 4, kIdr265.end())}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, annexB({kVps265, kSps265, kPps265, kIdr265}));
}

TEST_F(H265, AfterALossNothingUntilTheNextKeyFrame)
{
    useH265();
    for (const auto& n : {kVps265, kSps265, kPps265})
        push(1, false, n);
    push(1, true, kIdr265);
    push(2, true, kSlice265, true);
    push(3, true, kSlice265);
    EXPECT_EQ(got.size(), 1u);
    push(4, true, kIdr265);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[1].data, annexB({kVps265, kSps265, kPps265, kIdr265}));
}

namespace
{

// type 1, quality 50, 640x360
Bytes jpegPayload(uint32_t offset, const Bytes& scan, uint8_t q = 50, uint8_t type = 1, const Bytes& more = {})
{
    return joined({{0, uint8_t(offset >> 16), uint8_t(offset >> 8), uint8_t(offset), type, q, 80, 45}, more, scan});
}

bool containsBytes(const Bytes& where, const Bytes& what)
{
    return std::search(where.begin(), where.end(), what.begin(), what.end()) != where.end();
}

} // namespace

TEST_F(Mjpeg, HeadersAreMadeAnew)
{
    use("m=video 0 RTP/AVP 26\r\n");
    push(1, false, jpegPayload(0, {1, 2, 3}));
    push(1, true, jpegPayload(3, {4, 5}));
    ASSERT_EQ(got.size(), 1u);
    const Bytes& jpeg = got[0].data;
    EXPECT_TRUE(got[0].key);
    EXPECT_EQ(Bytes(jpeg.begin(), jpeg.begin() + 2), hex("ffd8"));
    // Quality 50 is the tables of the standard as they stand.
    EXPECT_TRUE(containsBytes(jpeg, hex("ffdb0043 00 100b0c0e0c0a100e0d0e121110131828")));
    EXPECT_TRUE(containsBytes(jpeg, hex("ffc0001108 0168 0280 03 012200 021101 031101")));
    EXPECT_TRUE(containsBytes(jpeg, hex("ffda000c03010002110311003f00 0102030405 ffd9")));
    EXPECT_EQ(got[0].format.width, 640);
    EXPECT_EQ(got[0].format.height, 360);
}

TEST_F(Mjpeg, RestartIntervalIsWritten)
{
    use("m=video 0 RTP/AVP 26\r\n");
    push(1, true, jpegPayload(0, {1, 2}, 50, 65, hex("0028ffff")));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_TRUE(containsBytes(got[0].data, hex("ffdd00040028")));
}

TEST_F(Mjpeg, TablesInThePacketAreUsedAndRemembered)
{
    use("m=video 0 RTP/AVP 26\r\n");
    const Bytes tables(128, 7);
    push(1, true, jpegPayload(0, {1, 2}, 200, 1, joined({hex("00000080"), tables})));
    push(2, true, jpegPayload(0, {1, 2}, 200, 1, hex("00000000")));
    ASSERT_EQ(got.size(), 2u);
    EXPECT_TRUE(containsBytes(got[0].data, joined({hex("ffdb004301"), Bytes(64, 7)})));
    EXPECT_EQ(got[0].data, got[1].data);
}

TEST_F(Mjpeg, TablesNeverToldOrCutOffMakeNoPicture)
{
    use("m=video 0 RTP/AVP 26\r\n");
    push(1, true, jpegPayload(0, {1, 2}, 201, 1, hex("00000000")));
    push(2, true, jpegPayload(0, {}, 202, 1, hex("000000800102")));
    push(3, true, jpegPayload(0, {1, 2}, 255, 1, hex("00000000")));
    push(4, true, jpegPayload(0, {1, 2}, 0));
    EXPECT_TRUE(got.empty());
}

TEST_F(Mjpeg, PictureWithAHoleIsDropped)
{
    use("m=video 0 RTP/AVP 26\r\n");
    push(1, false, jpegPayload(0, {1, 2, 3}));
    push(1, true, jpegPayload(5, {4, 5}), true);
    EXPECT_TRUE(got.empty());
    push(2, true, jpegPayload(0, {1}));
    EXPECT_EQ(got.size(), 1u);
}

TEST_F(Mjpeg, SizeOfTheDescriptionWhenThePacketHasNone)
{
    use("m=video 0 RTP/AVP 26\r\na=x-dimensions:3840,2160\r\n");
    Bytes p = jpegPayload(0, {1});
    p[6] = p[7] = 0;
    push(1, true, p);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].format.width, 3840);
    EXPECT_EQ(got[0].format.height, 2160);
}

TEST_F(Audio, ALawAsItComes)
{
    use("m=audio 0 RTP/AVP 8\r\n");
    push(1, false, {0xD5, 0x55});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_FALSE(got[0].video);
    EXPECT_EQ(got[0].rate, 8000u);
    EXPECT_EQ(got[0].data, (Bytes{0xD5, 0x55}));
}

TEST_F(Audio, MuLawBecomesALaw)
{
    use("m=audio 0 RTP/AVP 0\r\n");
    push(1, false, {0xFF, 0x7F, 0x80, 0x00}); // +0, -0, the two ends of the scale
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].data, (Bytes{0xD5, 0xD5, 0xAA, 0x2A}));
}

TEST_F(Audio, AacUnitsLeaveAsAdts)
{
    use("m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000/1\r\n"
        "a=fmtp:97 streamtype=5;mode=AAC-hbr;sizelength=13;indexlength=3;indexdeltalength=3;config=1408\r\n");
    push(0, true, joined({hex("0020 0018 0010"), {1, 2, 3}, {4, 5}}));
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].rate, 16000u);
    EXPECT_EQ(got[0].data, hex("fff1 6040 015f fc 010203"));
    EXPECT_EQ(got[1].data, hex("fff1 6040 013f fc 0405"));
    EXPECT_EQ(got[1].time, 1024u);
}

TEST_F(Audio, AacUnitInPartsIsPutTogether)
{
    use("m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000/1\r\n"
        "a=fmtp:97 mode=AAC-hbr;sizelength=13;indexlength=3;indexdeltalength=3;config=1408\r\n");
    push(0, false, joined({hex("0010 0028"), {1, 2, 3}}));
    push(0, true, joined({hex("0010 0028"), {4, 5}}));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(Bytes(got[0].data.begin() + 7, got[0].data.end()), (Bytes{1, 2, 3, 4, 5}));
    push(0, false, joined({hex("0010 0028"), {1, 2, 3}}));
    push(9, true, joined({hex("0010 0028"), {4, 5}}), true);
    EXPECT_EQ(got.size(), 1u);
}

TEST(MakeDepacketizer, UnknownFormatsAreNone)
{
    for (const char* sdp :
         {"m=video 0 RTP/AVP 96\r\na=rtpmap:96 VP8/90000\r\n", "m=application 0 RTP/AVP 107\r\n",
          "m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000/1\r\na=fmtp:97 mode=AAC-hbr;config=zz\r\n",
          "m=audio 0 RTP/AVP 98\r\na=rtpmap:98 G726-32/8000\r\n", "m=audio 0 RTP/AVP 8\r\na=rtpmap:8 PCMA/7000\r\n"}) {
        const Sdp parsed = parseSdp(sdp);
        ASSERT_EQ(parsed.media.size(), 1u);
        EXPECT_FALSE(makeDepacketizer(parsed.media[0], [](const MediaFrame&) {})) << sdp;
    }
}
