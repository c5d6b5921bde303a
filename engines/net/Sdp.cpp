#include "Sdp.h"

#include "Text.h"

namespace lumo::net
{
namespace
{

constexpr size_t kMaxMedia = 16;

void applyStaticType(SdpMedia& m)
{
    m.clockRate = 8000;
    if (m.payloadType == 0) {
        m.encoding = "PCMU";
    } else if (m.payloadType == 8) {
        m.encoding = "PCMA";
    } else if (m.payloadType == 26) {
        m.encoding = "JPEG";
        m.clockRate = 90000;
    }
}

void takeMediaLine(Sdp& sdp, std::string_view line)
{
    SdpMedia m;
    m.type = lower(takeUntil(line, ' '));
    takeUntil(line, ' '); // port
    takeUntil(line, ' '); // profile
    m.payloadType = int(toNumber(takeUntil(line, ' '), -1));
    applyStaticType(m);
    sdp.media.push_back(std::move(m));
}

void takeRtpMap(SdpMedia& m, std::string_view value)
{
    if (toNumber(takeUntil(value, ' '), -1) != m.payloadType)
        return;
    m.encoding = std::string(trim(takeUntil(value, '/')));
    for (char& c : m.encoding)
        c = char(std::toupper(uint8_t(c)));
    m.clockRate = uint32_t(toNumber(takeUntil(value, '/'), 0));
    const int64_t channels = toNumber(value, 1);
    m.channels = channels >= 1 && channels <= 8 ? uint32_t(channels) : 1;
}

void takeFormat(SdpMedia& m, std::string_view value)
{
    if (toNumber(takeUntil(value, ' '), -1) != m.payloadType)
        return;
    for (auto part : split(value, ';')) {
        const std::string key = lower(trim(takeUntil(part, '=')));
        if (!key.empty())
            m.format[key] = std::string(trim(part));
    }
}

void takeSize(SdpMedia& m, std::string_view size, char by)
{
    const int64_t w = toNumber(takeUntil(size, by), 0), h = toNumber(size, 0);
    if (w > 0 && h > 0 && w <= 16384 && h <= 16384) {
        m.width = uint16_t(w);
        m.height = uint16_t(h);
    }
}

void takeAttribute(Sdp& sdp, std::string_view line)
{
    const std::string key = lower(takeUntil(line, ':'));
    if (sdp.media.empty()) {
        if (key == "control")
            sdp.control = std::string(trim(line));
        return;
    }
    SdpMedia& m = sdp.media.back();
    if (key == "control") {
        m.control = std::string(trim(line));
    } else if (key == "rtpmap") {
        takeRtpMap(m, line);
    } else if (key == "fmtp") {
        takeFormat(m, line);
    } else if (key == "framerate") {
        const int64_t fps = toNumber(line, 0);
        m.fps = fps > 0 && fps <= 240 ? uint8_t(fps) : 0;
    } else if (key == "x-dimensions") {
        takeSize(m, trim(line), ',');
    } else if (key == "framesize") {
        takeUntil(line, ' ');
        takeSize(m, trim(line), '-');
    } else if (key == "sendonly") {
        // The description is written from the device's side only in name: ONVIF marks its back channel so.
        m.fromDevice = m.type != "audio";
    }
}

} // namespace

std::string SdpMedia::parameter(const std::string& key) const
{
    const auto found = format.find(key);
    return found == format.end() ? std::string() : found->second;
}

Sdp parseSdp(std::string_view text)
{
    Sdp sdp;
    bool keep = true;
    while (!text.empty()) {
        std::string_view line = trim(takeUntil(text, '\n'));
        if (line.size() < 2 || line[1] != '=')
            continue;
        const char kind = line[0];
        line.remove_prefix(2);
        if (kind == 'm') {
            keep = sdp.media.size() < kMaxMedia;
            if (keep)
                takeMediaLine(sdp, line);
        } else if (kind == 'a' && keep) {
            takeAttribute(sdp, line);
        }
    }
    return sdp;
}

} // namespace lumo::net
