// The command line of lumo-recorder: every setting, checked once, constant afterwards.
#pragma once

#include "AlarmKind.h"

#include <optional>
#include <string>
#include <vector>

namespace lumo::recorder
{

struct PictureSize {
    int width = 0;
    int height = 0;
    bool operator==(const PictureSize&) const = default;
};

enum class Codec { H264, H265, Mjpeg };
const char* codecName(Codec codec); // as ONVIF writes it: "H264", "H265", "JPEG"

struct Options {
    std::string address = "127.0.0.1";
    int httpPort = 8080; // 0: the system picks one
    int rtspPort = 8554; // 0: the system picks one
    int replayPort = 0;  // of recorded streams; 0: the system picks one
    int channels = 16;   // 1..64
    PictureSize mainSize{1280, 720};
    PictureSize subSize{640, 360};
    std::optional<Codec> codec; // nothing: mixed, H.264 on even and H.265 on odd channels
    int fps = 25;               // 1..60
    std::string videoFile;      // empty: the recorder's own scenes
    std::string user = "admin";
    std::string password = "lumo";
    std::string serial = "LUMO00000001";
    std::string name = "Lumo Recorder";
    std::string webDir;                  // empty: no page
    std::string cacheDir;                // never empty after parsing
    std::string receivedDir;             // of files and speech; empty: one of its own, removed at the end
    std::optional<int> utcOffsetMinutes; // the device's local time minus UTC; nothing: this machine's zone
    int clockSkewSeconds = 0;            // the device's clock minus the true one
    std::vector<AlarmPlan> alarms;       // that come and go by themselves
    bool discovery = true;
    bool twoLenses = false;     // its cameras have a wide and a long lens
    bool prepareOnly = false;   // make all clips, then end
    int recordedSeconds = 3600; // of recorded video on each channel that records
    bool recordedGiven = false; // --recorded was given: --prepare makes recordings too

    Codec codecOf(int channel) const;
    PictureSize sizeOf(int stream) const { return stream == 0 ? mainSize : subSize; }
};

/// What parsing ended in: options, or a text to print and an exit code (0 for --help).
struct ParsedOptions {
    std::optional<Options> options;
    std::string message;
    int exitCode = 0;
};

ParsedOptions parseOptions(int argc, const char* const* argv);

} // namespace lumo::recorder
