// The test calls for alarms.
//
//   GET  /api/alarm {"on":[{"kind","channel"}],"changes","flooding","subscriptions","waiting","kept","sent","dropped",
//                     "spoiled": questions that a fault of the events answered or holds back}
//   POST /api/alarm   {"kind":"motion","channel":C,"on":bool}
//                     {"kind":...,"channel":C,"flood":N,"seconds":S}  N changes a second, then off
//                     {"clear":true} all off; {"forget":true} all subscriptions end, as if the device had begun anew
// Kinds: motion, tamper, loss, human, face of a channel; input of an input; storage, network of the device (channel 0).
// Thread: main loop only.
#pragma once

#include "EventHub.h"
#include "TestApi.h"

#include <string>

namespace lumo::recorder
{

class AlarmApi
{
public:
    AlarmApi(AlarmBoard& board, EventHub& events) : m_board(board), m_events(events) {}

    ApiAnswer handle(const std::string& method, const std::string& body);

private:
    ApiAnswer state();
    ApiAnswer change(const Json::Value& request);

    AlarmBoard& m_board;
    EventHub& m_events;
};

} // namespace lumo::recorder
