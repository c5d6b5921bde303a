// A display region on a picture whose every edge is known: whatever the region, the window's size and the way the
// picture came, each edge of the picture must stand on the window within a pixel of where the region's geometry puts
// it.
#include "Recordings.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <cmath>
#include <memory>
#include <sstream>

using namespace clip;

namespace
{

constexpr int kWidth = 640, kHeight = 480;
constexpr double kUnits = 8192;
const std::vector<int> kColumns{18, 54, 96, 160, 232, 290, 334, 420, 488, 556, 610}; // where black and white change
const std::vector<int> kRows{22, 70, 110, 176, 238, 300, 352, 410, 452};

/// A chessboard whose fields have the borders above.
std::vector<Unit> chessboard(int frames)
{
    Spec spec;
    spec.width = kWidth;
    spec.height = kHeight;
    spec.frames = frames;
    spec.keyEvery = 1;
    return encode(spec, [](int, AVFrame& frame) {
        fill(frame, 0, 0, kWidth, kHeight, kBlack);
        const auto fieldEnds = [](std::vector<int> borders, int end) {
            borders.push_back(end);
            return borders;
        };
        int top = 0;
        bool rowIsWhite = false;
        for (const int bottom : fieldEnds(kRows, kHeight)) {
            int left = 0;
            bool white = rowIsWhite;
            for (const int right : fieldEnds(kColumns, kWidth)) {
                if (white)
                    fill(frame, left, top, right - left, bottom - top, kWhite);
                left = right;
                white = !white;
            }
            top = bottom;
            rowIsWhite = !rowIsWhite;
        }
    });
}

/// Where the borders come to lie on so many pixels that show the part from `from` to `to`, in units.
std::vector<double> placesOf(const std::vector<int>& borders, int size, int from, int to, int pixels)
{
    std::vector<double> places;
    for (const int border : borders) {
        const double place = (border * kUnits / size - from) / (to - from) * pixels;
        if (place > 2 && place < pixels - 2)
            places.push_back(place);
    }
    return places;
}

/// Where the light crosses the middle, two pixels off the ends left out.
std::vector<double> edgesOf(const std::vector<int>& light)
{
    std::vector<double> edges;
    for (size_t i = 2; i + 3 < light.size(); ++i) {
        const int a = light[i] - 128, b = light[i + 1] - 128;
        if ((a < 0) != (b < 0))
            edges.push_back(double(i) + 0.5 + double(a) / (a - b));
    }
    return edges;
}

/// In the middle of the widest gap between borders, so that the line of view crosses none of them.
int freeLine(std::vector<double> places, int pixels)
{
    places.insert(places.begin(), 0);
    places.push_back(pixels);
    size_t widest = 1;
    for (size_t i = 1; i < places.size(); ++i) {
        if (places[i] - places[i - 1] > places[widest] - places[widest - 1])
            widest = i;
    }
    return int((places[widest] + places[widest - 1]) / 2);
}

testing::AssertionResult fit(const std::vector<double>& edges, const std::vector<double>& places)
{
    bool fits = edges.size() == places.size();
    for (size_t i = 0; fits && i < edges.size(); ++i)
        fits = std::abs(edges[i] - places[i]) <= 1.0;
    if (fits)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "edges at " << testing::PrintToString(edges) << " and not at "
                                       << testing::PrintToString(places);
}

testing::AssertionResult showsRegion(const TestWindow& window, const LumoRect& rc)
{
    const Shot shot = window.shot();
    if (shot.width < 1)
        return testing::AssertionFailure() << "no picture of the window";
    const auto columns = placesOf(kColumns, kWidth, rc.left, rc.right, shot.width);
    const auto rows = placesOf(kRows, kHeight, rc.top, rc.bottom, shot.height);
    const int lineY = freeLine(rows, shot.height), lineX = freeLine(columns, shot.width);
    std::vector<int> across, down;
    for (int x = 0; x < shot.width; ++x)
        across.push_back(shot.at(x, lineY).g);
    for (int y = 0; y < shot.height; ++y)
        down.push_back(shot.at(lineX, y).g);
    const auto fitsAcross = fit(edgesOf(across), columns);
    return fitsAcross ? fit(edgesOf(down), rows) : fitsAcross;
}

enum class Source { Live, Pushed, File };

/// The chessboard, shown the way that a source is.
class Shown
{
public:
    Shown(Source source, LumoWindow window)
    {
        if (source == Source::File) {
            const auto path = m_folder / "board.h265x";
            recordings::writeFile(path, recordings::joined(chessboard(2)));
            m_file = std::make_unique<FilePlayer>(path, window);
        } else {
            m_pushed = std::make_unique<Player>(window, source == Source::Live ? Mode::Live : Mode::Playback);
            m_pushed->feed(chessboard(2));
        }
    }
    int port() const { return m_file ? m_file->port() : m_pushed->port(); }

private:
    TempFolder m_folder;
    std::unique_ptr<FilePlayer> m_file;
    std::unique_ptr<Player> m_pushed;
};

class RegionTest : public testing::TestWithParam<Source>
{
};

TEST_P(RegionTest, ShowsExactlyThatPartWithinAPixel)
{
    for (const auto [width, height] : {std::pair(318, 238), std::pair(640, 480), std::pair(241, 137)}) {
        TestWindow window(width, height);
        const Shown shown(GetParam(), window.id());
        EXPECT_TRUE(eventually([&] {
            return bool(showsRegion(window, {0, 0, 8192, 8192}));
        })) << showsRegion(window, {0, 0, 8192, 8192}).message();
        for (const LumoRect rc :
             {LumoRect{2048, 2048, 6144, 6144}, LumoRect{1234, 777, 6543, 7001}, LumoRect{4001, 3801, 4777, 4555},
              LumoRect{0, 4096, 4096, 8192}, LumoRect{3, 5, 8189, 8187}}) {
            ASSERT_EQ(LUMODEC_SetDisplayRegion(shown.port(), 0, &rc, 0, 1), 1);
            EXPECT_TRUE(eventually([&] { return bool(showsRegion(window, rc)); }))
                << width << "x" << height << ", " << rc.left << "," << rc.top << " to " << rc.right << "," << rc.bottom
                << ": " << showsRegion(window, rc).message();
        }
        ASSERT_EQ(LUMODEC_SetDisplayRegion(shown.port(), 0, nullptr, 0, 0), 1);
        EXPECT_TRUE(eventually([&] { return bool(showsRegion(window, {0, 0, 8192, 8192})); }));
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, RegionTest, testing::Values(Source::Live, Source::Pushed, Source::File),
                         [](const auto& row) {
                             return row.param == Source::Live     ? "Live"
                                    : row.param == Source::Pushed ? "Pushed"
                                                                  : "File";
                         });

/// Steps of electronic PTZ may lead anywhere.
TEST(RegionLimitsTest, RegionsAtTheLimitsOfAnIntDoNoHarm)
{
    TestWindow window(160, 120);
    const Shown shown(Source::Live, window.id());
    EXPECT_TRUE(eventually([&] { return bool(showsRegion(window, {0, 0, 8192, 8192})); }));
    const int32_t limits[] = {INT32_MIN, INT32_MIN + 8192, -1, 0, 8192, INT32_MAX};
    for (const int32_t left : limits) {
        for (const int32_t right : limits) {
            const LumoRect rc{left, left, right, right};
            LUMODEC_SetDisplayRegion(shown.port(), 0, &rc, 0, 1);
        }
    }
    const LumoRect middle{2048, 2048, 6144, 6144};
    EXPECT_EQ(LUMODEC_SetDisplayRegion(shown.port(), 0, &middle, 0, 1), 1);
    EXPECT_TRUE(eventually([&] { return bool(showsRegion(window, middle)); }));
}

} // namespace
