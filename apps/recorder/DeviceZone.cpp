#include "DeviceZone.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>

namespace lumo::recorder
{
namespace
{

// POSIX counts west of Greenwich as positive.
std::string fixedText(int seconds)
{
    char text[32];
    std::snprintf(text, sizeof(text), "LDT%c%02d:%02d", seconds > 0 ? '-' : '+', std::abs(seconds) / 3600,
                  std::abs(seconds) / 60 % 60);
    return seconds == 0 ? "UTC0" : text;
}

// The last line of a zone file is the rule for all time to come (RFC 8536).
std::string footerOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (all.size() < 3 || all.back() != '\n') {
        return "";
    }
    all.pop_back();
    return all.substr(all.rfind('\n') + 1);
}

std::string machineText()
{
    const char* told = std::getenv("TZ");
    std::string zone = told ? told : ":/etc/localtime";
    if (!zone.empty() && zone[0] == ':') {
        zone.erase(0, 1);
    }
    const std::string footer = footerOf(!zone.empty() && zone[0] == '/' ? zone : "/usr/share/zoneinfo/" + zone);
    // What is no file is a rule already, and what is neither stands for UTC.
    const bool rule = zone.find_first_of("0123456789") != std::string::npos;
    return !footer.empty() ? footer : rule ? zone : "UTC0";
}

std::tm localOf(int64_t utc)
{
    const auto t = static_cast<std::time_t>(utc);
    std::tm out{};
    localtime_r(&t, &out);
    return out;
}

} // namespace

DeviceZone::DeviceZone(std::optional<int> fixedMinutes)
{
    tzset();
    if (fixedMinutes) {
        m_fixed = *fixedMinutes * 60;
    }
    m_posix = m_fixed ? fixedText(*m_fixed) : machineText();
}

int64_t DeviceZone::offsetAt(int64_t utc) const
{
    return m_fixed ? *m_fixed : localOf(utc).tm_gmtoff;
}

bool DeviceZone::summerAt(int64_t utc) const
{
    return !m_fixed && localOf(utc).tm_isdst > 0;
}

int64_t DeviceZone::utcOf(int64_t civil) const
{
    // The offset a day before and a day after: only where they differ is there a choice.
    const int64_t early = civil - offsetAt(civil - 86400), late = civil - offsetAt(civil + 86400);
    return civilOf(early) == civil ? early : late;
}

int64_t civilSeconds(int year, int month, int day, int hour, int minute, int second)
{
    using namespace std::chrono;
    const sys_days date{std::chrono::year(year) / month / day};
    return date.time_since_epoch().count() * int64_t{86400} + hour * 3600 + minute * 60 + second;
}

std::string civilText(int64_t civil)
{
    const auto t = static_cast<std::time_t>(civil);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[40];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

std::string clockText(int64_t utcMs)
{
    const auto t = static_cast<std::time_t>(utcMs / 1000);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[40];
    std::strftime(text, sizeof(text), "%Y%m%dT%H%M%SZ", &parts);
    return text;
}

std::optional<int64_t> parseClockText(const std::string& text)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, used = 0;
    double second = 0;
    if (std::sscanf(text.c_str(), "%4d%2d%2dT%2d%2d%lf%n", &year, &month, &day, &hour, &minute, &second, &used) != 6 ||
        text.substr(static_cast<size_t>(used)) != "Z" || year < 1970 || month < 1 || month > 12 || day < 1 ||
        day > 31 || hour < 0 || hour > 23 || minute < 0 || minute > 59 || !(second >= 0 && second < 61)) {
        return std::nullopt;
    }
    return civilSeconds(year, month, day, hour, minute, 0) * 1000 + static_cast<int64_t>(second * 1000 + 0.5);
}

} // namespace lumo::recorder
