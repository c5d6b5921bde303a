#include "platform/SurfaceLine.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace
{

constexpr quint32 kBlue = 0xff0000;

/// A surface with a border that must stay as it is: lines wider than the picture, and one line more at each end.
class CCanvas
{
public:
    CCanvas(int nWidth, int nHeight)
        : m_nWidth(nWidth), m_nHeight(nHeight), m_nStride((nWidth + 3) * 4),
          m_bytes(size_t(m_nStride) * size_t(nHeight + 2), 0x55)
    {
        for (int y = 0; y < nHeight; ++y)
            std::memset(row(y), 0, size_t(nWidth) * 4);
    }

    void line(int nFromX, int nFromY, int nToX, int nToY, int nWidth = 4, quint32 nColor = kBlue)
    {
        const LumoDrawSurface surface{row(0), m_nWidth, m_nHeight, m_nStride};
        platform::drawSurfaceLine(surface, nFromX, nFromY, nToX, nToY, nWidth, nColor);
    }

    quint32 at(int x, int y)
    {
        quint32 nPixel = 0;
        std::memcpy(&nPixel, row(y) + x * 4, 4);
        return nPixel;
    }

    /// '#' for drawn pixels, rows parted by '/'.
    std::string text()
    {
        std::string strText;
        for (int y = 0; y < m_nHeight; ++y) {
            for (int x = 0; x < m_nWidth; ++x)
                strText += at(x, y) ? '#' : '.';
            strText += '/';
        }
        return strText;
    }

    int count()
    {
        int nCount = 0;
        for (const char c : text())
            nCount += c == '#';
        return nCount;
    }

    bool isBorderIntact()
    {
        for (int y = -1; y <= m_nHeight; ++y) {
            const bool bInside = y >= 0 && y < m_nHeight;
            for (int i = bInside ? m_nWidth * 4 : 0; i < m_nStride; ++i)
                if (row(y)[i] != 0x55)
                    return false;
        }
        return true;
    }

private:
    uint8_t* row(int y) { return m_bytes.data() + ptrdiff_t(m_nStride) * (y + 1); }

    int m_nWidth, m_nHeight, m_nStride;
    std::vector<uint8_t> m_bytes;
};

} // namespace

TEST(SurfaceLine, LevelLineIsAsWideAsItsPenWithRoundEnds)
{
    CCanvas canvas(10, 6);
    canvas.line(3, 3, 7, 3);
    EXPECT_EQ(canvas.text(), "........../"
                             "..######../"
                             ".########./"
                             ".########./"
                             "..######../"
                             "........../");
}

TEST(SurfaceLine, UprightLineIsAsWideAsItsPen)
{
    CCanvas canvas(6, 20);
    canvas.line(3, 5, 3, 15);
    for (int y = 5; y < 15; ++y)
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(canvas.at(x, y) != 0, x >= 1 && x <= 4) << x << "," << y;
}

TEST(SurfaceLine, SlantedLineIsAsWideAsItsPenAllAlong)
{
    CCanvas canvas(200, 200);
    canvas.line(20, 20, 180, 140); // 200 long
    EXPECT_NEAR(canvas.count(), 200 * 4 + 12, 20);
    for (int i = 0; i <= 40; ++i)
        EXPECT_NE(canvas.at(20 + i * 4, 20 + i * 3), 0u) << i;
}

TEST(SurfaceLine, BothDirectionsAreTheSameLine)
{
    CCanvas there(100, 80), back(100, 80);
    there.line(7, 3, 91, 66);
    back.line(91, 66, 7, 3);
    EXPECT_EQ(there.text(), back.text());
}

TEST(SurfaceLine, LineWithoutALengthIsADot)
{
    CCanvas canvas(6, 6);
    canvas.line(3, 3, 3, 3);
    EXPECT_EQ(canvas.text(), "....../"
                             "..##../"
                             ".####./"
                             ".####./"
                             "..##../"
                             "....../");
}

TEST(SurfaceLine, ColourIsTurnedFromBlueGreenRed)
{
    CCanvas canvas(6, 6);
    canvas.line(3, 3, 3, 3, 4, 0x112233);
    EXPECT_EQ(canvas.at(3, 3) & 0xffffff, 0x332211u);
}

TEST(SurfaceLine, LineIsCutAtEachEdge)
{
    CCanvas canvas(40, 30);
    canvas.line(-10, -10, 60, 60);
    canvas.line(-10, 29, 60, 29);
    canvas.line(39, -10, 39, 60);
    EXPECT_TRUE(canvas.isBorderIntact());
    EXPECT_NE(canvas.at(0, 0), 0u);
    EXPECT_NE(canvas.at(0, 29), 0u);
    EXPECT_NE(canvas.at(39, 0), 0u);
}

TEST(SurfaceLine, LineOutsideDrawsNothing)
{
    CCanvas canvas(40, 30);
    canvas.line(-10, -10, 60, -10);
    canvas.line(-10, 40, 60, 40);
    canvas.line(-10, -10, -10, 60);
    canvas.line(50, -10, 50, 60);
    canvas.line(3, 3, 20, 20, 0);
    EXPECT_EQ(canvas.count(), 0);
    EXPECT_TRUE(canvas.isBorderIntact());
}

TEST(SurfaceLine, LimitsOfAnIntAreDrawnAtOnce)
{
    CCanvas canvas(40, 30);
    canvas.line(INT_MIN, 15, INT_MAX, 15);
    EXPECT_EQ(canvas.count(), 40 * 4);
    const int limits[] = {INT_MIN, INT_MIN + 1, -1, 0, INT_MAX};
    for (const int a : limits)
        for (const int b : limits)
            for (const int c : limits)
                for (const int d : limits)
                    canvas.line(a, b, c, d);
    EXPECT_TRUE(canvas.isBorderIntact());
}

TEST(SurfaceLine, SurfaceWithoutPixelsIsLeftAlone)
{
    const LumoDrawSurface surface{nullptr, 0, 0, 0};
    platform::drawSurfaceLine(surface, 0, 0, 100, 100, 4, kBlue);
}
