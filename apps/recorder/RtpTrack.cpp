#include "RtpTrack.h"

#include <glib.h>

#include <algorithm>

namespace lumo::recorder
{
namespace
{

constexpr size_t kMaxPayload = 1400;         // as over datagrams
constexpr uint64_t kNtpOf1970 = 2208988800u; // seconds

void put16(std::string& out, unsigned value)
{
    out += static_cast<char>(value >> 8);
    out += static_cast<char>(value);
}

void put32(std::string& out, uint32_t value)
{
    put16(out, value >> 16);
    put16(out, value & 0xFFFF);
}

// Where the next start code begins, and where the unit behind it does.
const uint8_t* nextStart(const uint8_t* from, const uint8_t* end, const uint8_t*& unit)
{
    static constexpr uint8_t kCode[] = {0, 0, 1};
    const uint8_t* found = std::search(from, end, kCode, kCode + 3);
    unit = found == end ? end : found + 3;
    return found;
}

} // namespace

RtpTrack::RtpTrack(int payloadType, int clockRate) : m_payloadType(payloadType), m_clockRate(clockRate)
{
    renew();
}

void RtpTrack::renew()
{
    m_source = g_random_int();
    m_timeBase = g_random_int();
    m_sequence = static_cast<uint16_t>(g_random_int());
}

uint32_t RtpTrack::timestampOf(int64_t utcMs) const
{
    return m_timeBase + static_cast<uint32_t>(utcMs * (m_clockRate / 1000));
}

void RtpTrack::addPacket(std::string& out, bool marker, int64_t utcMs, ReplayMarks& marks, const uint8_t* head,
                         size_t headSize, const uint8_t* data, size_t size)
{
    out += '$';
    out += static_cast<char>(m_channel);
    put16(out, static_cast<unsigned>(12 + 16 + headSize + size));
    out += static_cast<char>(0x90); // version 2, with an extension
    out += static_cast<char>(m_payloadType | (marker ? 0x80 : 0));
    put16(out, m_sequence++);
    put32(out, timestampOf(utcMs));
    put32(out, m_source);
    put16(out, 0xABAC);
    put16(out, 3);
    const auto ms = static_cast<uint64_t>(utcMs);
    put32(out, static_cast<uint32_t>(ms / 1000 + kNtpOf1970));
    put32(out, static_cast<uint32_t>(((ms % 1000 << 32) + 999) / 1000));
    out += static_cast<char>((marks.clean ? 0x80 : 0) | (marks.end ? 0x40 : 0) | (marks.discontinuity ? 0x20 : 0));
    out += static_cast<char>(marks.sequence);
    put16(out, 0);
    marks.clean = marks.discontinuity = false; // they stand on the first packet only
    out.append(reinterpret_cast<const char*>(head), headSize);
    out.append(reinterpret_cast<const char*>(data), size);
}

void RtpTrack::addNal(std::string& out, const uint8_t* nal, size_t size, bool last, int64_t utcMs, ReplayMarks& marks)
{
    if (size <= kMaxPayload) {
        addPacket(out, last, utcMs, marks, nullptr, 0, nal, size);
        return;
    }
    uint8_t head[2] = {static_cast<uint8_t>((nal[0] & 0xE0) | 28), static_cast<uint8_t>((nal[0] & 31) | 0x80)};
    for (size_t at = 1; at < size;) {
        const size_t part = std::min(kMaxPayload, size - at);
        const bool end = at + part == size;
        head[1] = static_cast<uint8_t>(head[1] | (end ? 0x40 : 0));
        addPacket(out, end && last, utcMs, marks, head, 2, nal + at, part);
        head[1] &= 31;
        at += part;
    }
}

void RtpTrack::addH264(std::string& out, const uint8_t* unit, size_t size, int64_t utcMs, ReplayMarks marks)
{
    if (!active()) {
        return;
    }
    const uint8_t* end = unit + size;
    const uint8_t* nal = nullptr;
    nextStart(unit, end, nal);
    while (nal < end) {
        const uint8_t* next = nullptr;
        const uint8_t* stop = nextStart(nal, end, next);
        const uint8_t* tail = stop;
        while (tail > nal && stop != end && tail[-1] == 0) { // the longer start code's first byte
            --tail;
        }
        if (tail > nal) {
            addNal(out, nal, static_cast<size_t>(tail - nal), stop == end, utcMs, marks);
        }
        nal = next;
    }
}

void RtpTrack::addSound(std::string& out, const uint8_t* samples, size_t size, int64_t utcMs, ReplayMarks marks)
{
    if (active()) {
        marks.clean = true;
        addPacket(out, marks.discontinuity, utcMs, marks, nullptr, 0, samples, size);
    }
}

void RtpTrack::addBye(std::string& out) const
{
    if (!active()) {
        return;
    }
    out += '$';
    out += static_cast<char>(m_channel + 1);
    put16(out, 16);
    put32(out, 0x80C90001u); // a receiver report without blocks must stand first
    put32(out, m_source);
    put32(out, 0x81CB0001u);
    put32(out, m_source);
}

} // namespace lumo::recorder
