// The mark in every picture of the recorder: channel and frame number, for people and for programs.
//
// People read a line of text in the upper left corner. Programs read a strip at the bottom: from 0.8 to 1.0 of the
// height, two rows of 16 cells over the full width, white for 1 and black for 0, most significant bit first:
//   bits 31..30  10 (sync)    29..24 channel from 0    23..8 frame number in the loop    7..0 CRC-8 (0x07, init 0)
// A recorded picture also says when it was taken, on the device's own clock: a second line of text, and a second strip
// from 0.60 to 0.78 of the height, three rows of 16 cells:
//   bits 47..46  01 (sync)    45..8 hundredths of a second since 2000-01-01 00:00    7..0 CRC-8 (0x07, init 0)
// Thread: pure functions. No dependencies. Units: pixels; luma in video range (16..235).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumo
{

struct PictureCode {
    int channel = 0; // 0..63
    int frame = 0;   // 0..65535, number in the loop

    bool operator==(const PictureCode&) const = default;
};

/// Planes of a picture to draw on. u and v may be null: then only the luma is drawn.
struct I420View {
    uint8_t* y = nullptr;
    uint8_t* u = nullptr;
    uint8_t* v = nullptr;
    int strideY = 0;
    int strideUV = 0;
    int width = 0;
    int height = 0;
};

/// A span of rows inside a picture: first row and how many.
struct RowSpan {
    int first = 0;
    int count = 0;
};

uint32_t encodePictureCode(PictureCode code);
/// Nothing when sync or checksum do not fit.
std::optional<PictureCode> decodePictureCode(uint32_t bits);

void drawPictureStrip(const I420View& picture, PictureCode code);
/// "CH 01  FRAME 00123"; the channel counts from 1 here, as people do.
void drawPictureText(const I420View& picture, PictureCode code);

/// The rows of a picture of this height that a reader of the strip touches.
RowSpan pictureStripRows(int height);

/// Reads the strip of a width x height picture. `rows` points to row `firstRow` of it; the rows of
/// pictureStripRows() must be there. strideBytes is the distance of two rows.
std::optional<PictureCode> readPictureCodeLuma(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow = 0);
/// The same from pixels of four bytes, blue first (what an X server gives at depth 24).
std::optional<PictureCode> readPictureCodeBgrx(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow = 0);

/// For those to whom each pixel costs: a band of a few lines in the middle of one row of the strip (row 0 or 1).
RowSpan pictureStripBand(int height, int row, int lines);
/// Reads the code from the two bands alone; each points to its first pixel and has `lines` lines.
std::optional<PictureCode> readPictureBandsBgrx(const uint8_t* band0, const uint8_t* band1, int strideBytes, int width,
                                                int lines);

/// When a picture was taken: hundredths of a second since 2000-01-01 00:00 on the device's own clock, 38 bits.
using PictureTime = int64_t;

uint64_t encodePictureTime(PictureTime time);
/// Nothing when sync or checksum do not fit.
std::optional<PictureTime> decodePictureTime(uint64_t bits);
/// "2025-03-29 10:00:00.04"
std::string pictureTimeText(PictureTime time);

/// The second strip, and the second line of text.
void drawPictureTime(const I420View& picture, PictureTime time);

inline constexpr int kPictureTimeRows = 3;
/// The rows of a picture of this height that a reader of the second strip touches.
RowSpan pictureTimeRows(int height);
/// As readPictureCodeLuma and readPictureCodeBgrx.
std::optional<PictureTime> readPictureTimeLuma(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow = 0);
std::optional<PictureTime> readPictureTimeBgrx(const uint8_t* rows, int strideBytes, int width, int height,
                                               int firstRow = 0);

} // namespace lumo
