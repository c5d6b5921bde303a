// A picture goes in, the right pixels stand on the window.
#include "Player.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

#include <atomic>
#include <map>

using namespace clip;
using lumo::VideoCodec;

namespace
{

constexpr Rgb kBlackRgb{0, 0, 0};

class ShowTest : public ScreenTest
{
protected:
    static int region(int port, LumoRect rect) { return LUMODEC_SetDisplayRegion(port, 0, &rect, 0, 1); }
};

TEST_F(ShowTest, PictureFillsTheWindowStretched)
{
    TestWindow window(200, 300);
    Player player(window.id());
    player.feed(quarters({}, kRed, kGreen, kBlue, kWhite));
    expectQuarters(window, 200, 300);
}

TEST_F(ShowTest, OddWindowSizesShowTheWholePicture)
{
    TestWindow window(321, 177);
    Player player(window.id());
    player.feed(quarters({}, kRed, kGreen, kBlue, kWhite));
    EXPECT_TRUE(shows(window, 319, 175, {255, 255, 255}));
    EXPECT_TRUE(shows(window, 1, 175, {0, 0, 255}));
    TestWindow speck(1, 1);
    Player small(speck.id());
    small.feed(solid({}, kRed));
    EXPECT_TRUE(shows(speck, 0, 0, {255, 0, 0}));
}

TEST_F(ShowTest, H265IsShown)
{
    TestWindow window(160, 120);
    Player player(window.id());
    Spec spec;
    spec.codec = VideoCodec::H265;
    player.feed(quarters(spec, kRed, kGreen, kBlue, kWhite));
    EXPECT_TRUE(shows(window, 40, 30, {255, 0, 0}));
    EXPECT_TRUE(shows(window, 120, 90, {255, 255, 255}));
}

TEST_F(ShowTest, MjpegIsShownInItsFullRange)
{
    TestWindow window(160, 120);
    Player player(window.id());
    Spec spec;
    spec.codec = VideoCodec::Mjpeg;
    player.feed(quarters(spec, {76, 85, 255}, {255, 128, 128}, {0, 128, 128}, {128, 128, 128}));
    EXPECT_TRUE(shows(window, 40, 30, {254, 0, 0}));
    EXPECT_TRUE(shows(window, 120, 30, {255, 255, 255}));
    EXPECT_TRUE(shows(window, 40, 90, {0, 0, 0}));
    EXPECT_TRUE(shows(window, 120, 90, {128, 128, 128}));
}

TEST_F(ShowTest, MjpegWithOtherChromaIsShown)
{
    for (const int form : {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P}) {
        TestWindow window(160, 120);
        Player player(window.id());
        Spec spec;
        spec.codec = VideoCodec::Mjpeg;
        spec.pixelFormat = form;
        player.feed(quarters(spec, {76, 85, 255}, {255, 128, 128}, {0, 128, 128}, {29, 255, 107}));
        EXPECT_TRUE(shows(window, 40, 30, {254, 0, 0}));
        EXPECT_TRUE(shows(window, 120, 90, {0, 0, 254}));
    }
}

TEST_F(ShowTest, TenBitPicturesAreShown)
{
    TestWindow window(160, 120);
    Player player(window.id());
    Spec spec;
    spec.codec = VideoCodec::H265;
    spec.pixelFormat = AV_PIX_FMT_YUV420P10LE;
    player.feed(quarters(spec, kRed, kGreen, kBlue, kWhite));
    EXPECT_TRUE(shows(window, 40, 30, {255, 0, 0}));
    EXPECT_TRUE(shows(window, 120, 90, {255, 255, 255}));
}

TEST_F(ShowTest, MatrixAndRangeAreTheStreamsOwn)
{
    // The same code for red under each matrix and range: what stands on the screen must be what that matrix makes of
    // it.
    struct Row {
        int space;
        bool full;
        Yuv code;
        Rgb shown;
    };
    const Row rows[] = {
        {AVCOL_SPC_SMPTE170M, false, {81, 90, 240}, {254, 0, 0}}, {AVCOL_SPC_BT709, false, {63, 102, 240}, {255, 1, 0}},
        {AVCOL_SPC_SMPTE170M, true, {76, 85, 255}, {254, 0, 0}},  {AVCOL_SPC_BT709, true, {54, 99, 255}, {254, 0, 0}},
        {AVCOL_SPC_BT709, false, {16, 128, 128}, {0, 0, 0}},      {AVCOL_SPC_BT709, true, {16, 128, 128}, {16, 16, 16}},
    };
    for (const Row& row : rows) {
        TestWindow window(64, 48);
        Player player(window.id());
        Spec spec;
        spec.colorSpace = row.space;
        spec.fullRange = row.full;
        player.feed(solid(spec, row.code));
        EXPECT_TRUE(shows(window, 32, 24, row.shown, 4)) << "space " << row.space << " full " << row.full;
    }
}

TEST_F(ShowTest, UnsaidMatrixIsBt709FromSevenHundredTwentyLinesOn)
{
    TestWindow window(64, 36);
    Player player(window.id());
    Spec spec;
    spec.width = 1280;
    spec.height = 720;
    player.feed(solid(spec, {63, 102, 240}));
    EXPECT_TRUE(shows(window, 32, 18, {255, 1, 0}, 4));
}

TEST_F(ShowTest, OriginalAspectHasBlackBarsAndComesAndGoes)
{
    TestWindow window(200, 300);
    Player player(window.id());
    player.feed(solid({}, kRed)); // 4:3, so 200x150 in the middle
    ASSERT_TRUE(shows(window, 100, 10, {255, 0, 0}));
    const int32_t on = 1, off = 0;
    EXPECT_EQ(LUMODEC_SetOriginalMode(player.port(), 0, &on), 1);
    EXPECT_TRUE(shows(window, 100, 10, kBlackRgb, 0));
    const Shot shot = window.shot();
    EXPECT_TRUE(shot.at(100, 73).near(kBlackRgb, 0));
    EXPECT_TRUE(shot.at(100, 77).near({255, 0, 0}));
    EXPECT_TRUE(shot.at(0, 150).near({255, 0, 0}));
    EXPECT_TRUE(shot.at(199, 150).near({255, 0, 0}));
    EXPECT_TRUE(shot.at(100, 223).near({255, 0, 0}));
    EXPECT_TRUE(shot.at(100, 227).near(kBlackRgb, 0));
    EXPECT_EQ(LUMODEC_SetOriginalMode(player.port(), 0, &off), 1);
    EXPECT_TRUE(shows(window, 100, 10, {255, 0, 0}));
}

TEST_F(ShowTest, OriginalAspectKnowsPixelsThatAreNotSquare)
{
    TestWindow window(400, 100);
    Player player(window.id());
    Spec spec;
    spec.width = 160;
    spec.height = 160;
    spec.sarNum = 2; // shown twice as wide as high: 200 of 400
    const int32_t on = 1;
    LUMODEC_SetOriginalMode(player.port(), 0, &on);
    player.feed(solid(spec, kRed));
    EXPECT_TRUE(shows(window, 105, 50, {255, 0, 0}));
    EXPECT_TRUE(shows(window, 295, 50, {255, 0, 0}));
    EXPECT_TRUE(shows(window, 95, 50, kBlackRgb));
    EXPECT_TRUE(shows(window, 305, 50, kBlackRgb));
}

TEST_F(ShowTest, DisplayRegionShowsExactlyThatPart)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(quarters({}, kRed, kGreen, kBlue, kWhite));
    ASSERT_TRUE(shows(window, 40, 30, {255, 0, 0}));
    EXPECT_EQ(region(player.port(), {4096, 0, 8192, 4096}), 1);
    EXPECT_TRUE(shows(window, 2, 117, {0, 255, 0}));
    EXPECT_TRUE(shows(window, 157, 2, {0, 255, 0}));
    // The middle half: the quarters meet in the window's middle again.
    EXPECT_EQ(region(player.port(), {2048, 2048, 6144, 6144}), 1);
    EXPECT_TRUE(shows(window, 70, 50, {255, 0, 0}));
    const Shot shot = window.shot();
    EXPECT_TRUE(shot.at(76, 30).near({255, 0, 0}));
    EXPECT_TRUE(shot.at(84, 30).near({0, 255, 0}, 12)) << shot.at(84, 30);
    EXPECT_TRUE(shot.at(2, 117).near({0, 0, 255}));
    EXPECT_EQ(LUMODEC_SetDisplayRegion(player.port(), 0, nullptr, 0, 0), 1);
    EXPECT_TRUE(shows(window, 157, 117, {255, 255, 255}));
}

TEST_F(ShowTest, DisplayRegionWithoutAreaIsRefused)
{
    TestWindow window(160, 120);
    Player player(window.id());
    EXPECT_EQ(region(player.port(), {4096, 0, 4096, 4096}), 0);
    EXPECT_EQ(region(player.port(), {5000, 0, 4096, 4096}), 0);
    EXPECT_EQ(region(player.port(), {8192, 0, 9000, 4096}), 0);
    EXPECT_EQ(LUMODEC_SetDisplayRegion(player.port(), 0, nullptr, 0, 1), 0);
    EXPECT_EQ(region(player.port(), {-100, -100, 9000, 9000}), 1);
}

TEST_F(ShowTest, ColourChangesInTheDirectionOfItsName)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(quarters({}, {90, 100, 160}, {160, 110, 140}, kGray, kWhite));
    ASSERT_TRUE(eventually([&] { return window.shot().at(150, 110).near({255, 255, 255}); }));
    const Shot neutral = window.shot();
    const auto after = [&](int b, int c, int s, int h) {
        EXPECT_EQ(LUMODEC_SetColor(player.port(), 0, b, c, s, h), 1);
        EXPECT_TRUE(eventually([&] { return !(window.shot() == neutral); }));
        const Shot shot = window.shot();
        LUMODEC_SetColor(player.port(), 0, 64, 64, 64, 64);
        EXPECT_TRUE(eventually([&] { return window.shot() == neutral; })) << "neutral leaves every pixel as it was";
        return shot;
    };
    const auto light = [](Rgb c) { return c.r + c.g + c.b; };
    const auto spread = [](Rgb c) { return std::max({c.r, c.g, c.b}) - std::min({c.r, c.g, c.b}); };
    const Rgb dark = neutral.at(40, 30), bright = neutral.at(120, 30);

    EXPECT_GT(light(after(90, 64, 64, 64).at(40, 30)), light(dark));
    EXPECT_LT(light(after(40, 64, 64, 64).at(40, 30)), light(dark));
    const Shot contrast = after(64, 110, 64, 64);
    EXPECT_LT(light(contrast.at(40, 30)), light(dark));
    EXPECT_GT(light(contrast.at(120, 30)), light(bright));
    EXPECT_GT(spread(after(64, 64, 110, 64).at(40, 30)), spread(dark));
    EXPECT_LE(spread(after(64, 64, 0, 64).at(40, 30)), 2);
    const Rgb turned = after(64, 64, 64, 128).at(40, 30); // half a turn: red becomes its opposite
    EXPECT_GT(dark.r, dark.b);
    EXPECT_LT(turned.r, turned.b);
}

TEST_F(ShowTest, ColourValuesAreKeptAndBounded)
{
    Player player;
    int32_t b = 0, c = 0, s = 0, h = 0;
    LUMODEC_SetColor(player.port(), 0, 10, 20, 30, 40);
    EXPECT_EQ(LUMODEC_GetColor(player.port(), 0, &b, &c, &s, &h), 1);
    EXPECT_EQ(b, 10);
    EXPECT_EQ(c, 20);
    EXPECT_EQ(s, 30);
    EXPECT_EQ(h, 40);
    LUMODEC_SetColor(player.port(), 0, -5, 500, INT32_MAX, INT32_MIN);
    LUMODEC_GetColor(player.port(), 0, &b, &c, &s, &h);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(c, 128);
    EXPECT_EQ(s, 128);
    EXPECT_EQ(h, 0);
    LUMODEC_SetColor(player.port(), 0, 64, 64, 64, 64);
}

TEST_F(ShowTest, FrameTimeIsThatOfTheShownPicture)
{
    TestWindow window(64, 48);
    Player player(window.id());
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 0);
    Spec spec;
    spec.utcMs = 1'700'000'123'000;
    player.feed(solid(spec, kRed));
    EXPECT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) == 1'700'000'123; }));
}

TEST_F(ShowTest, PicturesMarkedForDecodingOnlyAreNotShown)
{
    TestWindow window(160, 120);
    Player player(window.id());
    Spec spec;
    spec.flags = lumo::kFlagDecodeOnly;
    spec.frames = 3;
    spec.utcMs = 1'700'000'000'000;
    player.feed(solid(spec, kRed));
    spec.flags = 0;
    spec.frames = 1;
    spec.utcMs = 1'700'000'001'000;
    player.feed(solid(spec, kGreen));
    EXPECT_TRUE(shows(window, 80, 60, {0, 255, 0}));
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 1'700'000'001);
}

TEST_F(ShowTest, ManyPortsShowTheirOwnPictures)
{
    constexpr int kPorts = 8;
    const Yuv colors[] = {kRed, kGreen, kBlue, kWhite};
    const Rgb seen[] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
    std::vector<std::unique_ptr<TestWindow>> windows;
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < kPorts; ++i) {
        windows.push_back(std::make_unique<TestWindow>(80, 60));
        players.push_back(std::make_unique<Player>(windows.back()->id()));
    }
    for (int i = 0; i < kPorts; ++i)
        players[size_t(i)]->feed(solid({}, colors[i % 4]));
    // Windows lie over each other at the root; each is raised as it is looked at.
    for (int i = 0; i < kPorts; ++i) {
        windows[size_t(i)]->raise();
        EXPECT_TRUE(shows(*windows[size_t(i)], 40, 30, seen[i % 4])) << "port " << i;
    }
}

// ---- draw callback

struct Drawn {
    std::atomic<int> calls{0}, port{-1}, user{0}, width{0}, height{0}, stride{0};
    std::atomic<bool> barWasBlack{false};
    std::thread::id thread;
};
Drawn* g_drawn = nullptr;

void onDraw(int port, void* context, int32_t user)
{
    auto* cell = static_cast<LumoDrawSurface*>(context);
    g_drawn->port = port;
    g_drawn->user = user;
    g_drawn->width = cell->nWidth;
    g_drawn->height = cell->nHeight;
    g_drawn->stride = cell->nStride;
    g_drawn->thread = std::this_thread::get_id();
    g_drawn->barWasBlack = cell->pBits[0] == 0 && cell->pBits[1] == 0 && cell->pBits[2] == 0;
    for (int x = 0; x < cell->nWidth; ++x) { // the top line in yellow
        uint8_t* p = cell->pBits + 4 * x;
        p[0] = 0;
        p[1] = p[2] = 255;
    }
    ++g_drawn->calls;
}

TEST_F(ShowTest, DrawCallbackGetsTheWholeCellAndWhatItDrawsIsShown)
{
    Drawn drawn;
    g_drawn = &drawn;
    TestWindow window(200, 300);
    const int port = Player::freePort();
    EXPECT_EQ(LUMODEC_RegisterDrawCallback(port, onDraw, -77), 1); // before opening
    Player player(window.id(), Mode::Live, port);
    const int32_t on = 1;
    LUMODEC_SetOriginalMode(port, 0, &on);
    player.feed(solid({}, kRed));
    EXPECT_TRUE(shows(window, 100, 0, {255, 255, 0}, 0));
    EXPECT_TRUE(shows(window, 100, 150, {255, 0, 0}));
    EXPECT_TRUE(shows(window, 100, 20, kBlackRgb));
    EXPECT_EQ(drawn.port, port);
    EXPECT_EQ(drawn.user, -77);
    EXPECT_EQ(drawn.width, 200);
    EXPECT_EQ(drawn.height, 300);
    EXPECT_EQ(drawn.stride, 800);
    EXPECT_TRUE(drawn.barWasBlack);
    EXPECT_NE(drawn.thread, std::this_thread::get_id());
    player.feed(solid({}, kBlue));
    EXPECT_TRUE(shows(window, 100, 150, {0, 0, 255}));
    EXPECT_TRUE(drawn.barWasBlack) << "the bars are fresh for every picture";
    player.close();
}

TEST_F(ShowTest, CloseStreamDropsTheDrawCallback)
{
    Drawn drawn;
    g_drawn = &drawn;
    TestWindow window(64, 48);
    const int port = Player::freePort();
    LUMODEC_RegisterDrawCallback(port, onDraw, 1);
    {
        Player first(window.id(), Mode::Live, port);
    }
    Player second(window.id(), Mode::Live, port);
    second.feed(solid({}, kRed));
    EXPECT_TRUE(shows(window, 32, 0, {255, 0, 0}));
    EXPECT_EQ(drawn.calls, 0);
}

} // namespace
