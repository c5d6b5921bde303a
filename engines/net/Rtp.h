// RTP packets (RFC 3550): reading their header, and putting datagrams back into order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace lumo::net
{

struct RtpPacket {
    uint16_t sequence = 0;
    uint32_t timestamp = 0;
    uint32_t source = 0; // SSRC
    uint8_t payloadType = 0;
    bool marker = false;
    const uint8_t* payload = nullptr; // points into the packet that was parsed
    size_t size = 0;
    uint16_t extensionId = 0; // of the header extension; its bytes are not kept by ReorderBuffer
    const uint8_t* extension = nullptr;
    size_t extensionSize = 0;
};

/// What ONVIF's replay extension says: the absolute time of the packet's frame.
struct ReplayTime {
    int64_t utcMs = 0; // the device's
};
std::optional<ReplayTime> replayTimeOf(const RtpPacket& packet);

/// Empty when the bytes are no RTP packet.
std::optional<RtpPacket> parseRtp(const uint8_t* data, size_t size);
/// True for an RTCP compound packet that holds a BYE.
bool hasRtcpBye(const uint8_t* data, size_t size);

/// Hands packets on by sequence number. A missing one is waited for until 128 others are held or maxWaitMs is over.
/// With maxWaitMs 0 nothing is held: order is the transport's own, and only gaps are told.
class ReorderBuffer
{
public:
    /// lostBefore: packets are missing between the last one handed on and this one.
    using Sink = std::function<void(const RtpPacket&, bool lostBefore)>;

    ReorderBuffer(int maxWaitMs, Sink sink) : m_maxWaitMs(maxWaitMs), m_sink(std::move(sink)) {}
    void push(const RtpPacket& packet, int64_t nowMs);
    /// Gives up on what has been missing for too long.
    void expire(int64_t nowMs);
    /// When expire has something to do next; -1 when nothing is held.
    int64_t due() const { return m_held.empty() ? -1 : m_since + m_maxWaitMs; }
    size_t held() const { return m_held.size(); }

private:
    struct Held {
        RtpPacket packet;
        std::vector<uint8_t> bytes;
    };
    void deliver(const RtpPacket& packet);
    void drainRun();
    void skipGap();

    static constexpr size_t kMaxHeld = 128;
    int m_maxWaitMs;
    Sink m_sink;
    bool m_started = false;
    uint32_t m_source = 0;
    uint16_t m_next = 0;
    bool m_lost = false;
    int64_t m_since = 0;
    std::map<uint16_t, Held> m_held; // key: distance from m_base
    uint16_t m_base = 0;
    int m_late = 0; // old packets in a row: the sender began anew
};

} // namespace lumo::net
