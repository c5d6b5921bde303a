// The alarms of one login: subscribes to the device's events, hands them on, and subscribes again when that fails.
//
//   subscribe -> pull, pull, ... (renewed at half of its time) -> unsubscribe
//        ^___ after a pause that grows ___|  failed
//
// One question at a time, and the next one only when the program has taken all of the last answer: whatever a device
// sends, no more than one answer is ever held here.
// Thread: one of its own; the message callback comes there.
#pragma once

#include "AlarmBook.h"
#include "BackgroundTask.h"
#include "Onvif.h"

#include <functional>
#include <memory>

namespace lumo::net
{

class AlarmChannel final : public BackgroundTask
{
public:
    /// A conversation of its own with the device, until cancel at most.
    using Connect = std::function<std::unique_ptr<OnvifClient>(const Timings& timings,
                                                               std::shared_ptr<const std::atomic<bool>> cancel)>;
    struct Wiring {
        Connect connect;
        AlarmSources sources;                              // inputs are asked for here
        std::function<void(const LumoAlarmMessage&)> tell; // on this thread
    };
    AlarmChannel(int login, const Timings& timings, Wiring wiring);
    ~AlarmChannel() override { m_worker.stop(); }

private:
    void work() override;
    int listen(OnvifClient& client);
    int pull(OnvifClient& client, OnvifPullPoint& point);
    void hand(const std::vector<LumoAlarmMessage>& messages);
    void farewell(const OnvifPullPoint& point);
    void complain(int error);

    const int m_login;
    const Timings m_timings;
    Wiring m_wiring;
    AlarmBook m_book;
    Backoff m_backoff;
    int m_told = 0; // the error that the log has
};

} // namespace lumo::net
