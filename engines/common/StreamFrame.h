// One frame as it travels from LumoNet through the program, untouched, into LumoDecode: a header and a payload.
// The program never looks inside; a raw recording (.h265x) is these frames one after the other.
//
// The fourth byte of each header has its top bit set, which no NAL unit header has, so a reader finds its place
// again after damage. All numbers are low byte first.
//
//   video  00 00 01 F0 (key) or F1   codec u8, pictures per second u8, width u16, height u16, flags u16,
//                                    payload length u32, UTC milliseconds u64; payload: one access unit in
//                                    Annex B form (ITU-T H.264/H.265), or one JPEG picture
//   audio  00 00 01 FA               codec u8, rate code u8, payload length u16
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace lumo
{

enum class VideoCodec : uint8_t { Mjpeg = 1, H264 = 2, H265 = 3 };
enum class AudioCodec : uint8_t { ALaw = 14, Aac = 15 /* ADTS frames, ISO/IEC 13818-7 */ };

inline constexpr size_t kVideoHeaderSize = 24;
inline constexpr size_t kAudioHeaderSize = 8;
inline constexpr size_t kMaxVideoPayload = 8u << 20; // bytes; larger is taken for damage
inline constexpr uint16_t kFlagDecodeOnly = 1;       // decode, do not show
inline constexpr uint16_t kFlagNewPosition = 2; // the first picture after a seek: what came before is of another place

struct VideoFrameHeader {
    bool key = false;
    VideoCodec codec = VideoCodec::H264;
    uint8_t fps = 0; // 0 unknown
    uint16_t width = 0, height = 0;
    uint16_t flags = 0;
    uint32_t payloadSize = 0;
    uint64_t utcMs = 0; // the device's wall clock, shifted so that localtime shows the device's own hours
};

struct AudioFrameHeader {
    AudioCodec codec = AudioCodec::ALaw;
    uint32_t sampleRate = 8000; // Hz; only rates that have a code: see rateCode
    uint16_t payloadSize = 0;
};

/// 1: 4000, 2: 8000, 3: 11025, 4: 16000, 5: 20000, 6: 22050, 7: 32000, 8: 44100, 9: 48000 Hz; 0 if there is none.
uint8_t rateCode(uint32_t hz);
uint32_t rateOfCode(uint8_t code);

/// Appends the header of a payload of this size.
void appendVideoHeader(std::vector<uint8_t>& out, const VideoFrameHeader& header, size_t payloadSize);
/// Appends header and payload. payloadSize is taken from payload.
void appendVideoFrame(std::vector<uint8_t>& out, VideoFrameHeader header, const uint8_t* payload, size_t size);
void appendAudioFrame(std::vector<uint8_t>& out, AudioFrameHeader header, const uint8_t* payload, size_t size);

/// One whole frame, pointing into the reader's buffer.
struct FrameView {
    bool video = false;
    VideoFrameHeader v;
    AudioFrameHeader a;
    const uint8_t* payload = nullptr;
    size_t payloadSize = 0;
    const uint8_t* whole = nullptr; // header and payload
    size_t wholeSize = 0;
};

/// The frame that begins at data, if a sensible header stands there. Its payload may reach past size: compare
/// wholeSize.
std::optional<FrameView> frameAt(const uint8_t* data, size_t size);

/// Cuts a byte stream into frames. Takes any bytes: what is no frame is skipped up to the next header.
/// Thread: one at a time. Memory: at most one frame plus what was pushed.
class FrameReader
{
public:
    void push(const uint8_t* data, size_t size);
    /// The next whole frame; valid until the next push() or next(). Empty when more bytes are needed.
    std::optional<FrameView> next();
    void clear();
    size_t buffered() const { return m_buffer.size() - m_read; }
    /// Bytes skipped so far because they belonged to no frame.
    size_t skipped() const { return m_skipped; }

private:
    std::vector<uint8_t> m_buffer;
    size_t m_read = 0;
    size_t m_skipped = 0;
};

} // namespace lumo
