#include "MediaIndex.h"

#include "PlayPace.h"

#include <algorithm>
#include <cmath>

namespace lumo
{
namespace
{

// A jump within one group of pictures is a clock that was set: what lies behind it is not sorted before it.
constexpr int64_t kJump = 2000;

} // namespace

void MediaIndex::finish(int intervalMs)
{
    m_intervalMs = std::max(1, intervalMs);
    placeOthers();
    m_shown.reserve(m_entries.size());
    m_orders.assign(m_entries.size(), -1);
    int64_t lastKey = -1;
    for (size_t begin = 0; begin < m_entries.size();) {
        size_t end = begin + 1;
        while (end < m_entries.size() && !m_entries[end].key)
            ++end;
        if (m_entries[begin].key) { // what lies before the first key frame cannot be decoded
            takeGroup(begin, end, lastKey);
            lastKey = int64_t(begin);
        }
        begin = end;
    }
    for (size_t i = 0; i < m_shown.size(); ++i)
        m_orders[size_t(m_shown[i].serial)] = int64_t(i);
    giveTimes(m_intervalMs);
}

/// Older codecs (MPEG-1 to -4): a picture that no other leans on is shown when it is decoded, and the file says so; any
/// other when the next one of its kind is decoded.
void MediaIndex::placeOthers()
{
    int64_t nextMs = m_entries.empty() ? kNoTime : m_entries.back().decodeMs;
    if (nextMs != kNoTime)
        nextMs += m_intervalMs;
    for (auto entry = m_entries.rbegin(); entry != m_entries.rend(); ++entry) {
        if (!entry->placed)
            entry->timeMs = entry->place = nextMs;
        if (entry->decodeMs != kNoTime && entry->timeMs > entry->decodeMs)
            nextMs = entry->decodeMs;
    }
}

/// Pictures of an open group may be shown before its key frame; they need the group before, too.
void MediaIndex::takeGroup(size_t begin, size_t end, int64_t lastKey)
{
    const size_t first = m_shown.size();
    const auto placeOf = [&](size_t serial) { return m_entries[serial].place; };
    size_t run = first;
    for (size_t i = begin; i < end; ++i) {
        if (i > begin && std::llabs(placeOf(i) - placeOf(i - 1)) > kJump) {
            std::stable_sort(m_shown.begin() + ptrdiff_t(run), m_shown.end(),
                             [&](auto& a, auto& b) { return placeOf(size_t(a.serial)) < placeOf(size_t(b.serial)); });
            run = m_shown.size();
        }
        if (m_entries[i].hidden)
            continue;
        const bool leading = run == first && placeOf(i) < placeOf(begin) && lastKey >= 0;
        m_shown.push_back({int64_t(i), leading ? lastKey : int64_t(begin), m_entries[i].timeMs, 0});
    }
    std::stable_sort(m_shown.begin() + ptrdiff_t(run), m_shown.end(),
                     [&](auto& a, auto& b) { return placeOf(size_t(a.serial)) < placeOf(size_t(b.serial)); });
}

/// Where the file gives the times of decoding only, they are those of showing in another order.
void MediaIndex::giveTimes(int intervalMs)
{
    std::vector<int64_t> decode;
    for (const IndexEntry& entry : m_entries)
        if (!entry.hidden && m_orders[size_t(&entry - m_entries.data())] >= 0)
            decode.push_back(entry.decodeMs);
    for (size_t i = 0; i < m_shown.size(); ++i) {
        Shown& shown = m_shown[i];
        if (shown.timeMs == kNoTime && decode[i] != kNoTime)
            shown.timeMs = decode[i];
        if (i > 0)
            shown.playMs = m_shown[i - 1].playMs + PlayPace::stepMs(m_shown[i - 1].timeMs, shown.timeMs, intervalMs);
    }
    // The last picture is shown as long as the others on the average.
    const size_t n = m_shown.size();
    const int64_t usual = n > 1 ? std::max<int64_t>(1, (m_shown.back().playMs + int64_t(n - 1) / 2) / int64_t(n - 1))
                                : int64_t(intervalMs);
    m_totalMs = n ? m_shown.back().playMs + usual : 0;
    m_intervalMs = int(std::min<int64_t>(usual, 60'000));
}

int64_t MediaIndex::orderOf(int64_t serial) const
{
    return serial >= 0 && serial < int64_t(m_orders.size()) ? m_orders[size_t(serial)] : -1;
}

int64_t MediaIndex::keyFor(int64_t order) const
{
    return order >= 0 && order < int64_t(m_shown.size()) ? m_shown[size_t(order)].key : -1;
}

int64_t MediaIndex::timeOf(int64_t order) const
{
    return order >= 0 && order < int64_t(m_shown.size()) ? m_shown[size_t(order)].timeMs : kNoTime;
}

/// A fraction that lies a hair before a picture's begin means that picture: a float has room for no more.
int64_t MediaIndex::orderAt(double fraction) const
{
    if (m_shown.empty())
        return -1;
    const double at = std::clamp(fraction, 0.0, 1.0) * double(m_totalMs) + m_intervalMs / 8.0;
    const auto after = std::upper_bound(m_shown.begin(), m_shown.end(), at,
                                        [](double ms, const Shown& shown) { return ms < double(shown.playMs); });
    return std::max<int64_t>(0, after - m_shown.begin() - 1);
}

double MediaIndex::fractionOf(int64_t order) const
{
    if (order < 0 || order >= int64_t(m_shown.size()) || m_totalMs == 0)
        return 0;
    return double(m_shown[size_t(order)].playMs) / double(m_totalMs);
}

} // namespace lumo
