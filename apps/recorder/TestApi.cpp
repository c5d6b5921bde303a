#include "TestApi.h"

#include <json/json.h>
#include <libsoup/soup.h>

#include <charconv>
#include <cstring>
#include <optional>

namespace lumo::recorder
{
namespace
{

std::string write(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value) + "\n";
}

ApiAnswer good(const Json::Value& value)
{
    return {200, write(value)};
}

ApiAnswer bad(int status, const char* why)
{
    Json::Value value;
    value["error"] = why;
    return {status, write(value)};
}

std::optional<int> queryNumber(const std::string& query, const char* key)
{
    GHashTable* form = soup_form_decode(query.c_str());
    const auto* text = static_cast<const char*>(g_hash_table_lookup(form, key));
    std::optional<int> result;
    if (text) {
        int value = 0;
        const char* end = text + std::strlen(text);
        if (std::from_chars(text, end, value).ptr == end && end != text) {
            result = value;
        }
    }
    g_hash_table_destroy(form);
    return result;
}

Json::Value frameJson(const LiveStream& s, const FrameNote& note)
{
    Json::Value value;
    value["channel"] = s.channel;
    value["stream"] = s.stream;
    value["frame"] = note.frame;
    value["loop"] = static_cast<Json::Int64>(note.loop);
    value["leftUs"] = static_cast<Json::Int64>(note.leftUs);
    return value;
}

} // namespace

ApiAnswer TestApi::handle(const std::string& method, const std::string& path, const std::string& query,
                          const std::string& body)
{
    if (path == "/api/fault") {
        return method == "POST" ? fault(body) : bad(405, "POST only");
    }
    if (method != "GET") {
        return bad(405, "GET only");
    }
    return path == "/api/frame"    ? frame(query)
           : path == "/api/latest" ? latest(query)
           : path == "/api/state"  ? state()
                                   : bad(404, "no such call");
}

const LiveStream* TestApi::streamOf(const std::string& query) const
{
    const int channel = queryNumber(query, "channel").value_or(-1), stream = queryNumber(query, "stream").value_or(0);
    const bool known = channel >= 0 && channel < m_options.channels && stream >= 0 && stream <= 1;
    return known ? m_streams[static_cast<size_t>(channel) * 2 + static_cast<size_t>(stream)].get() : nullptr;
}

ApiAnswer TestApi::frame(const std::string& query)
{
    const LiveStream* s = streamOf(query);
    const auto number = queryNumber(query, "frame");
    if (!s || !number) {
        return bad(400, "needs channel, stream and frame");
    }
    const auto note = s->lastLeft(*number);
    return note ? good(frameJson(*s, *note)) : bad(404, "this frame never left");
}

ApiAnswer TestApi::latest(const std::string& query)
{
    const LiveStream* s = streamOf(query);
    if (!s) {
        return bad(400, "needs channel and stream");
    }
    const auto note = s->newest();
    return note ? good(frameJson(*s, *note)) : bad(404, "no frame left yet");
}

ApiAnswer TestApi::state()
{
    Json::Value value;
    value["serial"] = m_options.serial;
    value["channels"] = m_options.channels;
    value["connections"] = m_hooks.connections();
    value["refusePassword"] = m_faults.refusesPassword();
    value["stopAnswering"] = m_faults.silent();
    value["streams"] = Json::arrayValue;
    for (const auto& s : m_streams) {
        Json::Value stream;
        stream["channel"] = s->channel;
        stream["stream"] = s->stream;
        stream["codec"] = codecName(m_store.codec(s->channel, s->stream));
        stream["width"] = m_store.size(s->channel, s->stream).width;
        stream["height"] = m_store.size(s->channel, s->stream).height;
        stream["fps"] = m_store.fps(s->channel, s->stream);
        stream["loopFrames"] = s->loopFrames();
        stream["playing"] = s->playing.load();
        stream["frozen"] = m_faults.channelFrozen(s->channel);
        value["streams"].append(stream);
    }
    return good(value);
}

ApiAnswer TestApi::fault(const std::string& body)
{
    Json::Value request;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(body.data(), body.data() + body.size(), &request, &errors) || !request.isObject()) {
        return bad(400, "needs a JSON object");
    }
    if (request["clear"].isBool() && request["clear"].asBool()) {
        m_faults.clear();
    } else if (request["refusePassword"].isBool()) {
        m_faults.setRefusePassword(request["refusePassword"].asBool());
    } else if (request["stopAnswering"].isBool()) {
        m_faults.setSilent(request["stopAnswering"].asBool());
    } else {
        return channelFault(request);
    }
    return good(Json::Value(Json::objectValue));
}

ApiAnswer TestApi::channelFault(const Json::Value& request)
{
    if (!request["channel"].isInt() || request["channel"].asInt() < 0 ||
        request["channel"].asInt() >= m_options.channels) {
        return bad(400, "no such fault or channel");
    }
    const int channel = request["channel"].asInt();
    Json::Value value(Json::objectValue);
    if (request["freeze"].isBool()) {
        m_faults.setFrozen(channel, request["freeze"].asBool());
    } else if (request["drop"].isBool() && request["drop"].asBool()) {
        value["dropped"] = m_hooks.dropChannel(channel);
    } else {
        return bad(400, "no such fault");
    }
    return good(value);
}

} // namespace lumo::recorder
