// The picture code survives what happens to pictures: compression, scaling down, conversion to RGB.
#include "PictureCode.h"
#include "ScenePainter.h"
#include "VideoEncoder.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

using namespace lumo;
using namespace lumo::recorder;

TEST(PictureCode, EncodesTheFieldsWhereTheyBelong)
{
    const uint32_t bits = encodePictureCode({5, 0x1234});
    EXPECT_EQ(bits >> 30, 2u);
    EXPECT_EQ(bits >> 24 & 0x3F, 5u);
    EXPECT_EQ(bits >> 8 & 0xFFFF, 0x1234u);
    EXPECT_EQ(decodePictureCode(bits), (PictureCode{5, 0x1234}));
}

TEST(PictureCode, ChecksumIsCrc8OfThePolynomial07)
{
    // The polynomial's published check value is over "123456789"; over three bytes it was worked out by hand: 80 00 00.
    EXPECT_EQ(
        encodePictureCode({0, 0}) & 0xFF, 0x00u + [] {
            uint32_t remainder = 0x80000000u; // long division of 80 00 00 00 by 1 0000 0111
            for (int bit = 31; bit >= 8; --bit) {
                remainder ^= remainder >> bit & 1 ? 0x107u << (bit - 8) : 0;
            }
            return remainder;
        }());
}

TEST(PictureCode, EveryFlippedBitIsFound)
{
    const uint32_t bits = encodePictureCode({63, 65535});
    for (int bit = 0; bit < 32; ++bit) {
        EXPECT_FALSE(decodePictureCode(bits ^ (1u << bit))) << bit;
    }
}

TEST(PictureCode, BlackWhiteAndGreyCarryNone)
{
    for (const int luma : {16, 128, 235}) {
        const std::vector<uint8_t> plane(640 * 360, static_cast<uint8_t>(luma));
        EXPECT_FALSE(readPictureCodeLuma(plane.data(), 640, 640, 360)) << luma;
    }
}

TEST(PictureTime, EveryFlippedBitIsFound)
{
    const PictureTime time = 79657200004; // any
    const uint64_t bits = encodePictureTime(time);
    EXPECT_EQ(bits >> 48, 0u);
    EXPECT_EQ(decodePictureTime(bits), time);
    for (int bit = 0; bit < 48; ++bit) {
        EXPECT_FALSE(decodePictureTime(bits ^ (uint64_t{1} << bit))) << bit;
    }
}

TEST(PictureTime, TextIsTheDeviceClockToHundredths)
{
    EXPECT_EQ(pictureTimeText(0), "2000-01-01 00:00:00.00");
    EXPECT_EQ(pictureTimeText((366LL * 86400 + 10 * 3600 + 61) * 100 + 4), "2001-01-01 10:01:01.04");
}

TEST(PictureTime, StandsBesideTheCodeAtAnySize)
{
    for (const auto& [width, height] : {std::pair{640, 360}, {1280, 720}, {320, 176}, {160, 96}}) {
        std::vector<uint8_t> plane(static_cast<size_t>(width) * height, 120);
        const I420View view{plane.data(), nullptr, nullptr, width, 0, width, height};
        drawPictureStrip(view, {3, 44999});
        drawPictureTime(view, 79657200004);
        EXPECT_EQ(readPictureTimeLuma(plane.data(), width, width, height), 79657200004) << width;
        EXPECT_EQ(readPictureCodeLuma(plane.data(), width, width, height), (PictureCode{3, 44999})) << width;
        const RowSpan rows = pictureTimeRows(height);
        EXPECT_EQ(readPictureTimeLuma(plane.data() + static_cast<size_t>(rows.first) * width, width, width, height,
                                      rows.first),
                  79657200004);
        std::vector<uint8_t> bgrx;
        for (const uint8_t luma : plane) {
            bgrx.insert(bgrx.end(), {luma, luma, luma, 0});
        }
        EXPECT_EQ(readPictureTimeBgrx(bgrx.data(), 4 * width, width, height), 79657200004) << width;
    }
}

TEST(PictureTime, ALiveSceneCarriesNone)
{
    ScenePainter painter(0, {640, 360});
    painter.paint(7);
    EXPECT_FALSE(readPictureTimeLuma(painter.y(), painter.strideY(), 640, 360));
}

TEST(PictureCode, APictureTooSmallForTheStripCarriesNone)
{
    const std::vector<uint8_t> plane(15 * 9 * 4, 255);
    EXPECT_FALSE(readPictureCodeLuma(plane.data(), 15, 15, 9));
    EXPECT_FALSE(readPictureCodeBgrx(plane.data(), 60, 15, 9));
}

namespace
{

struct Picture {
    int width, height;
    std::vector<uint8_t> bgrx;
};

Picture toScreen(const AVFrame& frame, int width, int height, int filter)
{
    Picture out{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height * 4 + 64)};
    SwsContext* scaler = sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), width,
                                        height, AV_PIX_FMT_BGR0, filter, nullptr, nullptr, nullptr);
    uint8_t* planes[1] = {out.bgrx.data()};
    const int strides[1] = {width * 4};
    sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes, strides);
    sws_freeContext(scaler);
    return out;
}

void expectReadable(const AVFrame& frame, PictureCode code)
{
    EXPECT_EQ(readPictureCodeLuma(frame.data[0], frame.linesize[0], frame.width, frame.height), code);
    for (const auto& [width, height] : {std::pair(640, 360), {240, 135}, {120, 68}}) {
        for (const int filter : {SWS_BILINEAR, SWS_POINT, SWS_AREA}) {
            const Picture p = toScreen(frame, width, height, filter);
            EXPECT_EQ(readPictureCodeBgrx(p.bgrx.data(), width * 4, width, height), code) << width << " by " << filter;
            const RowSpan strip = pictureStripRows(height);
            EXPECT_EQ(
                readPictureCodeBgrx(p.bgrx.data() + strip.first * width * 4, width * 4, width, height, strip.first),
                code);
            const RowSpan one = pictureStripBand(height, 0, 3), two = pictureStripBand(height, 1, 3);
            EXPECT_EQ(readPictureBandsBgrx(p.bgrx.data() + one.first * width * 4, p.bgrx.data() + two.first * width * 4,
                                           width * 4, width, std::min(one.count, two.count)),
                      code)
                << width << " by " << filter;
        }
    }
}

class PictureCodeThroughCodec : public testing::TestWithParam<Codec>
{
};

} // namespace

TEST_P(PictureCodeThroughCodec, IsReadAtFullSizeAndScaledDown)
{
    constexpr int kChannel = 41, kFirst = 990, kCount = 30;
    const PictureSize size{640, 360};
    ScenePainter painter(kChannel, size);
    VideoEncoder encoder(GetParam(), size, 25);
    for (int i = 0; i < kCount; ++i) {
        painter.paint(kFirst + i);
        const uint8_t* planes[3] = {painter.y(), painter.u(), painter.v()};
        const int strides[3] = {painter.strideY(), painter.strideUV(), painter.strideUV()};
        encoder.encode(planes, strides);
    }
    const Clip clip = encoder.finish();
    ASSERT_EQ(clip.frames.size(), static_cast<size_t>(kCount));

    const AVCodecID id = GetParam() == Codec::H264   ? AV_CODEC_ID_H264
                         : GetParam() == Codec::H265 ? AV_CODEC_ID_HEVC
                                                     : AV_CODEC_ID_MJPEG;
    AVCodecContext* decoder = avcodec_alloc_context3(avcodec_find_decoder(id));
    decoder->flags |= AV_CODEC_FLAG_LOW_DELAY;
    decoder->thread_count = 1;
    ASSERT_EQ(avcodec_open2(decoder, nullptr, nullptr), 0);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    for (int i = 0; i < kCount; ++i) {
        const ClipFrame& unit = clip.frames[static_cast<size_t>(i)];
        av_new_packet(packet, static_cast<int>(unit.size));
        std::copy_n(clip.data.begin() + static_cast<ptrdiff_t>(unit.offset), unit.size, packet->data);
        ASSERT_EQ(avcodec_send_packet(decoder, packet), 0);
        ASSERT_EQ(avcodec_receive_frame(decoder, frame), 0) << "no picture without delay";
        EXPECT_EQ(unit.key != 0, frame->key_frame != 0);
        expectReadable(*frame, {kChannel, kFirst + i});
        av_packet_unref(packet);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
}

INSTANTIATE_TEST_SUITE_P(Codecs, PictureCodeThroughCodec, testing::Values(Codec::H264, Codec::H265, Codec::Mjpeg),
                         [](const auto& info) { return codecName(info.param); });
