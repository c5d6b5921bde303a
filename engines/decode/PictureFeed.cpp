#include "PictureFeed.h"

#include <algorithm>
#include <thread>

namespace lumo
{
namespace
{

constexpr int kMostThreads = 4;
constexpr int kLargePixels = 1920 * 1088; // beyond this, one thread may be too slow for normal speed
constexpr size_t kMostSounds = 4000;

int threadsFor(const Packet& packet, bool hurry)
{
    const bool large = int(packet.v.width) * int(packet.v.height) > kLargePixels;
    const int cores = int(std::max(1u, std::thread::hardware_concurrency()));
    return hurry || large ? std::min(cores, kMostThreads) : 1;
}

} // namespace

MediaSource::Got PictureFeed::fill(const std::function<bool()>& interrupted)
{
    while (!m_run.hasNext()) {
        if (interrupted())
            return Got::Later;
        Packet packet;
        const Got got = m_source.next(packet);
        if (got == Got::Later)
            return got;
        if (got == Got::Frame) {
            feed(std::move(packet));
        } else {
            if (m_ended)
                return got;
            m_decoder.drain([&](Picture&& picture) { take(std::move(picture)); });
            m_ended = true;
        }
    }
    return Got::Frame;
}

void PictureFeed::drain()
{
    m_decoder.drain([&](Picture&& picture) { take(std::move(picture)); });
    m_drained = true;
}

void PictureFeed::feed(Packet&& packet)
{
    if (packet.video && m_drained && !goOnAfterDrain(packet))
        return;
    const bool isNew = packet.video ? packet.serial > m_recorded : m_lastSerial >= m_recorded;
    if (isNew)
        m_record(packet);
    if (!packet.video) {
        if (!packet.heard)
            m_sounds.push_back(std::move(packet));
        if (m_sounds.size() > kMostSounds)
            m_sounds.pop_front();
        return;
    }
    m_recorded = std::max(m_recorded, packet.serial);
    m_lastSerial = packet.serial;
    m_decoder.setThreads(threadsFor(packet, m_hurry));
    m_decoder.decode(packet, [&](Picture&& picture) { take(std::move(picture)); });
}

/// An emptied decoder can only begin at a key frame: it goes back to the last one and passes over what was shown. False
/// when the frame will come once more on that way.
bool PictureFeed::goOnAfterDrain(const Packet& packet)
{
    m_drained = false;
    if (packet.isKey())
        return true;
    const auto key = m_source.keyFor(m_lastOrder);
    if (!key || !m_source.rewind(*key))
        return true;          // out of reach: on from the next key frame
    m_source.countAnew(*key); // pictures that were missing then may come between the others
    m_skipTo = m_lastOut;
    m_skipWithin = packet.serial - 1;
    return false;
}

void PictureFeed::take(Picture&& picture)
{
    if (picture.decodeOnly)
        return;
    m_source.complete(picture);
    if (m_skipTo >= 0 && picture.serial <= m_skipWithin) {
        if (picture.serial == m_skipTo)
            m_skipTo = -1;
        return;
    }
    m_skipTo = -1;
    m_lastOrder = std::max(m_lastOrder, picture.order);
    m_lastOut = picture.serial;
    m_run.add(std::move(picture));
}

bool PictureFeed::startFrom(int64_t key, bool again)
{
    m_decoder.flush();
    m_run.clear();
    m_sounds.clear();
    m_drained = m_ended = false;
    m_skipTo = m_lastOrder = m_lastOut = -1;
    m_lastSerial = key - 1;
    if (!again)
        m_recorded = key - 1;
    return m_source.rewind(key);
}

bool PictureFeed::leadsTo(int64_t order, int64_t key) const
{
    return !m_ended && !m_drained && key <= m_lastSerial && m_lastOrder >= 0 && order > m_lastOrder;
}

void PictureFeed::forget()
{
    m_decoder.flush();
    m_run.clear();
    m_sounds.clear();
    m_drained = m_ended = false;
    m_skipTo = m_lastOrder = m_lastOut = -1;
}

} // namespace lumo
