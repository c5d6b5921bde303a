// The media of one stream as gst-rtsp-server makes them: the live one, shared by all who watch, and where the channel
// has a loudspeaker, one for each who asks for ONVIF's back channel: its sound and the way to its loudspeaker.
//
// A media that is being taken down cannot be joined, and the library would answer 503 to who comes just then; so
// whoever comes after retireMedia gets a new one. Thread: any.
#pragma once

#include <gst/rtsp-server/rtsp-server.h>

#include <string>

namespace lumo::recorder
{

struct MediaLines {
    std::string live;  // gst_parse_launch: elements pay0, pay1
    std::string talk;  // the same for who asks for the back channel; empty: there is none
    std::string heard; // what takes the speech: RTP in at the element depay_backchannel
};

/// A new reference.
GstRTSPMediaFactory* newLiveFactory(const MediaLines& lines);
/// The present live media is on its way out.
void retireMedia(GstRTSPMediaFactory* factory);

} // namespace lumo::recorder
