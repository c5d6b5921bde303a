// A channel's loudspeaker and microphone: what it hears is counted, measured and kept in a file as it came (G.711 A-law
// at 8000 Hz); what it says back is silence, or a tone that a test asks for.
//
// Thread: any; one lock.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <mutex>
#include <set>
#include <string>

namespace lumo::recorder
{

struct HeardNote {
    int64_t packets = 0, bytes = 0, oddPackets = 0; // odd: of another size than 20 ms
    int64_t largestGapUs = 0;                       // between two packets
    int toneHz = 0;
    int talking = 0; // media that play just now
    std::string file;
};

class TalkRoom
{
public:
    /// file: where it is kept; begun anew.
    TalkRoom(int channel, std::string file);

    const int channel;

    void hear(const uint8_t* codes, size_t size);
    void clear();
    HeardNote note() const;
    /// All that was heard since clear().
    std::string heard() const;

    /// 0: silence. Also of a talk that is going on.
    void setTone(int hz);
    /// A microphone of a media: its element "mouth".
    void addMouth(GstElement* source);
    void removeMouth(GstElement* source);

private:
    void apply(GstElement* source) const;

    mutable std::mutex m_mutex;
    HeardNote m_note;               // m_mutex, as all of these
    int64_t m_lastUs = 0;           // 0: none yet
    std::set<GstElement*> m_mouths; // references
};

} // namespace lumo::recorder
