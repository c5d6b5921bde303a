// What a device says of its clock, and what localtime() here shows of an instant.
#pragma once

#include "DeviceClock.h"
#include "Onvif.h"

#include <cstdio>
#include <string>

namespace lumo::net::test
{

inline std::string timeNode(const char* name, int y, int mo, int d, int h, int mi, int s)
{
    char text[400];
    std::snprintf(text, sizeof text,
                  "<tt:%s><tt:Time><tt:Hour>%d</tt:Hour><tt:Minute>%d</tt:Minute><tt:Second>%d</tt:Second></tt:Time>"
                  "<tt:Date><tt:Year>%d</tt:Year><tt:Month>%d</tt:Month><tt:Day>%d</tt:Day></tt:Date></tt:%s>",
                  name, h, mi, s, y, mo, d, name);
    return text;
}

inline std::string answer(const std::string& inner)
{
    return "<e><b><r><tds:SystemDateAndTime>" + inner + "</tds:SystemDateAndTime></r></b></e>";
}

inline int64_t utcSeconds(int y, int mo, int d, int h, int mi, int s)
{
    std::tm t{};
    t.tm_year = y - 1900;
    t.tm_mon = mo - 1;
    t.tm_mday = d;
    t.tm_hour = h;
    t.tm_min = mi;
    t.tm_sec = s;
    return secondsOfUtc(t);
}

/// In milliseconds.
inline int64_t utc(int y, int mo, int d, int h, int mi, int s)
{
    return utcSeconds(y, mo, d, h, mi, s) * 1000;
}

inline std::string shown(int64_t ms)
{
    const std::time_t t = std::time_t(ms / 1000);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&t));
    return text;
}

} // namespace lumo::net::test
