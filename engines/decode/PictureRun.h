// Decoded pictures of a recording in the order they are shown: those that wait, the shown one, and, while a user steps,
// those before it. Nothing is missing in between, and the newest is the last that the decoder gave.
//
// The kept ones are whole pictures, for each may be looked at closely or saved; what they may take is bounded, and the
// oldest go first. Thread: one at a time.
#pragma once

#include "VideoDecoder.h"

#include <deque>

namespace lumo
{

class PictureRun
{
public:
    /// Whether the pictures before the shown one are kept.
    void keep(bool on);
    void add(Picture&& picture) { m_pictures.push_back(std::move(picture)); }
    void clear();

    bool hasNext() const { return m_next < m_pictures.size(); }
    size_t waiting() const { return m_pictures.size() - m_next; }
    Picture& next() { return m_pictures[m_next]; }
    /// The next becomes the shown one.
    void advance();
    /// The one before becomes the shown one; false when it is not kept.
    bool back();
    /// Null when none is shown.
    const Picture* shown() const { return m_next > 0 ? &m_pictures[m_next - 1] : nullptr; }

private:
    static constexpr size_t kKeptBytes = 64u << 20;
    void trim();

    std::deque<Picture> m_pictures;
    size_t m_next = 0; // place of the first that was not shown yet
    bool m_keep = false;
};

} // namespace lumo
