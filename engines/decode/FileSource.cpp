#include "FileSource.h"

#include "Clock.h"
#include "Trouble.h"

#include <algorithm>
#include <exception>

namespace lumo
{
namespace
{

// How far the file is read ahead in search of sound: containers lay it up to a second beside its pictures.
constexpr size_t kAheadBytes = 16u << 20;
constexpr int64_t kAheadMs = 1500;

} // namespace

FileSource::FileSource(std::string path, std::unique_ptr<FileReader> reader)
    : m_path(std::move(path)), m_reader(std::move(reader)), m_foreign(m_reader->foreign()),
      m_indexer(&FileSource::makeIndex, this)
{
}

FileSource::~FileSource()
{
    stop();
    m_indexer.join();
}

void FileSource::stop()
{
    m_stop = true;
    std::lock_guard guard(m_lock);
    m_done.notify_all();
}

// ---- the index

void FileSource::makeIndex()
{
    MediaIndex index;
    try {
        if (const auto reader = openFileReader(m_path)) {
            IndexEntry entry;
            while (!m_stop && reader->scan(entry))
                index.add(entry);
            index.finish(reader->intervalMs());
        }
    } catch (const std::exception&) {
        index = MediaIndex(); // out of memory: it plays, but does not seek
    }
    if (!m_stop && index.empty())
        tellTrouble("no picture found again, so that nothing can be sought or stepped back to", m_path);
    std::lock_guard guard(m_lock);
    m_index = std::move(index);
    m_ready = true;
    m_done.notify_all();
}

bool FileSource::waitForIndex()
{
    std::unique_lock guard(m_lock);
    m_done.wait(guard, [&] { return m_ready || m_stop; });
    return m_ready && !m_index.empty();
}

void FileSource::complete(Picture& picture)
{
    if (!indexReady())
        return;
    picture.order = m_index.orderOf(picture.serial);
    if (picture.timeMs == kNoTime)
        picture.timeMs = m_index.timeOf(picture.order);
}

std::optional<int64_t> FileSource::keyFor(int64_t order)
{
    const int64_t key = waitForIndex() ? m_index.keyFor(order) : -1;
    return key >= 0 ? std::optional(key) : std::nullopt;
}

int64_t FileSource::orderOf(int64_t serial)
{
    return waitForIndex() ? m_index.orderOf(serial) : -1;
}

std::optional<int64_t> FileSource::orderAt(double fraction)
{
    return waitForIndex() ? std::optional(m_index.orderAt(fraction)) : std::nullopt;
}

/// Before the index is there: how much of the file was read.
double FileSource::fractionOf(const Picture& picture)
{
    return indexReady() && !m_index.empty() ? m_index.fractionOf(m_index.orderOf(picture.serial))
                                            : m_reader->progress();
}

// ---- reading

bool FileSource::readOne()
{
    Packet packet;
    if (m_end || !m_reader->next(packet)) {
        m_end = true;
        return false;
    }
    if (packet.video)
        packet.serial = m_nextSerial++;
    m_readBytes += packet.wholeSize;
    m_read.push_back(std::move(packet));
    return true;
}

MediaSource::Got FileSource::next(Packet& packet)
{
    if (m_read.empty() && !readOne())
        return Got::End;
    packet = std::move(m_read.front());
    packet.heard = m_heard > 0;
    m_heard -= m_heard > 0;
    m_readBytes -= packet.wholeSize;
    m_read.pop_front();
    return Got::Frame;
}

std::optional<Packet> FileSource::soundAhead(int64_t untilMs)
{
    if (!m_reader->hasSound())
        return std::nullopt;
    for (;; ++m_heard) {
        if (m_heard == m_read.size()) {
            const bool far =
                !m_read.empty() && m_read.back().timeMs != kNoTime && m_read.back().timeMs > untilMs + kAheadMs;
            if (far || m_readBytes > kAheadBytes || !readOne())
                return std::nullopt;
        }
        const Packet& packet = m_read[m_heard];
        if (packet.video)
            continue;
        if (packet.timeMs != kNoTime && packet.timeMs > untilMs)
            return std::nullopt;
        ++m_heard;
        return sharePacket(packet);
    }
}

bool FileSource::rewind(int64_t serial)
{
    m_read.clear();
    m_heard = m_readBytes = 0;
    m_end = !waitForIndex() || !m_reader->rewind(m_index, serial);
    m_nextSerial = serial;
    return !m_end;
}

} // namespace lumo
