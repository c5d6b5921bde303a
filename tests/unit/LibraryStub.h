// Both libraries as plain functions in the test program: each call is one line of text, each result is scripted.
// Thread: the test's only.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

struct LibraryStub {
    /// Lines such as "Play 3 77": the call's name without its prefix, then its arguments.
    std::vector<std::string> calls;
    /// Result by call name; what is not listed returns 1.
    std::map<std::string, int> results;
    /// The n-th call from here on (1 is the next) fails with 0, once. 0: none.
    int failAfter = 0;
    /// What LUMONET_Login and LUMONET_LoginEx_V2 put into *pError, and into the device record.
    int loginError = 0;
    std::string cloudError, serialNo, deviceName, softwareVersion;
    int channels = 0, extraChannels = 0, deviceType = 0;
    /// What the calls with JSON answers write, by call name; and what LUMONET_GetDevConfig puts into the version
    /// record.
    std::map<std::string, std::string> outputs;
    int versionCount = 0;
    std::string version, versionDate;
    /// What GetColor answers.
    int color[4] = {10, 20, 30, 40};

    static LibraryStub& get();
    static LibraryStub& reset();

    int call(const std::string& line);
};

namespace stub
{

/// One line of LibraryStub::calls; its scripted result.
template <typename... Args> int record(const char* szName, const Args&... args)
{
    std::ostringstream line;
    line << szName;
    ((line << ' ' << args), ...);
    return LibraryStub::get().call(line.str());
}

inline std::string quoted(const char* sz)
{
    return '"' + std::string(sz) + '"';
}

} // namespace stub
