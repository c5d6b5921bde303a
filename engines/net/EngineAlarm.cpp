// The engine's part for alarms.
#include "Engine.h"

#include "AlarmChannel.h"
#include "MessageSink.h"

namespace lumo::net
{

MessageSink& messageSink()
{
    static auto& sink = *new MessageSink; // our threads may still run when the process ends
    return sink;
}

int Engine::openMessages(int login)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    if (error != 0)
        return error;
    if (!device->reportsAlarms())
        return LUMONET_ERR_UNSUPPORTED;
    const auto mark = [this, login](bool open) {
        std::lock_guard lock(m_mutex);
        const auto found = m_logins.find(login);
        return found != m_logins.end() && std::exchange(found->second.alarms, open);
    };
    if (mark(true))
        return 0;
    const int handle = openTransfer(login, m_alarmHandles, [&](int, const std::shared_ptr<Device>& d) {
        AlarmChannel::Wiring wiring;
        wiring.connect = [d](const Timings& timings, std::shared_ptr<const std::atomic<bool>> cancel) {
            return d->newConversation(timings, std::move(cancel));
        };
        wiring.sources = d->alarmSources();
        wiring.tell = [login](const LumoAlarmMessage& message) { messageSink().tell(login, message); };
        return std::make_shared<AlarmChannel>(login, m_timings, std::move(wiring));
    });
    if (handle > 0)
        return 0;
    mark(false);
    return handle;
}

} // namespace lumo::net
