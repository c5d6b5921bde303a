#include "AlarmApi.h"

#include <json/json.h>

namespace lumo::recorder
{
namespace
{

constexpr int kMaxFlood = 100000, kMaxFloodSeconds = 3600;

bool isTrue(const Json::Value& request, const char* key)
{
    return request[key].isBool() && request[key].asBool();
}

bool between(const Json::Value& value, int low, int high)
{
    return value.isInt() && value.asInt() >= low && value.asInt() <= high;
}

} // namespace

ApiAnswer AlarmApi::handle(const std::string& method, const std::string& body)
{
    if (method == "GET") {
        return state();
    }
    if (method != "POST") {
        return badApiAnswer(405, "GET or POST");
    }
    Json::Value request;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(body.data(), body.data() + body.size(), &request, &errors) || !request.isObject()) {
        return badApiAnswer(400, "needs a JSON object");
    }
    return change(request);
}

ApiAnswer AlarmApi::state()
{
    Json::Value value;
    value["on"] = Json::arrayValue;
    for (const auto& [kind, channel] : m_board.all()) {
        Json::Value alarm;
        alarm["kind"] = alarmName(kind);
        alarm["channel"] = channel;
        value["on"].append(alarm);
    }
    const EventHub::Counts counts = m_events.counts();
    value["changes"] = static_cast<Json::Int64>(m_board.changes());
    value["flooding"] = m_board.flooding();
    value["subscriptions"] = static_cast<Json::Int64>(counts.subscriptions);
    value["waiting"] = static_cast<Json::Int64>(counts.waiting);
    value["kept"] = static_cast<Json::Int64>(counts.kept);
    value["sent"] = static_cast<Json::Int64>(counts.sent);
    value["dropped"] = static_cast<Json::Int64>(counts.dropped);
    value["spoiled"] = static_cast<Json::Int64>(counts.spoiled);
    return goodApiAnswer(value);
}

ApiAnswer AlarmApi::change(const Json::Value& request)
{
    const auto kind = alarmOfName(request["kind"].isString() ? request["kind"].asString() : "");
    const int channel = request["channel"].isInt() ? request["channel"].asInt() : -1;
    if (isTrue(request, "clear")) {
        m_board.clear();
    } else if (isTrue(request, "forget")) {
        m_events.forget();
    } else if (!kind || !m_board.knows(*kind, channel)) {
        return badApiAnswer(400, "no such kind or channel");
    } else if (request["on"].isBool()) {
        m_board.set(*kind, channel, request["on"].asBool());
    } else if (between(request["flood"], 1, kMaxFlood) && between(request["seconds"], 1, kMaxFloodSeconds)) {
        m_board.flood(*kind, channel, request["flood"].asInt(), request["seconds"].asInt());
    } else {
        return badApiAnswer(400, "on, or flood and seconds");
    }
    return goodApiAnswer(Json::Value(Json::objectValue));
}

} // namespace lumo::recorder
