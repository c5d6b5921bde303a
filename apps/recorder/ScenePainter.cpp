#include "ScenePainter.h"

#include "PictureCode.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace lumo::recorder
{
namespace
{

constexpr int kTile = 512; // a power of two: positions wrap by masking
constexpr int kGrain = 3;  // luma steps either way
constexpr double kTwoPi = 6.283185307179586;

// A triangle wave: there and back between 0 and span.
int bounce(int position, int span)
{
    const int turn = position % (2 * span);
    return turn < span ? turn : 2 * span - turn;
}

} // namespace

ScenePainter::ScenePainter(int channel, PictureSize size)
    : m_channel(channel), m_size(size), m_y(static_cast<size_t>(size.width) * size.height), m_u(m_y.size() / 4),
      m_v(m_y.size() / 4)
{
    m_near = makeTexture(1, kGrain);
    m_far = makeTexture(3, kGrain);
}

// Waves that fit the tile without a seam, and a little grain so that the encoder has real work.
std::vector<uint8_t> ScenePainter::makeTexture(int waves, int grain) const
{
    std::minstd_rand random(static_cast<unsigned>(m_channel * 7 + waves));
    const int pitch = kTile + m_size.width;
    std::vector<uint8_t> texture(static_cast<size_t>(pitch) * kTile);
    const double kx = (waves + m_channel % 5) * kTwoPi / kTile, ky = (waves + 1 + m_channel % 3) * kTwoPi / kTile;
    for (int row = 0; row < kTile; ++row) {
        uint8_t* line = texture.data() + static_cast<size_t>(pitch) * row;
        for (int column = 0; column < kTile; ++column) {
            const double wave = std::sin(kx * column) + std::sin(ky * row) + std::sin(3 * kx * column + 2 * ky * row);
            const int noise = static_cast<int>(random() % static_cast<unsigned>(2 * grain + 1)) - grain;
            line[column] = static_cast<uint8_t>(120 + 28 * wave + noise);
        }
        for (int column = kTile; column < pitch; ++column) {
            line[column] = line[column - kTile];
        }
    }
    return texture;
}

void ScenePainter::paintTexture(int frame)
{
    const int stepX = 1 + m_channel % 4, stepY = m_channel / 4 % 3 - 1;
    const int pitch = kTile + m_size.width;
    const int leftNear = frame * stepX & (kTile - 1), leftFar = -frame & (kTile - 1);
    for (int row = 0; row < m_size.height; ++row) {
        const uint8_t* near =
            m_near.data() + static_cast<size_t>(pitch) * ((row + frame * stepY) & (kTile - 1)) + leftNear;
        const uint8_t* far = m_far.data() + static_cast<size_t>(pitch) * ((row - frame) & (kTile - 1)) + leftFar;
        uint8_t* out = m_y.data() + static_cast<size_t>(m_size.width) * row;
        if (row < m_size.height * 3 / 10 || row >= m_size.height * 55 / 100) {
            std::memcpy(out, near, static_cast<size_t>(m_size.width));
            continue;
        }
        for (int column = 0; column < m_size.width; ++column) {
            out[column] = static_cast<uint8_t>((near[column] + far[column]) / 2);
        }
    }
    const double hue = m_channel * 0.618034 * kTwoPi; // the golden angle keeps neighbours apart
    std::fill(m_u.begin(), m_u.end(), static_cast<uint8_t>(128 + 45 * std::cos(hue)));
    std::fill(m_v.begin(), m_v.end(), static_cast<uint8_t>(128 + 45 * std::sin(hue)));
}

void ScenePainter::paintDisc(int frame)
{
    const int radius = std::max(4, m_size.height / 12);
    const int spanX = std::max(1, m_size.width - 2 * radius), spanY = std::max(1, m_size.height * 3 / 4 - 2 * radius);
    const int centreX = radius + bounce(frame * m_size.width / 110 + m_channel * 37, spanX);
    const int centreY = radius + bounce(frame * m_size.height / 90 + m_channel * 23, spanY);
    for (int dy = -radius; dy < radius; ++dy) {
        const int row = centreY + dy;
        const int half = static_cast<int>(std::sqrt(static_cast<double>(radius * radius - dy * dy)));
        if (row >= 0 && row < m_size.height) {
            const int left = std::clamp(centreX - half, 0, m_size.width),
                      right = std::clamp(centreX + half, 0, m_size.width);
            std::memset(m_y.data() + static_cast<size_t>(m_size.width) * row + left, 220,
                        static_cast<size_t>(right - left));
        }
    }
}

void ScenePainter::paint(int frame)
{
    paintTexture(frame);
    paintDisc(frame);
    const I420View view{m_y.data(),       m_u.data(),   m_v.data(),   m_size.width,
                        m_size.width / 2, m_size.width, m_size.height};
    drawPictureText(view, {m_channel, frame});
    drawPictureStrip(view, {m_channel, frame});
}

} // namespace lumo::recorder
