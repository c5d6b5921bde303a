// The frame in which speech travels, and the decoder port that plays it; shared by talk and custom voice.
#pragma once

#include "decode/LumoDecode.h"

#include <cstdint>

constexpr int TALK_PORT = LUMODEC_TALK_PORT;
constexpr int kTalkHeaderSize = 8; // bytes

/// The header in front of nPayload (0 to 65535) bytes of A-law, one for each sample at 8000 or 16000 Hz.
inline void writeTalkHeader(uint8_t* pFrame, int nSampleRate, int nPayload)
{
    const uint8_t byRate = nSampleRate == 16000 ? 4 : 2;
    const uint8_t header[kTalkHeaderSize] = {
        0, 0, 1, 0xFA, 14, byRate, uint8_t(nPayload & 0xFF), uint8_t(nPayload >> 8)};
    for (int i = 0; i < kTalkHeaderSize; ++i)
        pFrame[i] = header[i];
}
