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

    /// How late each answer comes, in milliseconds: ONVIF, the web calls but the test calls, and replay.
    int answerDelayMs() const { return m_answerDelayMs; }
    void setAnswerDelayMs(int ms) { m_answerDelayMs = ms; }

    /// What happens to a replay in the middle: after so many pictures from now, on any connection, it is cut or falls
    /// silent, and so does every later one at once. Below 0: nothing.
    enum class ReplayFault { None, Cut, Stall };
    void setReplayFault(ReplayFault fault, int afterPictures);
    /// Counts a picture that shall leave; what happens instead of it.
    ReplayFault notePicture();
    /// The fault that has begun, if any.
    ReplayFault replayFault() const { return m_replayLeft == 0 ? m_replayFault.load() : ReplayFault::None; }

    /// What the command service answers instead of what it should: 403, nothing, half a text, or far too much.
    enum class CommandFault { None, Refuse, Hang, Broken, Huge };
    CommandFault commandFault() const { return m_commandFault; }
    void setCommandFault(CommandFault fault) { m_commandFault = fault; }

    /// How firmware and settings that come from now on fare.
    enum class UploadFault { None, Slow, Fail, Busy };
    UploadFault uploadFault() const { return m_uploadFault; }
    void setUploadFault(UploadFault fault) { m_uploadFault = fault; }

    /// What the event services answer instead of what they should: a fault, nothing, half a text, or far too much.
    enum class EventFault { None, Refuse, Hang, Broken, Huge };
    EventFault eventFault() const { return m_eventFault; }
    void setEventFault(EventFault fault) { m_eventFault = fault; }

    void clear();

private:
    std::array<std::atomic<bool>, 64> m_frozen{};
    std::atomic<bool> m_refuse{false};
    std::atomic<bool> m_silent{false};
    std::atomic<int> m_answerDelayMs{0};
    std::atomic<ReplayFault> m_replayFault{ReplayFault::None};
    std::atomic<int> m_replayLeft{-1};
    std::atomic<CommandFault> m_commandFault{CommandFault::None};
    std::atomic<UploadFault> m_uploadFault{UploadFault::None};
    std::atomic<EventFault> m_eventFault{EventFault::None};
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

} // namespace lumo::recorder
