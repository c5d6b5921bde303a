// One port of the library: what the calls mean in each state. Closed; open and stopped; open and playing.
//
// Thread: any. Calls that change the state are serialised by m_control and refused on the port's own thread; all others
// take short locks only, so that a draw callback may make them.
#pragma once

#include "Session.h"

namespace lumo
{

class Port
{
public:
    explicit Port(int number) : m_number(number) {}
    ~Port() { closeStream(); }

    bool openStream(int bufferBytes);
    bool closeStream();
    bool play(LumoWindow window);
    bool stop();

    bool input(const uint8_t* data, int size);
    bool pause(bool paused);
    bool refresh();
    bool setPreviewOption(int option);
    bool setStreamMode(int mode);

    bool setDisplayRegion(const LumoRect* region, bool enable);
    bool setOriginal(bool original);
    bool setColor(const ColorLevels& color);
    bool getColor(ColorLevels& color) const;
    bool setDrawHook(DrawHook hook);

    bool playSound();
    bool stopSound();
    bool catchPicture(const std::string& path);
    bool startRecord(const std::string& path, int type);
    bool stopRecord();

    int waitingBytes() const;
    int waitingPictures() const;
    int frameTime() const;

private:
    using SessionPtr = std::shared_ptr<Session>;
    SessionPtr session() const;
    bool endSession();
    bool onOwnThread() const;
    void viewChanged();

    const int m_number;
    std::mutex m_control;            // open, play, stop, close
    std::atomic<bool> m_open{false}; // written under m_control
    size_t m_bufferBytes = 0;        // under m_control
    LumoWindow m_window = 0;         // under m_control: where the session plays
    std::atomic<bool> m_playback{false};

    PortSettings m_settings;
    SoundSlot m_sound;

    mutable std::mutex m_sessionLock; // guards the two below
    SessionPtr m_session;
    bool m_recordEnded = false; // a recording ended with its session and waits to be stopped by call
};

/// The port of this number; null when there is none.
Port* portOf(int number);

} // namespace lumo
