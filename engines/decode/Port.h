// One port of the library: what the calls mean in each state. Closed; open, for a stream or with a file, and stopped;
// open and playing.
//
// Thread: any. Calls that change the state are serialised by m_control and refused on the port's own thread; all others
// take short locks only, so that a draw callback may make them.
#pragma once

#include "FileReader.h"
#include "Playing.h"

namespace lumo
{

class Port
{
public:
    explicit Port(int number) : m_number(number) {}
    ~Port() { close(m_open); }

    bool openStream(int bufferBytes);
    bool closeStream() { return close(Open::Stream); }
    bool openFile(const std::string& path);
    bool closeFile() { return close(Open::File); }
    bool play(LumoWindow window);
    bool stop();

    bool input(const uint8_t* data, int size);
    bool pause(bool paused);
    bool refresh();
    bool changeSpeed(int steps);
    bool step(int pictures);
    bool seek(float fraction);
    float position() const;
    bool setFileEndHook(FileEndHook hook);
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
    enum class Open { Nothing, Stream, File };
    using SessionPtr = std::shared_ptr<Playing>;
    SessionPtr session() const;
    void openAnew(Open what);
    bool close(Open what);
    SessionPtr startSession();
    bool endSession();
    bool onOwnThread() const;
    void viewChanged();

    const int m_number;
    std::mutex m_control;                    // open, play, stop, close
    std::atomic<Open> m_open{Open::Nothing}; // written under m_control
    std::string m_path;                      // under m_control: of the file
    std::unique_ptr<FileReader> m_reader;    // under m_control: the file at its beginning, for the first playing
    size_t m_bufferBytes = 0;                // under m_control
    LumoWindow m_window = 0;                 // under m_control: where the session plays
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
