// A recording in a container that FFmpeg opens: AVI, MP4, MKV, program and transport streams, and its kin.
//
// H.264, H.265 and MJPEG come as frames of ours, in Annex B form, so that they can be recorded like any other; other
// codecs come as they are, with what the container says of them.
#pragma once

#include "FileReader.h"
#include "PictureOrder.h"

namespace lumo
{

class ContainerFile final : public FileReader
{
public:
    /// Null when FFmpeg does not open it, or there is no picture in it that it could decode.
    static std::unique_ptr<ContainerFile> open(const std::string& path);

    bool next(Packet& packet) override;
    bool scan(IndexEntry& entry) override;
    bool rewind(const MediaIndex& index, int64_t serial) override;
    double progress() const override;
    int intervalMs() const override { return m_intervalMs; }
    int64_t beginMs() const override { return int64_t(delay()) * m_intervalMs; }
    bool hasSound() const override { return m_soundStream >= 0; }
    bool foreign() const override { return m_foreign; }

private:
    ContainerFile() = default;
    /// By how many pictures showing comes behind decoding.
    int delay() const { return m_file->streams[m_videoStream]->codecpar->video_delay; }
    bool openFile();
    bool openVideo();
    bool makeFilter(const char* name);
    void openSound();
    bool read();
    bool readVideo();
    Packet makeVideo();
    Packet makeSound() const;
    bool isPicture(const IndexEntry& entry) const;
    bool findFrom(const IndexEntry& entry, int64_t stamp, bool byBytes);
    bool countFrom(int64_t serial);
    int64_t msOf(int64_t stamp, int stream) const;

    std::string m_path;
    FormatPtr m_file;
    PacketPtr m_read;   // as it was read last
    FilterPtr m_filter; // into Annex B form; null where the codec needs none
    int m_videoStream = -1, m_soundStream = -1;
    VideoFrameHeader m_header; // what all frames have in common
    StreamForm m_videoForm, m_soundForm;
    bool m_foreign = false;
    bool m_doubtKeys = false; // an AVI without its index calls every frame a key frame
    bool m_pending = false;   // m_read, a picture, was found by rewind() and is the next
    int m_intervalMs = 40;
    int64_t m_createdMs = 0; // the calendar time of the begin; 0 if the file does not tell
    std::unique_ptr<PictureOrder> m_order;
};

} // namespace lumo
