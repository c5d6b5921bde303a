#include "RecordingApi.h"

#include <json/json.h>

#include <chrono>
#include <cstdio>

namespace lumo::recorder
{
namespace
{

/// Seconds of a date's midnight on the device's calendar; nothing for what is no date.
std::optional<int64_t> dayOf(const std::string& date)
{
    int year = 0, month = 0, day = 0, used = 0;
    if (std::sscanf(date.c_str(), "%4d-%2d-%2d%n", &year, &month, &day, &used) != 3 || used != 10 ||
        date.size() != 10) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const year_month_day parts{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                               std::chrono::day(static_cast<unsigned>(day))};
    return parts.ok() ? std::optional(civilSeconds(year, month, day, 0, 0, 0)) : std::nullopt;
}

} // namespace

ApiAnswer RecordingApi::handle(const std::string& method, const std::string& path, const std::string& query)
{
    if (method != "GET") {
        return badApiAnswer(405, "GET only");
    }
    const int channel = queryNumber(query, "channel").value_or(-1);
    if (channel < 0 || channel >= m_options.channels) {
        return badApiAnswer(400, "needs a channel");
    }
    return path == "/api/recordings"        ? list(channel, queryText(query, "date"))
           : path == "/api/recordings/days" ? days(channel)
                                            : badApiAnswer(404, "no such call");
}

ApiAnswer RecordingApi::list(int channel, const std::string& date)
{
    const auto day = dayOf(date);
    if (!day) {
        return badApiAnswer(400, "needs a date like 2025-03-29");
    }
    const auto text = [this](int64_t utcMs) { return civilText(m_zone.civilOf(utcMs / 1000)); };
    Json::Value value;
    value["channel"] = channel;
    value["date"] = date;
    value["files"] = Json::arrayValue;
    value["pictures"] = Json::arrayValue;
    if (channel >= m_store.channels()) {
        return goodApiAnswer(value);
    }
    for (const RecordedFile& f : m_store.files(channel, *day)) {
        Json::Value file;
        file["name"] = f.name;
        file["begin"] = text(f.beginMs);
        file["end"] = text(f.endMs);
        file["length"] = static_cast<Json::Int64>(f.bytes);
        file["type"] = 0;
        file["stream"] = 0;
        value["files"].append(file);
    }
    for (const RecordedPicture& p : m_store.pictures(channel, *day)) {
        Json::Value picture;
        picture["name"] = p.name;
        picture["time"] = text(p.timeMs);
        picture["length"] = static_cast<Json::Int64>(p.bytes);
        value["pictures"].append(picture);
    }
    return goodApiAnswer(value);
}

ApiAnswer RecordingApi::days(int channel)
{
    Json::Value value;
    value["days"] = Json::arrayValue;
    if (channel < m_store.channels()) {
        for (const std::string& day : m_store.days(channel)) {
            value["days"].append(day);
        }
    }
    return goodApiAnswer(value);
}

} // namespace lumo::recorder
