// Cuts a bare H.264 or H.265 byte stream (Annex B of ITU-T H.264 and H.265) into access units.
#pragma once

#include "common/StreamFrame.h"

#include <functional>
#include <vector>

namespace lumo
{

/// Which codec the parameter sets in a bare stream belong to; false when there are none.
bool detectBareCodec(const uint8_t* data, size_t size, VideoCodec& codec);

/// Whether decoding may begin with this access unit: it brings its parameter sets, or is a picture made for that.
bool mayBeginWith(VideoCodec codec, const uint8_t* unit, size_t size);

/// Whether nothing after this key frame, also nothing shown before it, needs anything from before it: an IDR picture.
bool standsAlone(VideoCodec codec, const uint8_t* unit, size_t size);

/// Thread: one at a time. Memory: at most one access unit of kMaxVideoPayload plus what was pushed.
class AnnexBSplitter
{
public:
    using Sink = std::function<void(VideoCodec codec, bool key, const uint8_t* unit, size_t size)>;

    /// Any bytes. An access unit goes to the sink when the next one begins.
    void push(const uint8_t* data, size_t size, const Sink& sink);
    void clear();
    /// Whether parameter sets were seen, so that the stream's codec is known.
    bool active() const { return m_known; }

private:
    struct Nal {
        bool vcl = false, firstSlice = false, startsUnit = false, key = false;
    };
    Nal classify(const uint8_t* nal) const;
    void scan(const Sink& sink);
    void emit(size_t end, const Sink& sink);

    std::vector<uint8_t> m_buffer;
    size_t m_scanned = 0;  // start codes before this offset are done
    bool m_known = false;  // codec is known
    bool m_sawVcl = false; // the unit at the buffer's begin has a slice
    bool m_sawKey = false;
    VideoCodec m_codec = VideoCodec::H264;
};

} // namespace lumo
