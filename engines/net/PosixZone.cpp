#include "PosixZone.h"

#include "Text.h"

#include <chrono>
#include <cstdlib>

namespace lumo::net
{
namespace
{

bool skipName(std::string_view& s)
{
    if (s.starts_with('<')) {
        const size_t end = s.find('>');
        if (end == std::string_view::npos || end < 4)
            return false;
        s.remove_prefix(end + 1);
        return true;
    }
    size_t letters = 0;
    while (letters < s.size() && std::isalpha(uint8_t(s[letters])))
        ++letters;
    s.remove_prefix(letters);
    return letters >= 3;
}

bool takeNumber(std::string_view& s, int& value)
{
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    if (error != std::errc() || !std::isdigit(uint8_t(s.front())))
        return false;
    s.remove_prefix(size_t(end - s.data()));
    return true;
}

/// "[+|-]hh[:mm[:ss]]"
bool takeTime(std::string_view& s, int32_t& seconds)
{
    int sign = 1;
    if (s.starts_with('-') || s.starts_with('+')) {
        sign = s.front() == '-' ? -1 : 1;
        s.remove_prefix(1);
    }
    int total = 0, part = 0;
    for (int unit = 3600; unit >= 1; unit /= 60) {
        if (s.empty() || !takeNumber(s, part) || part > 167)
            return false;
        total += part * unit;
        if (!s.starts_with(':'))
            break;
        s.remove_prefix(1);
    }
    seconds = sign * total;
    return true;
}

bool takeRule(std::string_view& s, PosixZone::Rule& rule)
{
    if (!s.starts_with(','))
        return false;
    s.remove_prefix(1);
    const auto point = [&s] {
        const bool is = s.starts_with('.');
        s.remove_prefix(is ? 1 : 0);
        return is;
    };
    if (s.empty())
        return false;
    if (s.front() == 'M') {
        s.remove_prefix(1);
        if (s.empty() || !takeNumber(s, rule.month) || !point() || s.empty() || !takeNumber(s, rule.week) || !point() ||
            s.empty() || !takeNumber(s, rule.day) || rule.month < 1 || rule.month > 12 || rule.week < 1 ||
            rule.week > 5 || rule.day > 6)
            return false;
    } else {
        const bool julian = s.front() == 'J';
        s.remove_prefix(julian ? 1 : 0);
        rule.kind = julian ? PosixZone::Rule::Kind::JulianNoLeap : PosixZone::Rule::Kind::Day;
        if (s.empty() || !takeNumber(s, rule.day) || rule.day > 365)
            return false;
    }
    if (!s.starts_with('/'))
        return true;
    s.remove_prefix(1);
    return takeTime(s, rule.timeSec);
}

/// Seconds since 1970 on the zone's own clock at which the rule strikes in that year.
int64_t strikes(const PosixZone::Rule& rule, std::chrono::year year)
{
    using namespace std::chrono;
    sys_days date;
    if (rule.kind == PosixZone::Rule::Kind::Weekday) {
        const month m(unsigned(rule.month));
        const weekday day(unsigned(rule.day));
        date = rule.week == 5 ? sys_days(year / m / day[last]) : sys_days(year / m / day[unsigned(rule.week)]);
    } else {
        const bool julian = rule.kind == PosixZone::Rule::Kind::JulianNoLeap;
        const int skipped = julian ? (year.is_leap() && rule.day >= 60 ? 0 : -1) : 0;
        date = sys_days(year / January / 1) + days(rule.day + skipped);
    }
    return date.time_since_epoch().count() * int64_t(86400) + rule.timeSec;
}

} // namespace

std::optional<PosixZone> PosixZone::parse(std::string_view s)
{
    PosixZone zone;
    int32_t west = 0;
    if (!skipName(s) || !takeTime(s, west) || std::abs(west) > 26 * 3600)
        return std::nullopt;
    zone.standardSec = -west;
    if (s.empty())
        return zone;
    if (!skipName(s))
        return std::nullopt;
    zone.hasSummer = true;
    zone.summerSec = zone.standardSec + 3600;
    if (!s.empty() && s.front() != ',') {
        if (!takeTime(s, west) || std::abs(west) > 26 * 3600)
            return std::nullopt;
        zone.summerSec = -west;
    }
    if (!takeRule(s, zone.begin) || !takeRule(s, zone.end) || !s.empty())
        return std::nullopt;
    return zone;
}

int32_t PosixZone::offsetAt(int64_t utcSec) const
{
    if (!hasSummer)
        return standardSec;
    using namespace std::chrono;
    const auto here = floor<days>(sys_seconds(seconds(utcSec + standardSec)));
    const year thisYear = year_month_day(here).year();
    const int64_t from = strikes(begin, thisYear) - standardSec, until = strikes(end, thisYear) - summerSec;
    const bool summer = from < until ? utcSec >= from && utcSec < until : !(utcSec >= until && utcSec < from);
    return summer ? summerSec : standardSec;
}

} // namespace lumo::net
