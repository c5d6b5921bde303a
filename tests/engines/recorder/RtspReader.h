// An independent RTSP client: FFmpeg's. Opens a stream, decodes it and reads the numbers in the pictures.
#pragma once

#include "PictureCode.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct AVFormatContext;
struct AVCodecContext;

struct SeenPicture {
    lumo::PictureCode code;
    std::optional<lumo::PictureTime> time; // of a recorded picture
    int64_t receivedUs = 0;                // CLOCK_REALTIME when its packet was in
    bool key = false;
};

class RtspReader
{
public:
    /// transport: "tcp" or "udp". On failure error() is FFmpeg's number.
    RtspReader(const std::string& url, const std::string& transport);
    ~RtspReader();
    RtspReader(const RtspReader&) = delete;
    RtspReader& operator=(const RtspReader&) = delete;

    bool opened() const { return m_decoder != nullptr; }
    int error() const { return m_error; }
    std::string codec() const;
    int width() const;
    int height() const;
    bool hasSound() const { return m_audio >= 0; }

    /// The next picture; nothing after timeoutMs without one, or when the stream ends.
    std::optional<SeenPicture> next(int timeoutMs = 10000);
    std::vector<SeenPicture> take(int count);
    /// Bytes of sound that came while pictures were read.
    size_t soundBytes() const { return m_soundBytes; }

private:
    static int interrupted(void* self);

    AVFormatContext* m_format = nullptr;
    AVCodecContext* m_decoder = nullptr;
    int m_video = -1, m_audio = -1, m_error = 0;
    int64_t m_deadlineUs = 0; // monotonic
    size_t m_soundBytes = 0;
};
