// A stretch of encoded video that is sent in a loop: whole access units, made once and kept on disk.
//
// Thread: a Clip is constant once made and shared by all who send it.
#pragma once

#include "Options.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace lumo::recorder
{

struct ClipFrame {
    uint64_t offset = 0; // bytes from the start of Clip::data
    uint32_t size = 0;   // bytes
    uint32_t key = 0;    // 1: decoding can start here
};

struct Clip {
    Codec codec = Codec::H264;
    PictureSize size;
    double fps = 25.0;
    std::vector<ClipFrame> frames; // the first one is a key frame
    std::vector<uint8_t> data;     // Annex B access units (JPEG files for MJPEG), parameter sets before key frames

    void append(const uint8_t* bytes, size_t count, bool key);
    /// The first key frame at or after `frame`, going round at the end.
    int nextKey(int frame) const;
    /// The last key frame at or before `frame`.
    int lastKey(int frame) const;
};

using ClipPtr = std::shared_ptr<const Clip>;

/// Nothing when the file is absent, cut short or of another version.
std::optional<Clip> loadClip(const std::filesystem::path& path);
/// Written beside its place and renamed, so that no reader ever sees half a clip. False when that fails.
bool saveClip(const std::filesystem::path& path, const Clip& clip);

} // namespace lumo::recorder
