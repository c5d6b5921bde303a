// One playing of a stream port: from Play to Stop. Takes frames, decodes, shows, sounds and records them on a thread
// of its own; with the session the thread ends.
//
// Live: shown at arrival, never late (LiveRule). Playback: paced by the pictures' times; input waits for room.
#pragma once

#include "AudioDecoder.h"
#include "InputParser.h"
#include "LiveRule.h"
#include "PacketQueue.h"
#include "Recorder.h"
#include "Screen.h"
#include "SoundOut.h"

#include <condition_variable>
#include <thread>
#include <utility>

namespace lumo
{

/// The part of a port that several sessions in turn write to and the outside reads.
struct SoundSlot {
    std::mutex lock;
    std::unique_ptr<SoundStream> stream; // null while the sound is off
};

class Session
{
public:
    struct Setup {
        int port = 0;
        LumoWindow window = 0;
        size_t bufferBytes = 0;
        bool playback = false;
    };

    Session(const Setup& setup, PortSettings& settings, SoundSlot& sound);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Any thread.
    void input(const uint8_t* data, size_t size);
    /// Ends the thread. From here on input does nothing, nothing waits, and the draw callback is not called any more.
    /// Thread: one at a time, not the port's own.
    void end();
    void pause(bool paused);
    void refresh();
    void viewChanged() { wake(); }
    bool catchPicture(const std::string& path) { return m_screen.catchPicture(path); }
    int frameTime() const { return m_screen.frameTime(); }
    int waitingBytes();
    int waitingPictures() const { return m_pending; }
    bool startRecord(const std::string& path, int type);
    bool stopRecord();
    bool onOwnThread() const { return std::this_thread::get_id() == m_threadId; }

private:
    void run();
    void step(std::unique_lock<std::mutex>& guard);
    void take(std::unique_lock<std::mutex>& guard);
    void idle(std::unique_lock<std::mutex>& guard);
    bool mayTake() const { return !m_queue.empty() && (!m_playback || !m_paused || m_showOne); }
    void handleVideo(const Packet& packet, LiveRule::Verdict verdict);
    void handleSound(const Packet& packet);
    void record(const Packet& packet);
    void present(Picture&& picture);
    bool waitUntilDue(const Picture& picture);
    void wake();
    void enqueue(Packet&& packet, unsigned refreshes);

    const bool m_playback;
    PortSettings& m_settings;
    SoundSlot& m_sound;

    std::mutex m_inputLock; // one input at a time
    InputParser m_parser;   // under m_inputLock
    unsigned m_parsed = 0;  // under m_inputLock: m_refreshes when the parser was last used

    std::mutex m_lock;
    std::condition_variable m_work; // for the port's thread
    std::condition_variable m_room; // for a waiting input
    PacketQueue m_queue;
    bool m_stop = false, m_paused = false, m_woken = false, m_showOne = false;
    unsigned m_refreshes = 0;
    int64_t m_lastInputMs = 0;

    std::mutex m_recordLock;
    std::unique_ptr<Recorder> m_recorder; // null after a failed write, too
    bool m_recording = false;             // until it is stopped by call

    // Port thread only.
    VideoDecoder m_decoder;
    AudioDecoder m_audio;
    LiveRule m_rule;
    bool m_showing = true;    // what the rule said of the frame being decoded
    unsigned m_refreshed = 0; // refreshes that were carried out
    uint64_t m_baseUtcMs = 0; // playback clock: this picture time ...
    int64_t m_baseMs = 0;     // ... was due at this time; 0 not started

    std::atomic<int> m_pending{0}; // decoded pictures that wait for their time
    Screen m_screen;
    std::thread m_thread;
    std::thread::id m_threadId; // kept apart: it is asked while the thread is being joined
};

} // namespace lumo
