#include "CommandService.h"

#include <memory>

namespace lumo::recorder
{
namespace
{

constexpr int kYes = 100, kBadInput = 117, kBadFile = 118;

ApiAnswer verdict(const std::string& name, int ret)
{
    Json::Value value;
    value["Name"] = name;
    value["Ret"] = ret;
    return goodApiAnswer(value);
}

Json::Value parsed(const std::string& text)
{
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors) ? value : Json::Value();
}

/// The one record of a list of records; an empty object for anything else.
Json::Value firstOf(const Json::Value& list)
{
    return list.isArray() && list.size() == 1 && list[0].isObject() ? list[0] : Json::Value(Json::objectValue);
}

} // namespace

ApiAnswer CommandService::handle(const std::string& method, const std::string& path, const std::string& query,
                                 const std::string& body)
{
    const auto below = [&](const std::string& folder) { return path.rfind(folder, 0) == 0; };
    const int number = queryNumber(query, "number").value_or(0), channel = queryNumber(query, "channel").value_or(-1);
    if (below("/command/") && method == "POST") {
        return command(path.substr(9), number, channel, body);
    }
    if (below("/ability/") && method == "GET") {
        return ability(path.substr(9));
    }
    if (path == "/version" && method == "GET") {
        return goodApiAnswer(DeviceState::newestVersion());
    }
    if (path == "/upgrade") {
        return upgrade(method, body);
    }
    if (path == "/file" && method == "POST") {
        return verdict("File", m_state.takeFile(body) ? kYes : kBadFile);
    }
    return badApiAnswer(404, "no such call");
}

ApiAnswer CommandService::command(const std::string& name, int number, int channel, const std::string& body)
{
    if (channel < -1 || channel >= m_channels) {
        return badApiAnswer(400, "no such channel");
    }
    if (name == "OPSensorGet" && number == 3034 && m_twoLenses) {
        return lens(channel, parsed(body));
    }
    if (name == "OPScaleTimesSwitch" && number == 3032 && m_twoLenses) {
        return setLens(channel, parsed(body));
    }
    if (name == "OPFile" && number == 3500) {
        return verdict(name, m_state.announceFile(parsed(body)) ? kYes : kBadInput);
    }
    return badApiAnswer(404, "no such command");
}

ApiAnswer CommandService::ability(const std::string& name) const
{
    Json::Value value;
    value["Name"] = name;
    value["Ret"] = kYes;
    if (name == "bypass@SystemFunction") {
        value[name]["OtherFunction"]["SupportScaleTwoLens"] = m_twoLenses;
        return goodApiAnswer(value);
    }
    if (name == "ChannelSystemFunction@SupportIPCTalk") {
        for (int i = 0; i < m_channels; ++i) {
            value[name].append(i < m_talkers ? 1 : 0);
        }
        return goodApiAnswer(value);
    }
    return badApiAnswer(404, "no such ability");
}

// The name that the answer's list stands under carries the channel, where there is one.
ApiAnswer CommandService::lens(int channel, const Json::Value& input) const
{
    const Json::Value wanted = firstOf(input);
    if (!wanted["StreamType"].isInt()) {
        return verdict("OPSensorGet", kBadInput);
    }
    const int stream = wanted["StreamType"].asInt();
    const std::string name = channel < 0 ? "OPSensorGet" : "OPSensorGet.[" + std::to_string(channel) + "]";
    Json::Value value, now;
    now["StreamType"] = stream;
    now["Times"] = m_state.times(channel, stream);
    now["TimesOri"] = now["Times"];
    now["MaxTimes"] = DeviceState::kMaxTimes;
    value["Name"] = name;
    value[name].append(now);
    value["Ret"] = kYes;
    return goodApiAnswer(value);
}

ApiAnswer CommandService::setLens(int channel, const Json::Value& input)
{
    const Json::Value wanted = firstOf(input);
    const bool sound = wanted["StreamType"].isInt() && wanted["TimesOri"].isNumeric() && wanted["Times"].isNumeric();
    const bool done = sound && m_state.setTimes(channel, wanted["StreamType"].asInt(), wanted["Times"].asDouble());
    return verdict("OPScaleTimesSwitch", done ? kYes : kBadInput);
}

ApiAnswer CommandService::upgrade(const std::string& method, const std::string& body)
{
    if (method == "POST") {
        const Json::Value wanted = parsed(body);
        const bool named = wanted.isObject() && wanted["Version"].isString();
        if (!named || wanted["Version"].asString().empty()) {
            return badApiAnswer(400, "needs a version");
        }
        return m_state.startFetching(wanted["Version"].asString()) ? verdict("Upgrade", kYes)
                                                                   : badApiAnswer(503, "an upgrade is running");
    }
    const DeviceState::Progress now = m_state.progress();
    Json::Value value;
    value["State"] = static_cast<int>(now.state);
    value["Total"] = static_cast<Json::Int64>(now.total);
    value["Sent"] = static_cast<Json::Int64>(now.sent);
    value["Ret"] = kYes;
    return goodApiAnswer(value);
}

} // namespace lumo::recorder
