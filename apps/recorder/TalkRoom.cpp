#include "TalkRoom.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace lumo::recorder
{
namespace
{

constexpr size_t kPacketBytes = 160;             // 20 ms
constexpr int64_t kMaxKept = 64ll * 1024 * 1024; // more than two hours

} // namespace

TalkRoom::TalkRoom(int channel, std::string file) : channel(channel)
{
    m_note.file = std::move(file);
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(m_note.file).parent_path(), ignored);
    std::filesystem::remove(m_note.file, ignored);
}

void TalkRoom::hear(const uint8_t* codes, size_t size)
{
    std::lock_guard lock(m_mutex);
    const int64_t now = g_get_monotonic_time();
    if (m_lastUs != 0) {
        m_note.largestGapUs = std::max(m_note.largestGapUs, now - m_lastUs);
    }
    m_lastUs = now;
    ++m_note.packets;
    m_note.oddPackets += size != kPacketBytes;
    m_note.bytes += static_cast<int64_t>(size);
    if (m_note.bytes > kMaxKept) {
        return;
    }
    std::ofstream out(m_note.file, std::ios::binary | std::ios::app);
    if (!out.write(reinterpret_cast<const char*>(codes), static_cast<std::streamsize>(size))) {
        std::fprintf(stderr, "lumo-recorder: cannot write %s\n", m_note.file.c_str());
    }
}

void TalkRoom::clear()
{
    std::lock_guard lock(m_mutex);
    m_note.packets = m_note.bytes = m_note.oddPackets = m_note.largestGapUs = 0;
    m_lastUs = 0;
    std::error_code ignored;
    std::filesystem::remove(m_note.file, ignored);
}

HeardNote TalkRoom::note() const
{
    std::lock_guard lock(m_mutex);
    HeardNote note = m_note;
    note.talking = static_cast<int>(m_mouths.size());
    return note;
}

std::string TalkRoom::heard() const
{
    std::lock_guard lock(m_mutex);
    std::ifstream in(m_note.file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void TalkRoom::setTone(int hz)
{
    std::lock_guard lock(m_mutex);
    m_note.toneHz = hz;
    for (GstElement* mouth : m_mouths) {
        apply(mouth);
    }
}

void TalkRoom::apply(GstElement* source) const
{
    g_object_set(source, "freq", static_cast<gdouble>(std::max(m_note.toneHz, 1)), "volume",
                 m_note.toneHz > 0 ? 0.4 : 0.0, nullptr);
}

void TalkRoom::addMouth(GstElement* source)
{
    std::lock_guard lock(m_mutex);
    if (m_mouths.insert(source).second) {
        gst_object_ref(source);
    }
    apply(source);
}

void TalkRoom::removeMouth(GstElement* source)
{
    std::lock_guard lock(m_mutex);
    if (m_mouths.erase(source) > 0) {
        gst_object_unref(source);
    }
}

} // namespace lumo::recorder
