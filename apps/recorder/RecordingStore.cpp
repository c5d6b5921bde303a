#include "RecordingStore.h"

#include "Parallel.h"
#include "PictureCode.h"
#include "ScenePainter.h"
#include "Snapshot.h"
#include "VideoEncoder.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

namespace lumo::recorder
{
namespace
{

// Raise it when the pictures or the encoder's settings change: old files are then not used.
constexpr const char* kRecordingVersion = "rec1";

constexpr int kParts = 3;
constexpr int64_t kFileSeconds = 15 * 60;   // no file is longer
constexpr int64_t kPictureSeconds = 5 * 60; // between two stills of the list
constexpr size_t kMaxJpegSizes = 4096;      // of the lists of three days; forgotten, they cost time only
constexpr size_t kFrameHeader = 24;         // of each picture in a raw file
constexpr int64_t kSeconds2000 = 946684800; // 2000-01-01 since 1970

// The two days lie on either side of Europe's change to summer time: with such a zone their hours differ in UTC.
int64_t civilBegin(int part)
{
    return part == 0 ? civilSeconds(2025, 3, 29, 10, 0, 0) : civilSeconds(2025, 3, 30, 10, part == 1 ? 0 : 30, 0);
}

int secondsOf(const Options& options, int part)
{
    return options.recordedSeconds / (part == 0 ? 2 : 4);
}

// A still background, a block that wanders, and all that a picture must say. Only what changes is painted anew.
class RecordingPainter
{
public:
    explicit RecordingPainter(int channel) : m_channel(channel), m_scene(channel, kRecordingSize)
    {
        m_scene.paint(0);
        const size_t luma = static_cast<size_t>(kRecordingSize.width) * kRecordingSize.height;
        m_y.assign(m_scene.y(), m_scene.y() + luma);
        m_u.assign(m_scene.u(), m_scene.u() + luma / 4);
        m_v.assign(m_scene.v(), m_scene.v() + luma / 4);
    }

    void paint(int picture, PictureTime time)
    {
        const int width = kRecordingSize.width;
        std::memcpy(m_y.data(), m_scene.y(), m_y.size());
        const int left = picture * 4 % (width - kBlock);
        for (int row = kBlockTop; row < kBlockTop + kBlock; ++row) {
            std::memset(m_y.data() + static_cast<size_t>(row) * width + left, 220, kBlock);
        }
        const I420View view{m_y.data(), m_u.data(), m_v.data(), width, width / 2, width, kRecordingSize.height};
        drawPictureText(view, {m_channel, picture});
        drawPictureStrip(view, {m_channel, picture});
        drawPictureTime(view, time);
    }

    void encode(VideoEncoder& encoder) const
    {
        const uint8_t* planes[3] = {m_y.data(), m_u.data(), m_v.data()};
        const int strides[3] = {kRecordingSize.width, kRecordingSize.width / 2, kRecordingSize.width / 2};
        encoder.encode(planes, strides);
    }

private:
    static constexpr int kBlock = 24, kBlockTop = 150;
    int m_channel;
    ScenePainter m_scene;
    std::vector<uint8_t> m_y, m_u, m_v;
};

} // namespace

int64_t Stretch::timeOf(int64_t picture) const
{
    return beginMs + std::llround(static_cast<double>(picture) * 1000.0 / fps);
}

int64_t Stretch::firstAt(int64_t utcMs) const
{
    if (utcMs <= beginMs) {
        return 0;
    }
    auto picture = static_cast<int64_t>(static_cast<double>(utcMs - beginMs) * fps / 1000.0);
    while (picture > 0 && timeOf(picture - 1) >= utcMs) {
        --picture;
    }
    while (timeOf(picture) < utcMs) {
        ++picture;
    }
    return std::min(picture, pictures);
}

ClipFrame unitOf(const Clip& clip, int64_t picture)
{
    return clip.frames[static_cast<size_t>(picture) % clip.frames.size()];
}

int64_t keyBefore(const Clip& clip, int64_t picture)
{
    const auto round = static_cast<int64_t>(clip.frames.size());
    return picture - picture % round + clip.lastKey(static_cast<int>(picture % round));
}

RecordingStore::RecordingStore(const Options& options, const DeviceZone& zone, ClipStore& clips)
    : m_options(options), m_zone(zone), m_clips(clips), m_startMs(nowMs() / 1000 * 1000)
{
}

int RecordingStore::channels() const
{
    return std::min(m_options.channels, kRecordingChannels);
}

int64_t RecordingStore::nowMs() const
{
    return g_get_real_time() / 1000 + m_options.clockSkewSeconds * int64_t{1000};
}

std::vector<Stretch> RecordingStore::stretches(int channel) const
{
    std::vector<Stretch> all;
    const double fps = m_options.fps;
    for (int part = 0; part < kParts; ++part) {
        const int seconds = secondsOf(m_options, part);
        if (seconds > 0) {
            all.push_back({channel, part, m_zone.utcOf(civilBegin(part)) * 1000,
                           static_cast<int64_t>(seconds) * m_options.fps, fps});
        }
    }
    Stretch running{channel, kParts, m_startMs, 0, fps};
    running.pictures = static_cast<int64_t>(static_cast<double>(nowMs() - m_startMs) * fps / 1000.0);
    if (running.pictures > 0) {
        all.push_back(running);
    }
    std::sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.beginMs < b.beginMs; });
    return all;
}

std::filesystem::path RecordingStore::cachePath(const Stretch& s) const
{
    return std::filesystem::path(m_options.cacheDir) /
           (std::string(kRecordingVersion) + "-ch" + std::to_string(s.channel) + "-part" + std::to_string(s.part) +
            "-" + std::to_string(secondsOf(m_options, s.part)) + "s-" + std::to_string(m_options.fps) + ".clip");
}

ClipPtr RecordingStore::clip(const Stretch& s)
{
    if (s.running()) {
        return m_clips.recordingLoop(s.channel);
    }
    Entry* entry = nullptr;
    {
        std::lock_guard lock(m_mutex);
        entry = &m_entries[{s.channel, s.part}];
    }
    std::lock_guard lock(entry->making);
    ClipPtr found = entry->clip.lock();
    if (!found) {
        found = std::make_shared<const Clip>(make(s));
        entry->clip = found;
    }
    return found;
}

Clip RecordingStore::make(const Stretch& s) const
{
    const auto path = cachePath(s);
    if (auto cached = loadClip(path)) {
        return std::move(*cached);
    }
    RecordingPainter painter(s.channel);
    VideoEncoder encoder(Codec::H264, kRecordingSize, s.fps, Effort::Recording);
    const PictureTime begin = (civilBegin(s.part) - kSeconds2000) * 100;
    for (int64_t i = 0; i < s.pictures; ++i) {
        painter.paint(static_cast<int>(i), begin + (s.timeOf(i) - s.beginMs) / 10);
        painter.encode(encoder);
    }
    Clip clip = encoder.finish();
    saveClip(path, clip); // a cache that cannot be written costs time, nothing else
    return clip;
}

std::vector<RecordingStore::Piece> RecordingStore::pieces(int channel, int64_t civilDay) const
{
    std::vector<Piece> found;
    for (const Stretch& s : stretches(channel)) {
        const auto step = static_cast<int64_t>(kFileSeconds * m_options.fps);
        for (int64_t first = 0; first < s.pictures; first += step) {
            const int64_t civil = m_zone.civilOf(s.timeOf(first) / 1000);
            if (civil >= civilDay && civil < civilDay + 86400) {
                found.push_back({s, first, std::min(first + step, s.pictures)});
            }
        }
    }
    return found;
}

std::vector<RecordedFile> RecordingStore::files(int channel, int64_t civilDay)
{
    std::vector<RecordedFile> all;
    for (const Piece& p : pieces(channel, civilDay)) {
        RecordedFile file;
        file.beginMs = p.stretch.timeOf(p.first);
        file.endMs = p.stretch.timeOf(p.last) / 1000 * 1000; // what is recorded just now: whole seconds of it
        if (file.endMs <= file.beginMs) {
            continue;
        }
        const ClipPtr pictures = clip(p.stretch);
        for (int64_t i = p.first; i < p.last; ++i) {
            file.bytes += static_cast<int64_t>(unitOf(*pictures, i).size + kFrameHeader);
        }
        file.name = recordingToken(channel) + "/" + videoTrack() + "/" + clockText(file.beginMs) + "-" +
                    clockText(file.endMs) + ".h265x";
        all.push_back(std::move(file));
    }
    return all;
}

std::vector<RecordedPicture> RecordingStore::pictures(int channel, int64_t civilDay)
{
    std::vector<RecordedPicture> all;
    for (const Piece& p : pieces(channel, civilDay)) {
        for (int64_t i = p.first; i < p.last; i += static_cast<int64_t>(kPictureSeconds * m_options.fps)) {
            RecordedPicture picture;
            picture.timeMs = p.stretch.timeOf(i);
            picture.name = recordingToken(channel) + "/" + clockText(picture.timeMs) + ".jpg";
            {
                std::lock_guard lock(m_mutex);
                const auto known = m_jpegBytes.find(picture.name);
                picture.bytes = known == m_jpegBytes.end() ? 0 : known->second;
            }
            if (picture.bytes == 0) {
                picture.bytes = static_cast<int64_t>(jpegAt(channel, picture.timeMs).size());
                std::lock_guard lock(m_mutex);
                if (m_jpegBytes.size() >= kMaxJpegSizes) {
                    m_jpegBytes.clear();
                }
                m_jpegBytes[picture.name] = picture.bytes;
            }
            all.push_back(std::move(picture));
        }
    }
    return all;
}

std::vector<std::string> RecordingStore::days(int channel) const
{
    std::set<std::string> found;
    for (const Stretch& s : stretches(channel)) {
        for (int64_t t = s.beginMs; t < s.endMs(); t += kFileSeconds * 1000) {
            found.insert(civilText(m_zone.civilOf(t / 1000)).substr(0, 10));
        }
    }
    return {found.begin(), found.end()};
}

std::string RecordingStore::jpegAt(int channel, int64_t utcMs)
{
    for (const Stretch& s : stretches(channel)) {
        if (utcMs < s.beginMs || utcMs >= s.endMs()) {
            continue;
        }
        const ClipPtr pictures = clip(s);
        int64_t picture = s.firstAt(utcMs);
        picture -= s.timeOf(std::min(picture, s.pictures - 1)) > utcMs || picture == s.pictures ? 1 : 0;
        return jpegOf(*pictures, unitOf(*pictures, keyBefore(*pictures, picture))).value_or("");
    }
    return "";
}

int RecordingStore::prepareAll()
{
    std::vector<Stretch> all;
    for (int channel = 0; channel < channels(); ++channel) {
        for (const Stretch& s : stretches(channel)) {
            if (!s.running()) { // which there may or may not be already
                all.push_back(s);
            }
        }
        all.push_back({channel, kParts, m_startMs, 1, static_cast<double>(m_options.fps)});
    }
    inParallel(all.size(), [&](size_t i) { clip(all[i]); });
    return static_cast<int>(all.size());
}

} // namespace lumo::recorder
