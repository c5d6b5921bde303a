#include "Bmp.h"

#include "Files.h"
#include "Painter.h"

#include <cstdio>

namespace lumo
{
namespace
{

void put(std::vector<uint8_t>& out, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.push_back(uint8_t(value >> (8 * i)));
}

/// BITMAPFILEHEADER and BITMAPINFOHEADER: rows run from the bottom up, each padded to four bytes.
std::vector<uint8_t> header(int width, int height, uint32_t imageSize)
{
    std::vector<uint8_t> out = {'B', 'M'};
    put(out, 54 + imageSize, 4);
    put(out, 0, 4);
    put(out, 54, 4);
    put(out, 40, 4);
    put(out, uint32_t(width), 4);
    put(out, uint32_t(height), 4);
    put(out, 1, 2);
    put(out, 24, 2);
    put(out, 0, 4);
    put(out, imageSize, 4);
    put(out, 2835, 4); // 72 dots an inch
    put(out, 2835, 4);
    put(out, 0, 4);
    put(out, 0, 4);
    return out;
}

} // namespace

bool writeBmp(const AVFrame& frame, const std::string& path)
{
    const int width = frame.width, height = frame.height;
    std::vector<uint8_t> pixels(size_t(width) * size_t(height) * 4);
    Painter painter;
    if (!painter.paintWhole(frame, {pixels.data(), width, height, width * 4}))
        return false;

    const size_t rowSize = (size_t(width) * 3 + 3) / 4 * 4;
    FilePtr file = createFile(path);
    if (!file)
        return false;
    const auto head = header(width, height, uint32_t(rowSize * size_t(height)));
    bool good = std::fwrite(head.data(), head.size(), 1, file.get()) == 1;
    std::vector<uint8_t> row(rowSize, 0);
    for (int y = height - 1; good && y >= 0; --y) {
        const uint8_t* from = pixels.data() + size_t(y) * size_t(width) * 4;
        for (size_t x = 0; x < size_t(width); ++x, from += 4) {
            row[3 * x] = from[0];
            row[3 * x + 1] = from[1];
            row[3 * x + 2] = from[2];
        }
        good = std::fwrite(row.data(), row.size(), 1, file.get()) == 1;
    }
    good = std::fclose(file.release()) == 0 && good;
    if (!good)
        removeFile(path);
    return good;
}

} // namespace lumo
