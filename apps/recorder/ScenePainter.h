// The recorder's own scene: a coloured texture that drifts, a band where a second one drifts across it, a disc that
// bounces, and the picture code.
//
// Each channel has its own colour, textures, directions and speeds. As with a camera, most of the picture is easy for
// an encoder and a part is not: no single motion explains the band. Painting is row copies, so encoding dominates.
// Thread: one painter per thread.
#pragma once

#include "Options.h"

#include <cstdint>
#include <vector>

namespace lumo::recorder
{

class ScenePainter
{
public:
    ScenePainter(int channel, PictureSize size);

    /// Paints frame n of the loop. The picture is valid until the next call.
    void paint(int frame);

    const uint8_t* y() const { return m_y.data(); }
    const uint8_t* u() const { return m_u.data(); }
    const uint8_t* v() const { return m_v.data(); }
    int strideY() const { return m_size.width; }
    int strideUV() const { return m_size.width / 2; }

private:
    std::vector<uint8_t> makeTexture(int waves, int grain) const;
    void paintTexture(int frame);
    void paintDisc(int frame);

    int m_channel;
    PictureSize m_size;
    std::vector<uint8_t> m_near, m_far; // kTile rows of kTile + width bytes: each row can be read from any column
    std::vector<uint8_t> m_y, m_u, m_v;
};

} // namespace lumo::recorder
