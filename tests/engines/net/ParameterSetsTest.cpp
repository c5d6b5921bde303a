// The vectors are parameter sets that libx264 and libx265 made for the named sizes.
#include "ParameterSets.h"
#include "Bytes.h"

#include <gtest/gtest.h>

using namespace lumo::net;
using test::hex;

struct SpsRow {
    const char* what;
    bool h265;
    const char* bytes;
    PictureFormat expected;
};

class SpsTest : public testing::TestWithParam<SpsRow>
{
};

TEST_P(SpsTest, SizeAfterCroppingAndRate)
{
    const SpsRow& row = GetParam();
    const auto nal = hex(row.bytes);
    const auto format = row.h265 ? parseH265Sps(nal.data(), nal.size()) : parseH264Sps(nal.data(), nal.size());
    ASSERT_TRUE(format) << row.what;
    EXPECT_EQ(format->width, row.expected.width) << row.what;
    EXPECT_EQ(format->height, row.expected.height) << row.what;
    EXPECT_EQ(format->fps, row.expected.fps) << row.what;
}

INSTANTIATE_TEST_SUITE_P(
    Encoders, SpsTest,
    testing::Values(
        SpsRow{"High 1080p25", false, "67640028acd940780227e5c044000003000400000300c83c60c658", {1920, 1080, 25}},
        SpsRow{"Baseline, cropped both ways, 30",
               false,
               "6742c01ed900a02fea6c0440000003004000000f03c58b92",
               {638, 358, 30}},
        SpsRow{"interlaced 576", false, "6764001eacd940b424d8088000000300800000190f8a14cb", {720, 576, 25}},
        SpsRow{"4:4:4, 12", false, "67f4000c919b282a33c7c5e022000003000200000300301e28532c", {322, 182, 12}},
        SpsRow{"4:2:2, 50", false, "677a0015bcd941519e222f0110000003001000000640f162d960", {322, 182, 50}},
        SpsRow{"H.265 1080p",
               true,
               "420101016000000300900000030000030078a003c08010e596566924caf0168080000003008000000c84",
               {1920, 1080, 0}},
        SpsRow{"H.265 cropped both ways",
               true,
               "42010101600000030090000003000003003fa005020169d565959a4932bc05a02000000300200000030321",
               {638, 358, 0}},
        SpsRow{"H.265 10 bits",
               true,
               "42010102200000030090000003000003003fa005020171f2365959a4932bc05a020000030002000003003210",
               {640, 362, 0}},
        SpsRow{"H.265 4:4:4",
               true,
               "4201020408000003009e0800000300003c000090014901739ef2cacc566924caf0168080000003008000000c84",
               {322, 182, 0}}));

TEST(Sps, TruncatedAnywhereBeforeTheSizeIsRefused)
{
    const auto nal = hex("67640028acd940780227e5c044000003000400000300c83c60c658");
    for (size_t n = 0; n < 8; ++n)
        EXPECT_FALSE(parseH264Sps(nal.data(), n)) << n;
    const auto nal265 = test::kSps265;
    for (size_t n = 0; n < 20; ++n)
        EXPECT_FALSE(parseH265Sps(nal265.data(), n)) << n;
}

TEST(Sps, AnotherUnitIsNone)
{
    EXPECT_FALSE(parseH264Sps(test::kPps.data(), test::kPps.size()));
    EXPECT_FALSE(parseH265Sps(test::kPps265.data(), test::kPps265.size()));
}

TEST(Sps, AbsurdSizesAreRefused)
{
    // Width and height as Exp-Golomb numbers of 31 leading zeros.
    const auto nal = hex("6742001ef8 00000001ffffffff 00000001ffffffff 80");
    EXPECT_FALSE(parseH264Sps(nal.data(), nal.size()));
}

TEST(Sps, EmulationPreventionIsTakenOut)
{
    const auto raw = hex("0000030100000303");
    EXPECT_EQ(unescape(raw.data(), raw.size()), hex("000001000003"));
}

TEST(BitReader, ReadsZerosPastTheEndAndSaysSo)
{
    const uint8_t byte = 0xA5;
    BitReader r(&byte, 1);
    EXPECT_EQ(r.bits(4), 0xAu);
    EXPECT_EQ(r.bits(8), 0x50u);
    EXPECT_TRUE(r.overrun());
    EXPECT_EQ(r.ue(), 0u);
}

TEST(BitReader, ExpGolomb)
{
    const auto bytes = hex("a6428e4b"); // 1 010 011 00100 00101 00011 1001 ...
    BitReader r(bytes.data(), bytes.size());
    EXPECT_EQ(r.ue(), 0u);
    EXPECT_EQ(r.ue(), 1u);
    EXPECT_EQ(r.ue(), 2u);
    EXPECT_EQ(r.ue(), 3u);
}
