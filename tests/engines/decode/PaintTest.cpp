// The painter alone: where exactly a part of a picture comes to lie, and that neutral colour changes nothing.
#include "Painter.h"
#include "Tint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>

using namespace lumo;

namespace
{

FramePtr picture(int width, int height, const std::function<uint8_t(int, int)>& luma)
{
    FramePtr frame = newFrame();
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = width;
    frame->height = height;
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->colorspace = AVCOL_SPC_SMPTE170M;
    EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            frame->data[0][y * frame->linesize[0] + x] = luma(x, y);
    for (int plane = 1; plane < 3; ++plane)
        for (int y = 0; y < (height + 1) / 2; ++y)
            std::fill_n(frame->data[plane] + y * frame->linesize[plane], (width + 1) / 2, uint8_t(128));
    return frame;
}

struct Canvas {
    Canvas(int w, int h) : width(w), height(h), bits(size_t(w) * size_t(h) * 4, 0x55) {}
    Surface surface() { return {bits.data(), width, height, width * 4}; }
    int gray(int x, int y) const { return bits[(size_t(y) * size_t(width) + size_t(x)) * 4 + 1]; }
    int width, height;
    std::vector<uint8_t> bits;
};

View part(int left, int top, int right, int bottom)
{
    View view;
    view.region = {left, top, right, bottom};
    return view;
}

using Size = std::tuple<int, int>;
class EdgeTest : public testing::TestWithParam<Size>
{
};

/// A picture black on the left and white from column `edge` on: whatever part is shown at whatever size, the edge must
/// come to lie where the part's geometry says.
TEST_P(EdgeTest, EdgeLiesWhereTheRegionSays)
{
    const auto [width, height] = GetParam();
    constexpr int kWidth = 640, kHeight = 360, kEdge = 333;
    const auto across = picture(kWidth, kHeight, [](int x, int) { return uint8_t(x < kEdge ? 0 : 255); });
    const auto down = picture(kWidth, kHeight, [](int, int y) { return uint8_t(y < 177 ? 0 : 255); });
    for (const LumoRect r : {LumoRect{0, 0, 8192, 8192}, LumoRect{1234, 777, 6543, 7001},
                             LumoRect{4001, 3801, 4777, 4555}, LumoRect{3, 5, 8189, 8187}}) {
        Painter painter;
        Canvas canvas(width, height);
        ASSERT_TRUE(painter.paint(*across, part(r.left, r.top, r.right, r.bottom), canvas.surface()));
        const double unitX = kWidth / 8192.0, unitY = kHeight / 8192.0;
        const double edgeX = (kEdge - r.left * unitX) / ((r.right - r.left) * unitX) * width;
        const double edgeY = (177 - r.top * unitY) / ((r.bottom - r.top) * unitY) * height;
        // The light of a line tells where the edge is to a fraction of a pixel.
        double dark = 0;
        for (int x = 0; x < width; ++x)
            dark += 1 - canvas.gray(x, height / 2) / 255.0;
        const double scale = width / ((r.right - r.left) * unitX);
        EXPECT_NEAR(dark, edgeX, std::max(0.6, r.left == 0 ? 0.5 * scale + 0.1 : 0.6)) << r.left << " to " << r.right;

        ASSERT_TRUE(painter.paint(*down, part(r.left, r.top, r.right, r.bottom), canvas.surface()));
        dark = 0;
        for (int y = 0; y < height; ++y)
            dark += 1 - canvas.gray(width / 2, y) / 255.0;
        const double scaleY = height / ((r.bottom - r.top) * unitY);
        EXPECT_NEAR(dark, edgeY, std::max(0.6, r.left == 0 ? 0.5 * scaleY + 0.1 : 0.6)) << r.top << " to " << r.bottom;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, EdgeTest,
                         testing::Values(Size{640, 360}, Size{320, 180}, Size{241, 137}, Size{480, 270},
                                         Size{1280, 720}, Size{91, 53}, Size{1111, 333}));

TEST(PaintTest, EverySizeIsPaintedToTheLastPixel)
{
    const auto white = picture(64, 48, [](int, int) { return uint8_t(255); });
    Painter painter;
    for (int width = 1; width < 70; width += 3)
        for (int height = 1; height < 70; height += 3) {
            Canvas canvas(width, height);
            ASSERT_TRUE(painter.paint(*white, View(), canvas.surface()));
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    ASSERT_GE(canvas.gray(x, y), 252) << width << "x" << height << " at " << x << "," << y;
        }
}

TEST(PaintTest, SmallestRegionsAreTaken)
{
    const auto gray = picture(64, 48, [](int, int) { return uint8_t(100); });
    Painter painter;
    Canvas canvas(480, 270);
    for (const LumoRect r : {LumoRect{0, 0, 1, 1}, LumoRect{8191, 8191, 8192, 8192}, LumoRect{0, 4000, 8192, 4001},
                             LumoRect{4095, 0, 4096, 8192}}) {
        ASSERT_TRUE(painter.paint(*gray, part(r.left, r.top, r.right, r.bottom), canvas.surface()));
        EXPECT_NEAR(canvas.gray(0, 0), 100, 2);
        EXPECT_NEAR(canvas.gray(479, 269), 100, 2);
    }
}

TEST(PaintTest, FarReductionKeepsTheLight)
{
    std::mt19937 random(1);
    const auto noise = picture(1920, 1080, [&](int, int) { return uint8_t(random() & 1 ? 255 : 0); });
    Painter painter;
    for (const Size& size : {Size{1, 1}, Size{3, 2}, Size{10, 600}, Size{900, 5}, Size{40, 30}}) {
        Canvas canvas(std::get<0>(size), std::get<1>(size));
        ASSERT_TRUE(painter.paint(*noise, View(), canvas.surface()));
        double sum = 0;
        for (int y = 0; y < canvas.height; ++y)
            for (int x = 0; x < canvas.width; ++x)
                sum += canvas.gray(x, y);
        EXPECT_NEAR(sum / (canvas.width * canvas.height), 127.5, 5) << canvas.width << "x" << canvas.height;
    }
}

TEST(PaintTest, PictureOfTheCellsSizeIsCopiedExactly)
{
    std::mt19937 random(2);
    const auto noise = picture(320, 200, [&](int, int) { return uint8_t(random()); });
    Painter painter;
    Canvas canvas(320, 200);
    ASSERT_TRUE(painter.paint(*noise, View(), canvas.surface()));
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 320; ++x)
            ASSERT_NEAR(canvas.gray(x, y), noise->data[0][y * noise->linesize[0] + x], 1);
}

TEST(PaintTest, UnknownFormLeavesTheSurface)
{
    FramePtr frame = newFrame();
    frame->format = AV_PIX_FMT_VAAPI;
    frame->width = frame->height = 16;
    Painter painter;
    Canvas canvas(16, 16);
    EXPECT_FALSE(painter.paint(*frame, View(), canvas.surface()));
    EXPECT_EQ(canvas.bits[0], 0x55);
}

TEST(TintTest, NeutralLeavesEveryValue)
{
    for (int i = 0; i < 256; ++i) {
        uint8_t y = uint8_t(i), u = uint8_t(i), v = uint8_t(255 - i);
        tintLuma(&y, 1, ColorLevels());
        tintChroma(&u, &v, 1, ColorLevels());
        EXPECT_EQ(y, i);
        EXPECT_EQ(u, i);
        EXPECT_EQ(v, 255 - i);
    }
}

TEST(TintTest, ExtremesStayInRangeAndKeepTheMiddle)
{
    uint8_t y = 128, u = 128, v = 128;
    tintLuma(&y, 1, {64, 128, 64, 64});
    tintChroma(&u, &v, 1, {64, 64, 128, 0});
    EXPECT_EQ(y, 128);
    EXPECT_EQ(u, 128);
    EXPECT_EQ(v, 128);
    uint8_t dark = 10, light = 250;
    tintLuma(&dark, 1, {0, 64, 64, 64});
    tintLuma(&light, 1, {128, 64, 64, 64});
    EXPECT_EQ(dark, 0);
    EXPECT_EQ(light, 255);
}

} // namespace
