// The program's side in a test: the library with short times, and a callback that keeps what it gets.
#pragma once

#include "Bytes.h"
#include "Defaults.h"
#include "Peer.h"

#include "common/StreamFrame.h"
#include "device/LumoNet.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace lumo::net::test
{

struct SeenFrame {
    int type = 0;
    long handle = 0;
    uint16_t width = 0, height = 0; // of the record
    bool sound = false;             // the block was exactly one well-formed frame
    VideoFrameHeader video;
    AudioFrameHeader audio;
    Bytes payload;
    int number = -1; // of PictureSource
};

/// Collects frames; its address is the callback's user value.
class Viewer
{
public:
    static int onFrame(long handle, const LumoFrame* frame, intptr_t user);
    static int onData(long handle, long type, uint8_t* data, long size, intptr_t user);
    intptr_t user() { return reinterpret_cast<intptr_t>(this); }

    std::vector<SeenFrame> frames() const;
    size_t count() const;
    bool waitFor(const std::function<bool(const std::vector<SeenFrame>&)>& condition) const;
    bool waitForCount(size_t n) const;
    void clear();
    /// Forgets what came before the first frame that isNew; all, if none has come yet.
    void forgetUntil(const std::function<bool(const SeenFrame&)>& isNew);

    /// From now on a callback waits inside until release().
    void hold();
    void release();
    bool waitUntilHeld() const;
    std::atomic<bool> inside{false};
    std::thread::id thread() const;

private:
    void take(long handle, int type, const uint8_t* data, size_t size, uint16_t width, uint16_t height);
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<SeenFrame> m_frames;
    std::thread::id m_thread;
    bool m_hold = false;
};

/// Library begun with short times; ended after the test.
class NetTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    void begin();
    int login(const std::string& address, int port = 0, const std::string& user = "admin",
              const std::string& password = "lumo", int kind = 0);
    /// A stream of the login, with the viewer's callback.
    int play(int login, Viewer& viewer, int channel = 0, int stream = 0);

    NetDeviceInfo info{};
    int error = 0;
    std::atomic<int> disconnects{0};
    std::atomic<long> lostLogin{0};
    std::string lostAddress; // after disconnects
    long lostPort = 0;
};

} // namespace lumo::net::test
