// What the recorder has on its disk: for each of the first four channels one hour of video on two days with gaps, and
// what it records while it runs.
//
// The hour is really encoded, for every picture carries its own date; each stretch is made when it is first asked for
// and kept in the cache. What is recorded while it runs is the channel's scene, going round since the recorder's
// start: nothing is stored for it, its pictures are known from their times.
// Thread: any. Blocking: clip() and what needs it may encode, a minute for half an hour of video.
#pragma once

#include "ClipStore.h"
#include "DeviceZone.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace lumo::recorder
{

constexpr int kRecordingChannels = 4;
constexpr PictureSize kRecordingSize{640, 360};

/// Recorded pictures of one channel without a gap between them.
struct Stretch {
    int channel = 0;
    int part = 0;         // 0..2 of the hour, 3: since the start
    int64_t beginMs = 0;  // the device's UTC
    int64_t pictures = 0; // of the running one: up to now
    double fps = 25.0;

    int64_t timeOf(int64_t picture) const;
    /// The first picture at or after that time; `pictures` when there is none.
    int64_t firstAt(int64_t utcMs) const;
    int64_t endMs() const { return timeOf(pictures); }
    bool running() const { return part == 3; }
};

/// A piece of a stretch as the page lists it.
struct RecordedFile {
    std::string name; // "<recording>/<track>/<begin>-<end>.h265x", times in UTC
    int64_t beginMs = 0, endMs = 0;
    int64_t bytes = 0;
};

struct RecordedPicture {
    std::string name; // "<recording>/<time>.jpg"
    int64_t timeMs = 0;
    int64_t bytes = 0;
};

/// Pictures of a clip as those of a stretch that goes round it.
ClipFrame unitOf(const Clip& clip, int64_t picture);
int64_t keyBefore(const Clip& clip, int64_t picture);

class RecordingStore
{
public:
    RecordingStore(const Options& options, const DeviceZone& zone, ClipStore& clips);

    int channels() const;
    int64_t nowMs() const; // the device's UTC
    /// In order of time. Never blocks.
    std::vector<Stretch> stretches(int channel) const;
    ClipPtr clip(const Stretch& stretch);
    /// The files and pictures that begin on that day of the device's calendar (civil seconds of its midnight).
    std::vector<RecordedFile> files(int channel, int64_t civilDay);
    std::vector<RecordedPicture> pictures(int channel, int64_t civilDay);
    /// The days that have files; "2025-03-29".
    std::vector<std::string> days(int channel) const;
    /// The key picture at or before that time as JPEG; empty when nothing was recorded then.
    std::string jpegAt(int channel, int64_t utcMs);
    /// Makes every stretch, on as many threads as the machine has cores. Returns how many there are.
    int prepareAll();

    static std::string recordingToken(int channel) { return "rec_" + std::to_string(channel); }
    static const char* videoTrack() { return "VIDEO001"; }
    static const char* audioTrack() { return "AUDIO001"; }

private:
    struct Piece {
        Stretch stretch;
        int64_t first = 0, last = 0; // pictures, half open
    };
    struct Entry {
        std::mutex making;
        std::weak_ptr<const Clip> clip;
    };

    std::vector<Piece> pieces(int channel, int64_t civilDay) const;
    Clip make(const Stretch& stretch) const;
    std::filesystem::path cachePath(const Stretch& stretch) const;

    const Options& m_options;
    const DeviceZone& m_zone;
    ClipStore& m_clips;
    const int64_t m_startMs; // the device's UTC, a whole second
    std::mutex m_mutex;      // guards the maps
    std::map<std::pair<int, int>, Entry> m_entries;
    std::map<std::string, int64_t> m_jpegBytes;
};

} // namespace lumo::recorder
