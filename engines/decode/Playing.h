// What a port does from Play to Stop, on one thread of its own that ends with it: what live streams and recordings have
// in common.
//
// Thread: any, but for the protected part. Whoever derives from this ends the thread in its destructor.
#pragma once

#include "Recorder.h"
#include "Screen.h"
#include "SoundOut.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace lumo
{

/// The part of a port that several playings in turn write to and the outside reads.
struct SoundSlot {
    std::mutex lock;
    std::unique_ptr<SoundStream> stream; // null while the sound is off
};

class Playing
{
public:
    struct Setup {
        int port = 0;
        LumoWindow window = 0;
    };

    Playing(const Setup& setup, PortSettings& settings, SoundSlot& sound);
    virtual ~Playing() = default;
    Playing(const Playing&) = delete;
    Playing& operator=(const Playing&) = delete;

    virtual void input(const uint8_t* data, size_t size) = 0;
    virtual void pause(bool paused) = 0;
    virtual void refresh() = 0;
    virtual int waitingBytes() = 0;
    virtual int waitingPictures() const = 0;

    // Of recordings; a live stream refuses.
    /// Normal speed, forward, not paused.
    virtual void playNormally() { pause(false); }
    virtual bool changeSpeed(int /*steps*/) { return false; }
    virtual bool step(int /*pictures*/) { return false; }
    virtual bool seek(double /*fraction*/) { return false; }
    virtual double position() const { return 0; }
    virtual bool recordable() const { return true; }

    /// Ends the thread. From here on input does nothing, nothing waits, and no callback is called any more.
    /// Thread: one at a time, not the port's own.
    void end();
    void viewChanged() { wake(); }
    bool catchPicture(const std::string& path) { return m_screen.catchPicture(path); }
    int frameTime() const { return m_screen.frameTime(); }
    bool startRecord(const std::string& path, int type);
    bool stopRecord();
    bool onOwnThread() const { return std::this_thread::get_id() == m_threadId; }

protected:
    static constexpr int64_t kDrainMs = 500; // without input, and what the decoder holds back comes out

    void start();
    /// One turn of the thread, m_lock not held; false ends it.
    virtual bool turn() = 0;
    /// The thread is about to end, m_lock not held.
    virtual void onEnd() {}
    void wake();
    void record(const Packet& packet);
    /// Something for the port's sound; nothing happens while it is off.
    template <typename Use> void onSound(Use use)
    {
        std::lock_guard guard(m_sound.lock);
        if (m_sound.stream)
            use(*m_sound.stream);
    }
    bool stopped() const { return m_stop; }

    PortSettings& m_settings;
    const int m_port;
    std::mutex m_lock;
    std::condition_variable m_work; // for the port's thread
    bool m_woken = false;           // under m_lock: look at the window
    std::atomic<bool> m_stop{false};
    Screen m_screen; // after what its wake-up uses

private:
    void run();

    SoundSlot& m_sound;
    std::mutex m_recordLock;
    std::unique_ptr<Recorder> m_recorder; // null after a failed write, too
    bool m_recording = false;             // until it is stopped by call
    std::thread m_thread;
    std::thread::id m_threadId; // kept apart: it is asked while the thread is being joined
};

} // namespace lumo
