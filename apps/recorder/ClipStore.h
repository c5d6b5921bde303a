// Where clips come from: memory, the cache on disk, or the encoder, in this order. A clip is made when it is
// first asked for, so that a recorder of 64 channels starts at once.
//
// Thread: get() from any thread; two who ask for the same clip wait for the one encode.
// Blocking: get() may encode for a second or two. Errors: std::runtime_error when a clip cannot be made.
#pragma once

#include "Clip.h"

#include <filesystem>
#include <map>
#include <mutex>

namespace lumo::recorder
{

/// Length of the recorder's own scenes, in seconds.
constexpr int kLoopSeconds = 5;

class ClipStore
{
public:
    explicit ClipStore(const Options& options) : m_options(options) {}

    /// channel 0..channels-1; stream 0 main, 1 sub.
    ClipPtr get(int channel, int stream);
    /// What a recording channel records while the recorder runs: its scene in H.264 at 640x360.
    ClipPtr recordingLoop(int channel) { return get(channel, kRecordingStream); }
    /// Makes every clip, on as many threads as the machine has cores. Returns how many there are.
    int prepareAll();
    /// Frames in the loop, codec and size without making the clip (a given file is read for it).
    int loopFrames(int channel, int stream);
    Codec codec(int channel, int stream);
    PictureSize size(int channel, int stream);
    double fps(int channel, int stream);

private:
    static constexpr int kRecordingStream = 2;
    struct Entry {
        std::mutex making;
        ClipPtr clip;
    };
    struct Key {
        int channel, stream;
        auto operator<=>(const Key&) const = default;
    };

    Key keyOf(int channel, int stream) const;
    Clip make(Key key);
    std::filesystem::path cachePath(Key key) const;

    const Options& m_options;
    std::mutex m_mutex; // guards m_entries
    std::map<Key, Entry> m_entries;
};

} // namespace lumo::recorder
