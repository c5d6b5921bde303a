// The part of a session description (RFC 8866) that a player of RTSP streams needs.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net
{

struct SdpMedia {
    std::string type; // "video", "audio", ...
    int payloadType = -1;
    std::string encoding; // upper case, from rtpmap or the static table
    uint32_t clockRate = 0;
    uint32_t channels = 1;
    std::string control;
    std::map<std::string, std::string> format; // fmtp, keys in lower case
    uint8_t fps = 0;                           // a=framerate; 0 unknown
    uint16_t width = 0, height = 0;            // a=x-dimensions or a=framesize; 0 unknown
    bool fromDevice = true;                    // false for a=sendonly towards the device (a back channel)

    std::string parameter(const std::string& key) const;
};

struct Sdp {
    std::string control;
    std::vector<SdpMedia> media;
};

/// Takes any text: lines that make no sense are passed over. At most 16 media are kept.
Sdp parseSdp(std::string_view text);

} // namespace lumo::net
