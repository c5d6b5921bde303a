// What a device is sent beside questions: firmware and settings; and whether it has loudspeakers.
#include "Onvif.h"
#include "OnvifWords.h"
#include "Text.h"
#include "Xml.h"

#include "device/LumoNet.h"

#include <algorithm>

namespace lumo::net
{

int64_t parseDurationMs(std::string_view text)
{
    text = trim(text);
    int64_t ms = 0;
    bool time = false;
    if (text.empty() || text.front() != 'P')
        return 0;
    text.remove_prefix(1);
    while (!text.empty()) {
        if (text.front() == 'T') {
            time = true;
            text.remove_prefix(1);
            continue;
        }
        const size_t unit = text.find_first_not_of("0123456789.");
        if (unit == 0 || unit == std::string_view::npos)
            return 0;
        const int64_t number = std::clamp<int64_t>(toNumber(text, 0), 0, 1000000);
        const char c = text[unit];
        if (c == 'D' && !time)
            ms += number * 86400000;
        else if (c == 'H' && time)
            ms += number * 3600000;
        else if (c == 'M' && time)
            ms += number * 60000;
        else if (c == 'S' && time)
            ms += number * 1000;
        else
            return 0;
        text.remove_prefix(unit + 1);
    }
    return ms;
}

int OnvifClient::readAudioOutputs(int& count)
{
    std::string reply;
    count = 0;
    const int error = ask(m_paths.media, kMediaNs, "GetAudioOutputs", "", reply);
    if (error != 0)
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    xml::each(doc, "AudioOutputs", [&](const pugi::xml_node&) { ++count; });
    return 0;
}

int OnvifClient::startUpload(const char* operation, OnvifUpload& upload)
{
    std::string reply;
    int error = ask(m_peer.path, kDeviceNs, operation, "", reply);
    if (error == LUMONET_ERR_REFUSED && lower(reply).find("busy") != std::string::npos)
        error = LUMONET_ERR_BUSY;
    if (error != 0)
        return error;
    pugi::xml_document doc;
    xml::load(doc, reply);
    const std::string uri(trim(xml::text(xml::find(doc, "UploadUri"))));
    upload.url = url(pathOf(uri));
    upload.delayMs = std::min<int64_t>(parseDurationMs(xml::text(xml::find(doc, "UploadDelay"))), 60000);
    return uri.empty() ? LUMONET_ERR_REFUSED : 0;
}

} // namespace lumo::net
