#include "Clip.h"

#include <glib.h>

#include <cstring>
#include <fstream>

namespace lumo::recorder
{
namespace
{

constexpr char kMagic[8] = {'L', 'u', 'm', 'o', 'C', 'l', 'p', '1'};

struct FileHead {
    char magic[8];
    uint32_t codec, width, height, frames;
    double fps;
    uint64_t bytes;
};

} // namespace

void Clip::append(const uint8_t* bytes, size_t count, bool key)
{
    frames.push_back({data.size(), static_cast<uint32_t>(count), key ? 1u : 0u});
    data.insert(data.end(), bytes, bytes + count);
}

int Clip::nextKey(int frame) const
{
    for (size_t i = static_cast<size_t>(frame); i < frames.size(); ++i) {
        if (frames[i].key) {
            return static_cast<int>(i);
        }
    }
    return 0;
}

int Clip::lastKey(int frame) const
{
    while (frame > 0 && !frames[static_cast<size_t>(frame)].key) {
        --frame;
    }
    return frame;
}

std::optional<Clip> loadClip(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    FileHead head{};
    if (!in.read(reinterpret_cast<char*>(&head), sizeof(head)) || std::memcmp(head.magic, kMagic, sizeof(kMagic)) ||
        head.frames == 0 || head.frames > 0xFFFF || head.bytes > (1ull << 31) || head.codec > 2) {
        return std::nullopt;
    }
    Clip clip;
    clip.codec = static_cast<Codec>(head.codec);
    clip.size = {static_cast<int>(head.width), static_cast<int>(head.height)};
    clip.fps = head.fps;
    clip.frames.resize(head.frames);
    clip.data.resize(head.bytes);
    if (!in.read(reinterpret_cast<char*>(clip.frames.data()),
                 static_cast<std::streamsize>(head.frames * sizeof(ClipFrame))) ||
        !in.read(reinterpret_cast<char*>(clip.data.data()), static_cast<std::streamsize>(head.bytes))) {
        return std::nullopt;
    }
    for (const ClipFrame& f : clip.frames) {
        if (f.offset + f.size > clip.data.size()) {
            return std::nullopt;
        }
    }
    return clip.frames[0].key ? std::optional(std::move(clip)) : std::nullopt;
}

bool saveClip(const std::filesystem::path& path, const Clip& clip)
{
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    FileHead head{};
    std::memcpy(head.magic, kMagic, sizeof(kMagic));
    head.codec = static_cast<uint32_t>(clip.codec);
    head.width = static_cast<uint32_t>(clip.size.width);
    head.height = static_cast<uint32_t>(clip.size.height);
    head.frames = static_cast<uint32_t>(clip.frames.size());
    head.fps = clip.fps;
    head.bytes = clip.data.size();
    const auto temporary = path.string() + "." + std::to_string(g_random_int()) + ".part";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(&head), sizeof(head));
        out.write(reinterpret_cast<const char*>(clip.frames.data()),
                  static_cast<std::streamsize>(clip.frames.size() * sizeof(ClipFrame)));
        out.write(reinterpret_cast<const char*>(clip.data.data()), static_cast<std::streamsize>(clip.data.size()));
        out.flush();
        if (!out.good()) {
            std::filesystem::remove(temporary, error);
            return false;
        }
    }
    std::filesystem::rename(temporary, path, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
    }
    return !error;
}

} // namespace lumo::recorder
