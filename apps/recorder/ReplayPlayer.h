// One replay of one channel: where it stands in what was recorded, and when the next picture leaves.
//
// Thread: its connection's. Blocking: play() and step() may wait for a recording that is not encoded yet.
#pragma once

#include "Faults.h"
#include "RecordingStore.h"
#include "RtpTrack.h"
#include "Tone.h"

#include <optional>
#include <string>
#include <vector>

namespace lumo::recorder
{

struct PlayRequest {
    std::optional<int64_t> beginMs, endMs; // UTC; no begin: from where it stands
    std::optional<double> nptSeconds;      // instead of a begin: from the first picture of all
    double scale = 1.0;                    // above 0
    bool paced = true;                     // false: as fast as it is taken
    bool keysOnly = false;
    uint8_t sequence = 0; // low byte of the request's CSeq
};

class ReplayPlayer
{
public:
    ReplayPlayer(RecordingStore& store, Faults& faults, int channel);

    RtpTrack video{96, 90000};
    RtpTrack sound{8, 8000};
    int channel() const { return m_channel; }
    bool hasSound() const { return m_channel == 0; }

    /// False when nothing is recorded there: nothing changes then.
    bool play(const PlayRequest& request);
    void pause() { m_playing = false; }
    bool playing() const { return m_playing; }
    bool paced() const { return m_request.paced; }
    /// The picture that leaves next; it may lie before what was asked for, at a key picture.
    int64_t positionMs() const;
    int64_t endMs() const { return m_endMs; }
    /// Milliseconds until the next picture is due; below 0: never.
    int waitMs() const;
    /// Adds the next picture, or the goodbye at the end. A fault that shall happen instead is returned.
    Faults::ReplayFault step(std::string& out);

private:
    bool place(int64_t utcMs);
    bool atEnd();
    void finish(std::string& out);
    void schedule();

    RecordingStore& m_store;
    Faults& m_faults;
    const int m_channel;
    std::vector<Stretch> m_stretches;
    size_t m_at = 0;       // stretch
    int64_t m_picture = 0; // in it
    ClipPtr m_clip;        // of it
    bool m_placed = false, m_playing = false, m_discontinuity = false;
    PlayRequest m_request; // the last one
    int64_t m_endMs = INT64_MAX;
    int64_t m_dueUs = 0; // monotonic
    Tone m_tone;
};

} // namespace lumo::recorder
