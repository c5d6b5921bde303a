// A raw recording: the frames of a stream one after the other. What is no frame is passed over; a frame whose end is
// missing is the file's end.
#pragma once

#include "FileReader.h"
#include "PictureOrder.h"
#include "SoundTimes.h"

namespace lumo
{

class RawFile final : public FileReader
{
public:
    /// Null when the file is none.
    static std::unique_ptr<RawFile> open(const std::string& path);

    bool next(Packet& packet) override;
    bool scan(IndexEntry& entry) override;
    bool rewind(const MediaIndex& index, int64_t serial) override;
    double progress() const override { return m_size > 0 ? double(m_at) / double(m_size) : 0; }
    int intervalMs() const override { return m_intervalMs; }
    bool hasSound() const override { return m_hasSound; }
    bool foreign() const override { return false; }

private:
    explicit RawFile(AvioPtr file) : m_file(std::move(file)), m_size(avio_size(m_file.get())), m_end(m_size) {}
    bool findFirst(FrameView& frame);
    bool findFrame(FrameView& frame);
    bool findMarker();
    bool load(const FrameView& frame, Packet& packet);
    bool look();

    AvioPtr m_file;
    const int64_t m_size;
    int64_t m_end;    // frames begin before this
    int64_t m_at = 0; // where the next frame is looked for
    int m_intervalMs = 40;
    bool m_hasSound = false;
    SoundTimes m_soundTimes;
    std::unique_ptr<PictureOrder> m_order; // made when a picture has no time
    VideoCodec m_orderCodec = VideoCodec::H264;
};

} // namespace lumo
