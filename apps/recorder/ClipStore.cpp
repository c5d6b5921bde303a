#include "ClipStore.h"

#include "Parallel.h"
#include "ScenePainter.h"
#include "VideoEncoder.h"
#include "VideoFile.h"

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace lumo::recorder
{
namespace
{

// Raise it when the scene, the encoder settings or the picture code change: old files are then not used.
constexpr const char* kSceneVersion = "scene3";

Clip makeScene(int channel, PictureSize size, Codec codec, int fps)
{
    ScenePainter painter(channel, size);
    VideoEncoder encoder(codec, size, fps);
    for (int frame = 0; frame < fps * kLoopSeconds; ++frame) {
        painter.paint(frame);
        const uint8_t* planes[3] = {painter.y(), painter.u(), painter.v()};
        const int strides[3] = {painter.strideY(), painter.strideUV(), painter.strideUV()};
        encoder.encode(planes, strides);
    }
    return encoder.finish();
}

std::string fileStamp(const std::string& path)
{
    std::error_code error;
    const auto full = std::filesystem::absolute(path, error).string();
    const auto size = std::filesystem::file_size(path, error);
    const auto time = std::filesystem::last_write_time(path, error).time_since_epoch().count();
    return std::to_string(std::hash<std::string>()(full + "|" + std::to_string(size) + "|" + std::to_string(time)));
}

} // namespace

// A given file is the same on every channel.
ClipStore::Key ClipStore::keyOf(int channel, int stream) const
{
    return m_options.videoFile.empty() || stream == kRecordingStream ? Key{channel, stream} : Key{0, stream};
}

ClipPtr ClipStore::get(int channel, int stream)
{
    const Key key = keyOf(channel, stream);
    Entry* entry = nullptr;
    {
        std::lock_guard lock(m_mutex);
        entry = &m_entries[key];
    }
    std::lock_guard lock(entry->making);
    if (!entry->clip) {
        entry->clip = std::make_shared<const Clip>(make(key));
    }
    return entry->clip;
}

Clip ClipStore::make(Key key)
{
    const auto path = cachePath(key);
    if (auto cached = loadClip(path)) {
        return std::move(*cached);
    }
    Clip clip = key.stream == kRecordingStream ? makeScene(key.channel, {640, 360}, Codec::H264, m_options.fps)
                : m_options.videoFile.empty()  ? makeScene(key.channel, m_options.sizeOf(key.stream),
                                                           m_options.codecOf(key.channel), m_options.fps)
                                               : readVideoFile(m_options, key.stream);
    saveClip(path, clip); // a cache that cannot be written costs time, nothing else
    return clip;
}

std::filesystem::path ClipStore::cachePath(Key key) const
{
    const bool recording = key.stream == kRecordingStream;
    const PictureSize size = recording ? PictureSize{640, 360} : m_options.sizeOf(key.stream);
    const Codec codec = recording ? Codec::H264 : m_options.codecOf(key.channel);
    std::string name = m_options.videoFile.empty() || recording
                           ? std::string(kSceneVersion) + "-ch" + std::to_string(key.channel)
                           : "file-" + fileStamp(m_options.videoFile) + "-s" + std::to_string(key.stream);
    name += std::string("-") + codecName(codec) + "-" + std::to_string(size.width) + "x" + std::to_string(size.height) +
            "-" + std::to_string(m_options.fps) + ".clip";
    return std::filesystem::path(m_options.cacheDir) / name;
}

int ClipStore::prepareAll()
{
    const int count = (m_options.videoFile.empty() ? m_options.channels : 1) * 2;
    inParallel(static_cast<size_t>(count), [&](size_t i) { get(static_cast<int>(i) / 2, static_cast<int>(i) % 2); });
    return count;
}

int ClipStore::loopFrames(int channel, int stream)
{
    return m_options.videoFile.empty() ? m_options.fps * kLoopSeconds
                                       : static_cast<int>(get(channel, stream)->frames.size());
}

Codec ClipStore::codec(int channel, int stream)
{
    return m_options.videoFile.empty() ? m_options.codecOf(channel) : get(channel, stream)->codec;
}

PictureSize ClipStore::size(int channel, int stream)
{
    return m_options.videoFile.empty() ? m_options.sizeOf(stream) : get(channel, stream)->size;
}

double ClipStore::fps(int channel, int stream)
{
    return m_options.videoFile.empty() ? m_options.fps : get(channel, stream)->fps;
}

} // namespace lumo::recorder
