// Test vectors as text, and RTP packets made by hand.
#pragma once

#include "Rtp.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net::test
{

using Bytes = std::vector<uint8_t>;

inline Bytes hex(std::string_view text)
{
    Bytes out;
    int high = -1;
    for (const char c : text) {
        const int v = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (v < 0)
            continue;
        if (high >= 0)
            out.push_back(uint8_t(high << 4 | v));
        high = high >= 0 ? -1 : v;
    }
    return out;
}

inline Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const auto& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline Bytes rtp(uint16_t sequence, uint32_t time, bool marker, const Bytes& payload, uint8_t type = 96)
{
    Bytes out = {0x80, uint8_t((marker ? 0x80 : 0) | type), uint8_t(sequence >> 8), uint8_t(sequence)};
    for (const uint32_t v : {time, 0x1234u})
        out.insert(out.end(), {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)});
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

// Parameter sets of libx264 and libx265, and slices of two bytes that only look like such.
inline const Bytes kSps1080 = hex("67640028acd940780227e5c044000003000400000300c83c60c658");
inline const Bytes kPps = hex("68ebe3cb22c0");
inline const Bytes kIdr = hex("6588840102030405");
inline const Bytes kSlice = hex("419a020304050607");
inline const Bytes kVps265 = hex("40010c01ffff016000000300900000030000030078959809");
inline const Bytes kSps265 =
    hex("420101016000000300900000030000030078a003c08010e596566924caf0168080000003008000000c84");
inline const Bytes kPps265 = hex("4401c172b46240");
inline const Bytes kIdr265 = hex("2601af0102030405");
inline const Bytes kSlice265 = hex("0201d00102030405");
inline const Bytes kStart = {0, 0, 0, 1};

} // namespace lumo::net::test
