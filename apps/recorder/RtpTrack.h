// Access units as RTP packets (RFC 3550; H.264: RFC 6184; A-law: RFC 3551), each interleaved for RTSP over TCP and with
// ONVIF's replay extension: the absolute time of the picture, and what it means in the recording.
//
// Thread: one at a time. Units: times are UTC milliseconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo::recorder
{

/// The flags of the extension.
struct ReplayMarks {
    bool clean = false;         // decoding can start here
    bool end = false;           // the last one before a gap
    bool discontinuity = false; // the first one after a gap
    uint8_t sequence = 0;       // low byte of the CSeq of the PLAY that it answers
};

class RtpTrack
{
public:
    RtpTrack(int payloadType, int clockRate);

    /// Interleaved channel of the packets; below 0: the track was not set up and adds nothing.
    void setChannel(int channel) { m_channel = channel; }
    bool active() const { return m_channel >= 0; }
    /// Another source from now on: the last one said goodbye.
    void renew();

    void addH264(std::string& out, const uint8_t* unit, size_t size, int64_t utcMs, ReplayMarks marks);
    void addSound(std::string& out, const uint8_t* samples, size_t size, int64_t utcMs, ReplayMarks marks);
    void addBye(std::string& out) const;

    uint16_t nextSequence() const { return m_sequence; }
    uint32_t timestampOf(int64_t utcMs) const;

private:
    void addNal(std::string& out, const uint8_t* nal, size_t size, bool last, int64_t utcMs, ReplayMarks& marks);
    void addPacket(std::string& out, bool marker, int64_t utcMs, ReplayMarks& marks, const uint8_t* head,
                   size_t headSize, const uint8_t* data, size_t size);

    const int m_payloadType;
    const int m_clockRate;
    int m_channel = -1;
    uint32_t m_source = 0, m_timeBase = 0;
    uint16_t m_sequence = 0;
};

} // namespace lumo::recorder
