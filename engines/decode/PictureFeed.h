// The decoding side of a recording that is played: frames from the source, pictures into a run, in the order in which
// they are shown. Port thread only.
#pragma once

#include "MediaSource.h"
#include "PictureRun.h"

#include <deque>
#include <functional>

namespace lumo
{

class PictureFeed
{
public:
    using Got = MediaSource::Got;
    using Record = std::function<void(const Packet&)>;

    /// record takes every frame once, as it goes into the decoder.
    PictureFeed(MediaSource& source, Record record) : m_source(source), m_record(std::move(record)) {}

    PictureRun& run() { return m_run; }
    /// Sound that was passed on the way to a picture and not heard yet.
    std::deque<Packet>& sounds() { return m_sounds; }

    /// Decodes until the run has a next picture. Later also when interrupted says so.
    Got fill(const std::function<bool()>& interrupted);
    /// The decoder's delay: whether it holds pictures that only more input, or drain(), brings out.
    bool holds() const { return m_decoder.holds(); }
    /// Brings them out. What comes in afterwards goes on without a loss.
    void drain();

    /// From this key frame on; the run is empty then. again: what was recorded once is not recorded again.
    bool startFrom(int64_t key, bool again);
    /// Whether decoding on from here leads to the picture that needs this key frame.
    bool leadsTo(int64_t order, int64_t key) const;
    /// What follows has nothing to do with what was.
    void forget();
    /// As many pictures as may be, not as few threads: at high speed, and on the way to a picture far from its key
    /// frame.
    void hurry(bool on) { m_hurry = on; }

private:
    void feed(Packet&& packet);
    void take(Picture&& picture);
    bool goOnAfterDrain(const Packet& packet);

    MediaSource& m_source;
    const Record m_record;
    VideoDecoder m_decoder{false};
    PictureRun m_run;
    std::deque<Packet> m_sounds;
    bool m_hurry = false;
    bool m_drained = false;    // the decoder was emptied between two key frames
    bool m_ended = false;      // the source has no more, and the decoder is empty
    int64_t m_skipTo = -1;     // pictures up to this one, by serial, are passed over ...
    int64_t m_skipWithin = -1; // ... but none whose frame came behind this one
    int64_t m_lastOrder = -1;  // of the last picture that came out
    int64_t m_lastOut = -1;    // and its serial
    int64_t m_lastSerial = -1; // of the last frame that went in
    int64_t m_recorded = -1;   // of the last frame that was recorded
};

} // namespace lumo
