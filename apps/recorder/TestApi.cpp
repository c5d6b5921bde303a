#include "TestApi.h"

#include <json/json.h>
#include <libsoup/soup.h>

#include <charconv>
#include <map>

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

ApiAnswer goodApiAnswer(const Json::Value& value)
{
    return {200, write(value)};
}

ApiAnswer badApiAnswer(int status, const char* why)
{
    Json::Value value;
    value["error"] = why;
    return {status, write(value)};
}

std::string queryText(const std::string& query, const char* key)
{
    GHashTable* form = soup_form_decode(query.c_str());
    const auto* text = static_cast<const char*>(g_hash_table_lookup(form, key));
    std::string result = text ? text : "";
    g_hash_table_destroy(form);
    return result;
}

std::optional<int> queryNumber(const std::string& query, const char* key)
{
    const std::string text = queryText(query, key);
    int value = 0;
    const char* end = text.data() + text.size();
    const bool whole = std::from_chars(text.data(), end, value).ptr == end && !text.empty();
    return whole ? std::optional(value) : std::nullopt;
}

ApiAnswer TestApi::handle(const std::string& method, const std::string& path, const std::string& query,
                          const std::string& body)
{
    if (path == "/api/fault") {
        return method == "POST" ? fault(body) : badApiAnswer(405, "POST only");
    }
    if (method != "GET") {
        return badApiAnswer(405, "GET only");
    }
    return path == "/api/frame"    ? frame(query)
           : path == "/api/latest" ? latest(query)
           : path == "/api/state"  ? state()
                                   : badApiAnswer(404, "no such call");
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
        return badApiAnswer(400, "needs channel, stream and frame");
    }
    const auto note = s->lastLeft(*number);
    return note ? goodApiAnswer(frameJson(*s, *note)) : badApiAnswer(404, "this frame never left");
}

ApiAnswer TestApi::latest(const std::string& query)
{
    const LiveStream* s = streamOf(query);
    if (!s) {
        return badApiAnswer(400, "needs channel and stream");
    }
    const auto note = s->newest();
    return note ? goodApiAnswer(frameJson(*s, *note)) : badApiAnswer(404, "no frame left yet");
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
    return goodApiAnswer(value);
}

ApiAnswer TestApi::fault(const std::string& body)
{
    Json::Value request;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(body.data(), body.data() + body.size(), &request, &errors) || !request.isObject()) {
        return badApiAnswer(400, "needs a JSON object");
    }
    if (request["clear"].isBool() && request["clear"].asBool()) {
        m_faults.clear();
    } else if (request["refusePassword"].isBool()) {
        m_faults.setRefusePassword(request["refusePassword"].asBool());
    } else if (request["stopAnswering"].isBool()) {
        m_faults.setSilent(request["stopAnswering"].asBool());
    } else if (request["answerDelayMs"].isInt() && request["answerDelayMs"].asInt() >= 0) {
        m_faults.setAnswerDelayMs(request["answerDelayMs"].asInt());
    } else if (request.isMember("replay")) {
        return replayFault(request);
    } else if (request.isMember("command") || request.isMember("upload") || request.isMember("events")) {
        return serviceFault(request);
    } else {
        return channelFault(request);
    }
    return goodApiAnswer(Json::Value(Json::objectValue));
}

ApiAnswer TestApi::replayFault(const Json::Value& request)
{
    using Fault = Faults::ReplayFault;
    const std::string kind = request["replay"].isString() ? request["replay"].asString() : "";
    const int after = request["after"].isInt() && request["after"].asInt() > 0 ? request["after"].asInt() : 0;
    if (kind != "cut" && kind != "stall" && kind != "none") {
        return badApiAnswer(400, "replay: cut, stall or none");
    }
    m_faults.setReplayFault(kind == "cut" ? Fault::Cut : kind == "stall" ? Fault::Stall : Fault::None, after);
    return goodApiAnswer(Json::Value(Json::objectValue));
}

ApiAnswer TestApi::serviceFault(const Json::Value& request)
{
    using Command = Faults::CommandFault;
    using Event = Faults::EventFault;
    using Upload = Faults::UploadFault;
    static const std::map<std::string, std::function<void(Faults&)>> faults = {
        {"command none", [](Faults& f) { f.setCommandFault(Command::None); }},
        {"command refuse", [](Faults& f) { f.setCommandFault(Command::Refuse); }},
        {"command hang", [](Faults& f) { f.setCommandFault(Command::Hang); }},
        {"command broken", [](Faults& f) { f.setCommandFault(Command::Broken); }},
        {"command huge", [](Faults& f) { f.setCommandFault(Command::Huge); }},
        {"events none", [](Faults& f) { f.setEventFault(Event::None); }},
        {"events refuse", [](Faults& f) { f.setEventFault(Event::Refuse); }},
        {"events hang", [](Faults& f) { f.setEventFault(Event::Hang); }},
        {"events broken", [](Faults& f) { f.setEventFault(Event::Broken); }},
        {"events huge", [](Faults& f) { f.setEventFault(Event::Huge); }},
        {"upload none", [](Faults& f) { f.setUploadFault(Upload::None); }},
        {"upload slow", [](Faults& f) { f.setUploadFault(Upload::Slow); }},
        {"upload fail", [](Faults& f) { f.setUploadFault(Upload::Fail); }},
        {"upload busy", [](Faults& f) { f.setUploadFault(Upload::Busy); }},
    };
    const char* service = request.isMember("command") ? "command" : request.isMember("events") ? "events" : "upload";
    const Json::Value& named = request[service];
    const auto found = faults.find(std::string(service) + " " + (named.isString() ? named.asString() : ""));
    if (found == faults.end()) {
        return badApiAnswer(400, "command, events: none, refuse, hang, broken, huge; upload: none, slow, fail, busy");
    }
    found->second(m_faults);
    return goodApiAnswer(Json::Value(Json::objectValue));
}

ApiAnswer TestApi::channelFault(const Json::Value& request)
{
    if (!request["channel"].isInt() || request["channel"].asInt() < 0 ||
        request["channel"].asInt() >= m_options.channels) {
        return badApiAnswer(400, "no such fault or channel");
    }
    const int channel = request["channel"].asInt();
    Json::Value value(Json::objectValue);
    if (request["freeze"].isBool()) {
        m_faults.setFrozen(channel, request["freeze"].asBool());
    } else if (request["drop"].isBool() && request["drop"].asBool()) {
        value["dropped"] = m_hooks.dropChannel(channel);
    } else {
        return badApiAnswer(400, "no such fault");
    }
    return goodApiAnswer(value);
}

} // namespace lumo::recorder
