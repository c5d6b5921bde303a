#include "PictureCode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace lumo
{
namespace
{

constexpr int kColumns = 16;
constexpr int kRows = 2;

// Where a strip stands, in thousandths of the height, and how many rows of cells it has.
struct StripPlace {
    int top, size, rows;
};
constexpr StripPlace kCodeStrip{800, 200, kRows};
constexpr StripPlace kTimeStrip{600, 180, kPictureTimeRows};
constexpr uint64_t kTimeBits = (uint64_t{1} << 38) - 1;
constexpr uint8_t kWhite = 235;
constexpr uint8_t kBlack = 16;
constexpr uint8_t kNeutral = 128;

uint8_t crc8(uint64_t bits, int count)
{
    uint8_t crc = 0;
    for (int shift = count - 8; shift >= 0; shift -= 8) {
        crc ^= static_cast<uint8_t>(bits >> shift);
        for (int bit = 0; bit < 8; ++bit) {
            crc = static_cast<uint8_t>(crc & 0x80 ? (crc << 1) ^ 0x07 : crc << 1);
        }
    }
    return crc;
}

// Edges of cell number `index` of `count` that start at `from` and fill `size`, all in thousandths of `whole`.
int edge(int whole, int fromThousandths, int sizeThousandths, int index, int count)
{
    return static_cast<int>(
        (static_cast<int64_t>(whole) * (static_cast<int64_t>(fromThousandths) * count + sizeThousandths * index) +
         500LL * count) /
        (1000LL * count));
}

int columnEdge(int width, int column)
{
    return edge(width, 0, 1000, column, kColumns);
}
int rowEdge(int height, int row, const StripPlace& place = kCodeStrip)
{
    return edge(height, place.top, place.size, row, place.rows);
}

void fill(const I420View& p, int left, int top, int right, int bottom, uint8_t luma)
{
    for (int y = top; y < bottom; ++y) {
        std::memset(p.y + static_cast<ptrdiff_t>(y) * p.strideY + left, luma, static_cast<size_t>(right - left));
    }
    if (!p.u || !p.v) {
        return;
    }
    const int chromaRight = std::min((right + 1) / 2, (p.width + 1) / 2);
    const int chromaBottom = std::min((bottom + 1) / 2, (p.height + 1) / 2);
    for (int y = top / 2; y < chromaBottom; ++y) {
        std::memset(p.u + static_cast<ptrdiff_t>(y) * p.strideUV + left / 2, kNeutral, chromaRight - left / 2);
        std::memset(p.v + static_cast<ptrdiff_t>(y) * p.strideUV + left / 2, kNeutral, chromaRight - left / 2);
    }
}

struct Glyph {
    char letter;
    uint8_t rows[7]; // five bits each, most significant left
};

constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}}, {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}}, {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'A', {0x0E, 0x11, 0x11, 0x11, 0x1F, 0x11, 0x11}}, {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}}, {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
};

void drawGlyph(const I420View& p, char letter, int left, int top, int dot)
{
    const auto* glyph = std::find_if(std::begin(kFont), std::end(kFont), [&](auto& g) { return g.letter == letter; });
    if (glyph == std::end(kFont)) {
        return;
    }
    for (int row = 0; row < 7; ++row) {
        for (int column = 0; column < 5; ++column) {
            const int x = left + column * dot;
            const int y = top + row * dot;
            if ((glyph->rows[row] >> (4 - column) & 1) && x + dot <= p.width && y + dot <= p.height) {
                fill(p, x, y, x + dot, y + dot, kWhite);
            }
        }
    }
}

struct LumaAt {
    const uint8_t* rows;
    int stride;
    int operator()(int x, int y) const { return rows[static_cast<ptrdiff_t>(y) * stride + x]; }
};

struct BgrxAt {
    const uint8_t* rows;
    int stride;
    int operator()(int x, int y) const
    {
        const uint8_t* p = rows + static_cast<ptrdiff_t>(y) * stride + 4 * x;
        return (29 * p[0] + 150 * p[1] + 77 * p[2]) >> 8;
    }
};

// Mean of the middle half of a cell: its rim is smeared by compression and scaling.
template <typename PixelAt>
int cellMean(const PixelAt& at, int width, int height, const StripPlace& place, int row, int column, int firstRow)
{
    const int left = columnEdge(width, column), right = columnEdge(width, column + 1);
    const int top = rowEdge(height, row, place), bottom = rowEdge(height, row + 1, place);
    const int insetX = (right - left) / 4, insetY = (bottom - top) / 4;
    int sum = 0, count = 0;
    // A patch of about 8 x 8 points is enough, whatever the picture's size.
    const int stepX = std::max(1, (right - left) / 16), stepY = std::max(1, (bottom - top) / 16);
    for (int y = top + insetY; y < bottom - insetY; y += stepY) {
        for (int x = left + insetX; x < right - insetX; x += stepX) {
            sum += at(x, y - firstRow);
            ++count;
        }
    }
    return count ? sum / count : 0;
}

template <typename PixelAt>
std::optional<uint64_t> readBits(const PixelAt& at, int width, int height, const StripPlace& place, int firstRow)
{
    if (width < kColumns || height < 10) {
        return std::nullopt;
    }
    uint64_t bits = 0;
    for (int row = 0; row < place.rows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            bits = bits << 1 | (cellMean(at, width, height, place, row, column, firstRow) >= 128 ? 1 : 0);
        }
    }
    return bits;
}

template <typename PixelAt> std::optional<PictureCode> readStrip(const PixelAt& at, int width, int height, int firstRow)
{
    const auto bits = readBits(at, width, height, kCodeStrip, firstRow);
    return bits ? decodePictureCode(static_cast<uint32_t>(*bits)) : std::nullopt;
}

template <typename PixelAt> std::optional<PictureTime> readTime(const PixelAt& at, int width, int height, int firstRow)
{
    const auto bits = readBits(at, width, height, kTimeStrip, firstRow);
    return bits ? decodePictureTime(*bits) : std::nullopt;
}

void drawStrip(const I420View& p, const StripPlace& place, uint64_t bits)
{
    for (int row = 0; row < place.rows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            const bool one = bits >> (place.rows * kColumns - 1 - row * kColumns - column) & 1;
            fill(p, columnEdge(p.width, column), rowEdge(p.height, row, place), columnEdge(p.width, column + 1),
                 rowEdge(p.height, row + 1, place), one ? kWhite : kBlack);
        }
    }
}

// One line of letters in the upper left corner, on black.
void drawLine(const I420View& p, const char* text, int line)
{
    const int length = static_cast<int>(std::strlen(text));
    const int dot = std::max(1, std::min(p.height / 120, p.width / (6 * (length + 2))));
    const int top = line * dot * 10;
    fill(p, 0, std::min(p.height, top), std::min(p.width, dot * (6 * length + 5)), std::min(p.height, top + dot * 13),
         kBlack);
    for (int i = 0; i < length; ++i) {
        drawGlyph(p, text[i], dot * (3 + 6 * i), top + dot * 3, dot);
    }
}

} // namespace

uint32_t encodePictureCode(PictureCode code)
{
    const uint32_t top24 =
        0x800000u | (static_cast<uint32_t>(code.channel) & 0x3F) << 16 | (static_cast<uint32_t>(code.frame) & 0xFFFF);
    return top24 << 8 | crc8(top24, 24);
}

std::optional<PictureCode> decodePictureCode(uint32_t bits)
{
    if (bits >> 30 != 2 || crc8(bits >> 8, 24) != (bits & 0xFF)) {
        return std::nullopt;
    }
    return PictureCode{static_cast<int>(bits >> 24 & 0x3F), static_cast<int>(bits >> 8 & 0xFFFF)};
}

void drawPictureStrip(const I420View& p, PictureCode code)
{
    drawStrip(p, kCodeStrip, encodePictureCode(code));
}

void drawPictureText(const I420View& p, PictureCode code)
{
    char text[32];
    std::snprintf(text, sizeof(text), "CH %02d  FRAME %05d", code.channel + 1, code.frame);
    drawLine(p, text, 0);
}

RowSpan pictureStripRows(int height)
{
    return {rowEdge(height, 0), rowEdge(height, kRows) - rowEdge(height, 0)};
}

std::optional<PictureCode> readPictureCodeLuma(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow)
{
    return readStrip(LumaAt{rows, strideBytes}, width, height, firstRow);
}

std::optional<PictureCode> readPictureCodeBgrx(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow)
{
    return readStrip(BgrxAt{rows, strideBytes}, width, height, firstRow);
}

RowSpan pictureStripBand(int height, int row, int lines)
{
    const int top = rowEdge(height, row), bottom = rowEdge(height, row + 1);
    const int count = std::max(1, std::min(lines, (bottom - top) / 2));
    return {top + (bottom - top - count) / 2, count};
}

std::optional<PictureCode> readPictureBandsBgrx(const uint8_t* band0, const uint8_t* band1, int strideBytes, int width,
                                                int lines)
{
    if (width < kColumns) {
        return std::nullopt;
    }
    uint32_t bits = 0;
    for (const uint8_t* band : {band0, band1}) {
        const BgrxAt at{band, strideBytes};
        for (int column = 0; column < kColumns; ++column) {
            const int left = columnEdge(width, column), right = columnEdge(width, column + 1);
            const int inset = (right - left) / 4;
            int sum = 0, count = 0;
            for (int y = 0; y < lines; ++y) {
                for (int x = left + inset; x < right - inset; ++x, ++count) {
                    sum += at(x, y);
                }
            }
            bits = bits << 1 | (sum >= 128 * count ? 1 : 0);
        }
    }
    return decodePictureCode(bits);
}

uint64_t encodePictureTime(PictureTime time)
{
    const uint64_t top40 = uint64_t{1} << 38 | (static_cast<uint64_t>(time) & kTimeBits);
    return top40 << 8 | crc8(top40, 40);
}

std::optional<PictureTime> decodePictureTime(uint64_t bits)
{
    if (bits >> 46 != 1 || crc8(bits >> 8, 40) != (bits & 0xFF)) {
        return std::nullopt;
    }
    return static_cast<PictureTime>(bits >> 8 & kTimeBits);
}

std::string pictureTimeText(PictureTime time)
{
    using namespace std::chrono;
    const int64_t inDay = time % 8640000;
    const year_month_day date{sys_days(year(2000) / 1 / 1) + days(time / 8640000)};
    char text[40];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02d:%02d:%02d.%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(inDay / 360000), static_cast<int>(inDay / 6000 % 60),
                  static_cast<int>(inDay / 100 % 60), static_cast<int>(inDay % 100));
    return text;
}

void drawPictureTime(const I420View& p, PictureTime time)
{
    drawStrip(p, kTimeStrip, encodePictureTime(time));
    drawLine(p, pictureTimeText(time).c_str(), 1);
}

RowSpan pictureTimeRows(int height)
{
    const int first = rowEdge(height, 0, kTimeStrip);
    return {first, rowEdge(height, kPictureTimeRows, kTimeStrip) - first};
}

std::optional<PictureTime> readPictureTimeLuma(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow)
{
    return readTime(LumaAt{rows, strideBytes}, width, height, firstRow);
}

std::optional<PictureTime> readPictureTimeBgrx(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow)
{
    return readTime(BgrxAt{rows, strideBytes}, width, height, firstRow);
}

} // namespace lumo
