#include "Watcher.h"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace lumo::net::test
{

int PositionLog::onPosition(long handle, long total, long current, intptr_t user)
{
    auto& log = *reinterpret_cast<PositionLog*>(user);
    const size_t frames = log.m_viewer ? log.m_viewer->count() : 0;
    std::lock_guard lock(log.m_mutex);
    log.m_entries.push_back({handle, total, current, frames});
    log.m_changed.notify_all();
    return 1;
}

std::vector<PositionLog::Entry> PositionLog::entries() const
{
    std::lock_guard lock(m_mutex);
    return m_entries;
}

bool PositionLog::waitForCount(size_t n) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return m_entries.size() >= n; });
}

bool PositionLog::waitForEnd() const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs),
                              [&] { return !m_entries.empty() && m_entries.back().current == -1; });
}

bool PositionLog::waitWithin(int ms) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(ms), [&] { return !m_entries.empty(); });
}

TestFolder::TestFolder()
{
    static std::atomic<int> count{0};
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    m_path =
        (std::filesystem::temp_directory_path() / ("lumo-net-" + std::to_string(stamp) + "-" + std::to_string(++count)))
            .string();
    std::filesystem::create_directories(m_path);
}

TestFolder::~TestFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TestFolder::all() const
{
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_path))
        found.push_back(entry.path().generic_string().substr(m_path.size() + 1));
    return found;
}

Bytes contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::vector<SeenFrame> framesOf(const Bytes& file)
{
    std::vector<SeenFrame> frames;
    FrameReader reader;
    reader.push(file.data(), file.size());
    while (const auto view = reader.next()) {
        SeenFrame seen;
        seen.sound = true;
        seen.type = !view->video ? LUMO_FRAME_AUDIO : view->v.key ? LUMO_FRAME_VIDEO_I : LUMO_FRAME_VIDEO_P;
        seen.video = view->v;
        seen.audio = view->a;
        const size_t n = view->payloadSize;
        if (view->video && n >= 3)
            seen.number = view->payload[n - 3] << 8 | view->payload[n - 2];
        frames.push_back(std::move(seen));
    }
    return reader.skipped() == 0 && reader.buffered() == 0 ? frames : std::vector<SeenFrame>();
}

std::string shownTime(uint64_t utcMs)
{
    const std::time_t seconds = std::time_t(utcMs / 1000);
    char text[40], whole[60];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&seconds));
    std::snprintf(whole, sizeof whole, "%s.%03d", text, int(utcMs % 1000));
    return whole;
}

} // namespace lumo::net::test
