// Writes one AVI file: one video stream, and a sound stream when sound comes.
//
// The index and the sizes in the headers are written again every two seconds, behind the last frame; the next frames
// overwrite that index and the next round puts it further on. So a file whose writer died is whole up to the last
// round. The picture rate is the real one, measured from the frames' times and put into the header with each round: a
// rate that is too high would leave every other entry empty.
//
// Thread: one at a time.
#pragma once

#include "Files.h"
#include "Packet.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace lumo
{

class RiffBuffer;

class AviWriter
{
public:
    /// Makes the file and its folders; null on failure.
    static std::unique_ptr<AviWriter> create(const std::string& path);

    explicit AviWriter(FilePtr file) : m_file(std::move(file)) {}

    /// Video: the first must be a key frame. Sound in a codec or rate other than the first sound's is left out.
    bool write(const Packet& packet);
    bool finish();
    /// No more should go into this file: the format's sizes end at 2 GB.
    bool full() const { return m_end > kFullBytes; }

private:
    static constexpr uint64_t kFullBytes = 1'900'000'000;
    struct Entry {
        bool video, key;
        uint32_t offset, size;
    };
    /// A key frame and what follows up to the next.
    struct Group {
        int64_t firstMs = 0, lastMs = 0;
        uint32_t pictures = 0;
        bool steady = false;
        bool whole(int64_t nextMs) const
        {
            return steady && pictures > 0 && nextMs > lastMs && nextMs - lastMs <= 1000;
        }
    };
    struct Rate {
        uint32_t rate, scale;
    };

    bool writeVideo(const Packet& packet);
    bool writeSound(const Packet& packet);
    bool writeChunk(bool video, bool key, const uint8_t* data, size_t size);
    bool writeRound();
    std::vector<uint8_t> header() const;
    void videoList(RiffBuffer& b) const;
    void soundList(RiffBuffer& b) const;
    void measure(const Packet& packet);
    Rate pictureRate() const;

    FilePtr m_file;
    std::vector<Entry> m_index;
    uint32_t m_end = 0; // bytes of frames, headers included
    int64_t m_roundMs = 0;

    VideoFrameHeader m_form;
    int m_width = 0, m_height = 0;
    uint32_t m_pictures = 0, m_largest = 0;
    Group m_group;
    uint64_t m_measuredMs = 0;
    uint32_t m_measuredSteps = 0;

    bool m_hasSound = false;
    AudioFrameHeader m_sound;
    uint64_t m_soundUnits = 0; // bytes of A-law, frames of AAC
    int m_soundChannels = 1;
    uint32_t m_soundRate = 0;
    std::array<uint8_t, 2> m_aacConfig{};
};

} // namespace lumo
