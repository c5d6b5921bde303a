#include "Options.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace lumo::recorder
{
namespace
{

constexpr const char* kUsage =
    "usage: lumo-recorder [options]\n"
    "  --address A          address to listen on (127.0.0.1)\n"
    "  --http-port N        ONVIF, page and test calls (8080; 0 picks a free one)\n"
    "  --rtsp-port N        streams (8554; 0 picks a free one)\n"
    "  --replay-port N      recorded streams (0; 0 picks a free one)\n"
    "  --channels N         1 to 64 (16)\n"
    "  --main WxH           main stream (1280x720)\n"
    "  --sub WxH            sub stream (640x360)\n"
    "  --codec C            h264, h265, mjpeg or mixed (mixed: H.264 on even, H.265 on odd channels)\n"
    "  --fps N              pictures per second, 1 to 60 (25)\n"
    "  --video FILE         stream this file on every channel instead of the recorder's own scenes\n"
    "  --user U             (admin)\n"
    "  --password P         (lumo)\n"
    "  --serial S           letters and digits (LUMO00000001)\n"
    "  --name N             device name (Lumo Recorder)\n"
    "  --web DIR            page to serve on /\n"
    "  --cache DIR          where encoded scenes are kept ($XDG_CACHE_HOME/lumo-recorder)\n"
    "  --received DIR       where speech and files that come in are kept (a folder that is removed at the end)\n"
    "  --recorded SEC       recorded video on each of the first four channels, 0 to 3600 (3600; made when first asked\n"
    "                       for, or by --prepare where this option is given)\n"
    "  --utc-offset MIN     the device's local time, in minutes from UTC (this machine's zone, as TZ says)\n"
    "  --clock-skew SEC     how far the device's clock is off (0)\n"
    "  --alarm K:C:ON:EVERY an alarm that comes and goes: kind K (motion, tamper, loss, input, storage, network, "
    "human,\n"
    "                       face) of channel C is on for ON of EVERY seconds; may be given more than once\n"
    "  --no-discovery       do not answer WS-Discovery\n"
    "  --two-lenses         the cameras have two lenses each, whose scale the page can set\n"
    "  --prepare            encode what is not in the cache, then end\n";

[[noreturn]] void fail(const std::string& what)
{
    throw std::invalid_argument(what);
}

int number(const std::string& option, const std::string& text, int low, int high)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
        fail(option + ": '" + text + "' is not a number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return value;
}

PictureSize size(const std::string& option, const std::string& text)
{
    const auto x = text.find('x');
    if (x == std::string::npos) {
        fail(option + ": '" + text + "' is not WIDTHxHEIGHT");
    }
    const PictureSize result{number(option, text.substr(0, x), 64, 4096), number(option, text.substr(x + 1), 64, 4096)};
    if (result.width % 2 || result.height % 2) {
        fail(option + ": width and height must be even");
    }
    return result;
}

std::optional<Codec> codec(const std::string& text)
{
    if (text == "h264") {
        return Codec::H264;
    }
    if (text == "h265") {
        return Codec::H265;
    }
    if (text == "mjpeg") {
        return Codec::Mjpeg;
    }
    if (text != "mixed") {
        fail("--codec: '" + text + "' is none of h264, h265, mjpeg, mixed");
    }
    return std::nullopt;
}

std::string defaultCache()
{
    const char* xdg = std::getenv("XDG_CACHE_HOME");
    if (xdg && *xdg) {
        return std::string(xdg) + "/lumo-recorder";
    }
    const char* home = std::getenv("HOME");
    return home && *home ? std::string(home) + "/.cache/lumo-recorder"
                         : (std::filesystem::temp_directory_path() / "lumo-recorder").string();
}

std::string word(const std::string& option, const std::string& text)
{
    if (text.empty()) {
        fail(option + ": must not be empty");
    }
    return text;
}

std::string serialNumber(const std::string& text)
{
    for (const char c : word("--serial", text)) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-') {
            fail("--serial: only letters, digits and '-'");
        }
    }
    if (text.size() > 31) {
        fail("--serial: at most 31 characters");
    }
    return text;
}

/// "motion:0:5:20"
AlarmPlan alarmPlan(const std::string& option, const std::string& text)
{
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ':') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    const auto kind = alarmOfName(parts[0]);
    if (parts.size() != 4 || !kind) {
        fail(option + ": '" + text + "' is not a kind, a channel and two numbers of seconds");
    }
    AlarmPlan plan{*kind, number(option, parts[1], 0, 63), 0, number(option, parts[3], 2, 86400)};
    plan.onSeconds = number(option, parts[2], 1, plan.everySeconds - 1);
    return plan;
}

// RTP's JPEG header counts in blocks of eight pixels, eight bits each way.
void checkMjpeg(const PictureSize& s, const char* option)
{
    if (s.width % 8 || s.height % 8 || s.width > 2040 || s.height > 2040) {
        fail(std::string(option) + ": MJPEG over RTP needs multiples of 8 up to 2040");
    }
}

void checkTogether(const Options& o)
{
    if (o.codec == Codec::Mjpeg) {
        checkMjpeg(o.mainSize, "--main");
        checkMjpeg(o.subSize, "--sub");
    }
    if (!o.videoFile.empty() && !std::ifstream(o.videoFile).good()) {
        fail("--video: cannot read '" + o.videoFile + "'");
    }
    if (!o.webDir.empty() && !std::filesystem::is_directory(o.webDir)) {
        fail("--web: '" + o.webDir + "' is not a directory");
    }
    for (const AlarmPlan& plan : o.alarms) {
        if (plan.channel >= placesOf(plan.kind, o.channels)) {
            fail("--alarm: there is no " + std::string(alarmName(plan.kind)) + " " + std::to_string(plan.channel));
        }
    }
    if (o.httpPort != 0 && o.httpPort == o.rtspPort) {
        fail("--http-port and --rtsp-port must differ");
    }
}

void take(Options& o, const std::string& option, const std::string& value)
{
    using Setter = void (*)(Options&, const std::string&, const std::string&);
    struct Row {
        const char* name;
        Setter set;
    };
    static constexpr Row kRows[] = {
        {"--address", [](Options& o, auto& n, auto& v) { o.address = word(n, v); }},
        {"--http-port", [](Options& o, auto& n, auto& v) { o.httpPort = number(n, v, 0, 65535); }},
        {"--rtsp-port", [](Options& o, auto& n, auto& v) { o.rtspPort = number(n, v, 0, 65535); }},
        {"--replay-port", [](Options& o, auto& n, auto& v) { o.replayPort = number(n, v, 0, 65535); }},
        {"--recorded",
         [](Options& o, auto& n, auto& v) {
             o.recordedSeconds = number(n, v, 0, 3600);
             o.recordedGiven = true;
         }},
        {"--channels", [](Options& o, auto& n, auto& v) { o.channels = number(n, v, 1, 64); }},
        {"--main", [](Options& o, auto& n, auto& v) { o.mainSize = size(n, v); }},
        {"--sub", [](Options& o, auto& n, auto& v) { o.subSize = size(n, v); }},
        {"--codec", [](Options& o, auto&, auto& v) { o.codec = codec(v); }},
        {"--fps", [](Options& o, auto& n, auto& v) { o.fps = number(n, v, 1, 60); }},
        {"--video", [](Options& o, auto& n, auto& v) { o.videoFile = word(n, v); }},
        {"--user", [](Options& o, auto& n, auto& v) { o.user = word(n, v); }},
        {"--password", [](Options& o, auto&, auto& v) { o.password = v; }},
        {"--serial", [](Options& o, auto&, auto& v) { o.serial = serialNumber(v); }},
        {"--name", [](Options& o, auto& n, auto& v) { o.name = word(n, v); }},
        {"--web", [](Options& o, auto& n, auto& v) { o.webDir = word(n, v); }},
        {"--cache", [](Options& o, auto& n, auto& v) { o.cacheDir = word(n, v); }},
        {"--received", [](Options& o, auto& n, auto& v) { o.receivedDir = word(n, v); }},
        {"--alarm", [](Options& o, auto& n, auto& v) { o.alarms.push_back(alarmPlan(n, v)); }},
        {"--utc-offset", [](Options& o, auto& n, auto& v) { o.utcOffsetMinutes = number(n, v, -14 * 60, 14 * 60); }},
        {"--clock-skew", [](Options& o, auto& n, auto& v) { o.clockSkewSeconds = number(n, v, -100000, 100000); }},
    };
    for (const Row& row : kRows) {
        if (option == row.name) {
            row.set(o, option, value);
            return;
        }
    }
    fail("unknown option '" + option + "'");
}

} // namespace

const char* codecName(Codec codec)
{
    return codec == Codec::H264 ? "H264" : codec == Codec::H265 ? "H265" : "JPEG";
}

Codec Options::codecOf(int channel) const
{
    return codec ? *codec : channel % 2 == 0 ? Codec::H264 : Codec::H265;
}

ParsedOptions parseOptions(int argc, const char* const* argv)
{
    Options o;
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string option = argv[i];
            if (option == "--help") {
                return {std::nullopt, kUsage, 0};
            }
            if (option == "--no-discovery") {
                o.discovery = false;
            } else if (option == "--two-lenses") {
                o.twoLenses = true;
            } else if (option == "--prepare") {
                o.prepareOnly = true;
            } else if (i + 1 < argc) {
                take(o, option, argv[++i]);
            } else {
                fail("'" + option + "' is unknown or lacks its value");
            }
        }
        checkTogether(o);
    } catch (const std::invalid_argument& e) {
        return {std::nullopt, std::string("lumo-recorder: ") + e.what() + "\n", 2};
    }
    if (o.cacheDir.empty()) {
        o.cacheDir = defaultCache();
    }
    return {o, "", 0};
}

} // namespace lumo::recorder
