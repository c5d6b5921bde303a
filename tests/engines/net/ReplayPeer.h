// A device with one recording, played by the test on loopback: an RTSP server that replays numbered pictures by
// absolute time, and the ONVIF service that leads to it.
#pragma once

#include "Peer.h"

#include "device/LumoNet.h"

#include <memory>

namespace lumo::net::test
{

inline constexpr int64_t kRecordedFrom = 1743238800000; // 2025-03-29 09:00:00 UTC, milliseconds

class ReplayPeer : public Peer
{
public:
    ReplayPeer() { begin(); }
    ~ReplayPeer() override { stop(); }

    static constexpr int kGroup = 8;     // pictures from key to key
    static constexpr int kPeriodMs = 40; // between two pictures
    int pictures = 250;                  // recorded; ten seconds
    std::atomic<int> stopAfter{-1};      // pictures; then it sends no more, and answers
    std::atomic<int> cutAfter{-1};       // pictures; then the connection ends, and nobody comes in any more
    std::atomic<bool> bye{true};         // says goodbye at the end of a span
    std::atomic<bool> times{true};       // packets carry absolute times
    std::atomic<bool> deaf{false};       // answers nothing
    std::map<std::string, int> statusOf; // by method, changed by set()
    std::atomic<int> answerDelayMs{0};
    std::atomic<int> sent{0}; // pictures
    std::atomic<int> pauses{0};
    std::atomic<bool> playing{false};
    std::atomic<size_t> padding{0}; // bytes more in each picture

    std::string url() const { return "rtsp://127.0.0.1:" + std::to_string(port()) + "/replay/0"; }

protected:
    void serve(PeerConnection& connection) override;

private:
    struct Session {
        int picture = 0, last = 0; // to send next; end of the span
        double scale = 1;
        bool playing = false, paced = true;
        uint16_t sequence = 500;
        std::chrono::steady_clock::time_point due;
    };
    bool answer(PeerConnection& connection, const PeerRequest& request, Session& session);
    bool play(const PeerRequest& request, Session& session) const;
    bool sendPicture(PeerConnection& connection, Session& session);
};

/// An ONVIF service whose search finds the recording. zone: as GetSystemDateAndTime tells it; offset: minutes now.
void offerReplay(OnvifDevicePeer& onvif, const ReplayPeer& replay, int offsetMinutes = 0, const std::string& zone = "");

RecordTimeInfo byTime(const std::string& begin, const std::string& end, int channel = 0);
RecordFileInfo byName(const std::string& name, int channel = 0);

} // namespace lumo::net::test
