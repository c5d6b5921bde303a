// A device with a microphone and a loudspeaker, played by the test over RTSP; and the program's side of a talk.
#pragma once

#include "Sound.h"
#include "Viewer.h"

#include "Rtp.h"

#include <chrono>

namespace lumo::net::test
{

class TalkPeer
{
public:
    using Clock = std::chrono::steady_clock;
    struct Heard {
        uint16_t sequence = 0;
        uint32_t time = 0;
        int type = 0;
        bool marker = false;
        Bytes codes;
        Clock::time_point at;
    };

    TalkPeer();

    std::vector<Heard> heard() const;
    bool waitForHeard(size_t packets) const;
    /// All payloads one after the other.
    Bytes heardCodes() const;
    /// What the microphone gives: the n-th packet's payload. Before the first PLAY.
    std::function<Bytes(int n)> says;
    /// Ends each connection after so many heard packets; below 0: never.
    std::atomic<int> hangUpAfter{-1};

    static std::string sdp(const std::string& microphone = "8", const std::string& loudspeaker = "8");

private:
    void play(PeerConnection& connection);
    int channelOf(const std::string& control) const;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Heard> m_heard;

public:
    RtspPeer rtsp; // last: its threads use all of the above
};

/// What a talk's callback got; its address is the user value.
class Listener
{
public:
    static void onVoice(long handle, uint8_t* data, long size, long type, intptr_t user);
    intptr_t user() { return reinterpret_cast<intptr_t>(this); }

    std::vector<Bytes> blocks() const;
    Bytes codes() const; // of all frames, without their headers
    bool waitForCodes(size_t bytes) const;
    void hold();
    void release();
    std::atomic<long> handle{0}, type{-1};

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Bytes> m_blocks;
    bool m_hold = false;
};

/// Speaks into a talk as a sound card would: blocks of 640 bytes of samples, when they are due. How late it was itself
/// at most, in milliseconds: what a busy machine does to a test, and not the library.
double speak(int talk, double hz, int rate, int ms);

} // namespace lumo::net::test
