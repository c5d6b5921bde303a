// The test calls: when did frame n leave, and what shall go wrong. JSON in, JSON out.
//
//   GET  /api/frame?channel=C&stream=S&frame=N   {"channel","stream","frame","loop","leftUs"}; 404 if never
//   GET  /api/latest?channel=C&stream=S          the same for the newest frame
//   GET  /api/state                              streams, faults, connections
//   POST /api/fault                              {"channel":C,"freeze":bool} {"channel":C,"drop":true}
//                                                {"refusePassword":bool} {"stopAnswering":bool} {"clear":true}
//                                                {"answerDelayMs":N} all answers but these come so late
//                                                {"replay":"cut"|"stall"|"none","after":N} N pictures from now
//                                                {"command":"refuse"|"hang"|"broken"|"huge"|"none"} of the service
//                                                {"events":"refuse"|"hang"|"broken"|"huge"|"none"} of ONVIF's events
//                                                {"upload":"slow"|"fail"|"busy"|"none"} of firmware and settings
// Thread: main loop only.
#pragma once

#include "Faults.h"
#include "LiveStream.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Json
{
class Value;
}

namespace lumo::recorder
{

struct ApiAnswer {
    int status = 200;
    std::string body;
};

// Shared with the other web calls.
ApiAnswer goodApiAnswer(const Json::Value& value);
ApiAnswer badApiAnswer(int status, const char* why);
std::string queryText(const std::string& query, const char* key);
std::optional<int> queryNumber(const std::string& query, const char* key);

class TestApi
{
public:
    struct Hooks {
        std::function<int(int channel)> dropChannel; // how many connections were closed
        std::function<int()> connections;
    };

    TestApi(const Options& options, ClipStore& store, Faults& faults, std::vector<std::unique_ptr<LiveStream>>& streams,
            Hooks hooks)
        : m_options(options), m_store(store), m_faults(faults), m_streams(streams), m_hooks(std::move(hooks))
    {
    }

    ApiAnswer handle(const std::string& method, const std::string& path, const std::string& query,
                     const std::string& body);

private:
    const LiveStream* streamOf(const std::string& query) const;
    ApiAnswer frame(const std::string& query);
    ApiAnswer latest(const std::string& query);
    ApiAnswer state();
    ApiAnswer fault(const std::string& body);
    ApiAnswer replayFault(const Json::Value& request);
    ApiAnswer serviceFault(const Json::Value& request);
    ApiAnswer channelFault(const Json::Value& request);

    const Options& m_options;
    ClipStore& m_store;
    Faults& m_faults;
    std::vector<std::unique_ptr<LiveStream>>& m_streams;
    Hooks m_hooks;
};

} // namespace lumo::recorder
