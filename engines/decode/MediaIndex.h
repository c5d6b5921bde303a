// Where the pictures of a recording lie, and in which order and when they are shown. Made once by reading through the
// recording; afterwards plain look-ups.
//
// A picture has two numbers: its serial, in the order of decoding, and its order, as it is shown. Pictures that are
// only decoded have no order. Thread: one at a time while it is made, any afterwards.
#pragma once

#include "Packet.h"

#include <vector>

namespace lumo
{

/// What the file tells of one picture. Its kind of file gives offset and stamps their meaning.
struct IndexEntry {
    int64_t offset = 0;
    int64_t stamp = 0, decodeStamp = 0;
    int64_t timeMs = kNoTime; // when it is shown
    int64_t place = 0;        // by which the pictures of one group sort themselves into the order of showing
    int64_t decodeMs = kNoTime;
    uint32_t size = 0;
    bool key = false, hidden = false;
    bool placed = true; // timeMs or place says when it is shown; otherwise the frames around it do
};

class MediaIndex
{
public:
    void add(const IndexEntry& entry) { m_entries.push_back(entry); }
    /// All are in. intervalMs: how long a picture is shown when no time tells.
    void finish(int intervalMs);

    bool empty() const { return m_shown.empty(); }
    size_t pictures() const { return m_shown.size(); }
    size_t entries() const { return m_entries.size(); }
    const IndexEntry& entry(int64_t serial) const { return m_entries[size_t(serial)]; }

    /// -1 for a picture that is not shown, or unknown.
    int64_t orderOf(int64_t serial) const;
    /// The key frame from which this picture can be decoded; -1 if there is none.
    int64_t keyFor(int64_t order) const;
    /// Its time as the file says; kNoTime if unknown.
    int64_t timeOf(int64_t order) const;

    /// Fractions are of the playing time, in which gaps do not count. A picture's own fraction is where it begins.
    int64_t orderAt(double fraction) const;
    double fractionOf(int64_t order) const;

private:
    struct Shown {
        int64_t serial;
        int64_t key;
        int64_t timeMs;
        int64_t playMs; // from the begin
    };
    void placeOthers();
    void takeGroup(size_t begin, size_t end, int64_t lastKey);
    void giveTimes(int intervalMs);

    std::vector<IndexEntry> m_entries; // by serial
    std::vector<Shown> m_shown;        // by order
    std::vector<int64_t> m_orders;     // by serial
    int64_t m_totalMs = 0;
    int m_intervalMs = 40;
};

} // namespace lumo
