// The recorder's own JSON commands: what ONVIF has no words for. Text in, text out; who asks has been looked at before.
//
//   command OPSensorGet 3034         [{"StreamType":S}]                        the lens's Times, TimesOri and MaxTimes
//   command OPScaleTimesSwitch 3032  [{"StreamType":S,"TimesOri":A,"Times":B}]
//   command OPFile 3500              {"FileSize":N,"FileName":...}             announces the file that is sent next
//   ability bypass@SystemFunction, ChannelSystemFunction@SupportIPCTalk
// Answers carry "Ret": 100 is yes.
// Thread: main loop only.
#pragma once

#include "DeviceState.h"
#include "TestApi.h"

namespace lumo::recorder
{

constexpr const char* kCommandSpace = "urn:lumo:command:1";
constexpr const char* kCommandPath = "/lumo/command";

class CommandService
{
public:
    /// talkers: how many channels, from the first on, have a loudspeaker. twoLenses: all cameras have them, or none.
    CommandService(DeviceState& state, int channels, int talkers, bool twoLenses)
        : m_state(state), m_channels(channels), m_talkers(talkers), m_twoLenses(twoLenses)
    {
    }

    /// path: behind kCommandPath, decoded.
    ApiAnswer handle(const std::string& method, const std::string& path, const std::string& query,
                     const std::string& body);

private:
    ApiAnswer command(const std::string& name, int number, int channel, const std::string& body);
    ApiAnswer ability(const std::string& name) const;
    ApiAnswer lens(int channel, const Json::Value& input) const;
    ApiAnswer setLens(int channel, const Json::Value& input);
    ApiAnswer upgrade(const std::string& method, const std::string& body);

    DeviceState& m_state;
    const int m_channels, m_talkers;
    const bool m_twoLenses;
};

} // namespace lumo::recorder
