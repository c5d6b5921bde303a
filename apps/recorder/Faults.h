// What is wrong with the recorder just now, for tests: switched by the test calls, asked by everybody.
//
// Thread: any; all fields are atomic, waiting is on a condition.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>

namespace lumo::recorder
{

class Faults
{
public:
    /// No frame of a frozen channel leaves; its connections stay. Who joins gets one still picture.
    bool frozen(int channel) const { return m_frozen[static_cast<size_t>(channel)] || m_silent; }
    void setFrozen(int channel, bool on) { m_frozen[static_cast<size_t>(channel)] = on; }
    bool channelFrozen(int channel) const { return m_frozen[static_cast<size_t>(channel)]; }

    /// Every login is refused, by ONVIF and by RTSP.
    bool refusesPassword() const { return m_refuse; }
    void setRefusePassword(bool on) { m_refuse = on; }

    /// Connections are accepted, nothing is answered and nothing is sent.
    bool silent() const { return m_silent; }
    void setSilent(bool on);
    /// Returns when the recorder answers again.
    void waitWhileSilent();

    void clear();

private:
    std::array<std::atomic<bool>, 64> m_frozen{};
    std::atomic<bool> m_refuse{false};
    std::atomic<bool> m_silent{false};
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

} // namespace lumo::recorder
