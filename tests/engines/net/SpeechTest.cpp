// The rules of speech, each alone: codes, halved rates, and the queue that never makes anybody wait.
#include "Sound.h"

#include "HalfRate.h"
#include "SpeechQueue.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

SpeechQueue::Got popNow(SpeechQueue& queue, SpeechPiece& piece)
{
    return queue.pop(piece, SpeechQueue::Clock::now());
}

void push(SpeechQueue& queue, const Bytes& codes, int rate = 8000)
{
    const Bytes frame = talkFrame(codes, rate);
    queue.push(*frameAt(frame.data(), frame.size()));
}

} // namespace

TEST(G711, EachCodeMeansASampleThatHasThatCode)
{
    for (int code = 0; code < 256; ++code) {
        EXPECT_EQ(aLawOfLinear(linearOfALaw(uint8_t(code))), code);
        const int sample = linearOfMuLaw(uint8_t(code));
        EXPECT_EQ(linearOfMuLaw(muLawOfLinear(sample)), sample) << code; // two codes mean 0
    }
    EXPECT_EQ(linearOfALaw(kSilentALaw), 8);
    EXPECT_EQ(linearOfALaw(0xAA), 32256);
    EXPECT_EQ(linearOfALaw(0x2A), -32256);
    EXPECT_EQ(aLawOfLinear(40000), aLawOfLinear(32767));
    EXPECT_EQ(muLawOfLinear(-40000), muLawOfLinear(-32768));
}

TEST(HalfRate, AToneKeepsItsPitchAndItsLevel)
{
    HalfRate half;
    Bytes out;
    for (size_t i = 0; i < 50; ++i) {
        const Bytes block = tone(1000, 16000, 320, i * 320);
        half.push(block.data(), block.size(), out);
    }
    EXPECT_EQ(out.size(), 8000u);
    out.erase(out.begin(), out.begin() + 100);
    EXPECT_NEAR(hertzOf(out, 8000), 1000, 1);
    EXPECT_NEAR(levelOf(out), kToneLevel / std::sqrt(2), 200);
}

TEST(HalfRate, WhatTheLowerRateCannotCarryIsGone)
{
    HalfRate half;
    Bytes out;
    const Bytes high = tone(5500, 16000, 16000); // would come out at 2500 Hz
    half.push(high.data(), high.size(), out);
    out.erase(out.begin(), out.begin() + 100);
    EXPECT_LT(levelOf(out), kToneLevel / 100);
}

TEST(HalfRate, BlocksOfAnySizeJoinWithoutASeam)
{
    const Bytes in = tone(700, 16000, 4001);
    HalfRate whole, parts;
    Bytes expected, out;
    whole.push(in.data(), in.size(), expected);
    for (size_t at = 0, step = 1; at < in.size(); at += step, step = step % 7 + 1)
        parts.push(in.data() + at, std::min(step, in.size() - at), out);
    EXPECT_EQ(out, expected);
    EXPECT_EQ(out.size(), 2000u);
}

TEST(SpeechQueue, CutsFramesIntoPiecesOfTwentyMilliseconds)
{
    SpeechQueue queue;
    SpeechPiece piece;
    push(queue, tone(500, 8000, 320));
    push(queue, tone(500, 16000, 330), 16000);
    for (const size_t size : {160u, 160u, 320u, 10u}) {
        ASSERT_EQ(popNow(queue, piece), SpeechQueue::Got::Piece);
        EXPECT_EQ(piece.codes.size(), size);
    }
    EXPECT_EQ(piece.rate, 16000u);
    EXPECT_EQ(popNow(queue, piece), SpeechQueue::Got::Nothing);
}

TEST(SpeechQueue, KeepsHalfASecondAndLosesTheOldest)
{
    SpeechQueue queue;
    SpeechPiece piece;
    for (int i = 0; i < 100; ++i)
        push(queue, Bytes(160, uint8_t(i)));
    for (int i = 75; i < 100; ++i) {
        ASSERT_EQ(popNow(queue, piece), SpeechQueue::Got::Piece);
        EXPECT_EQ(piece.codes, Bytes(160, uint8_t(i)));
    }
    EXPECT_EQ(popNow(queue, piece), SpeechQueue::Got::Nothing);
    push(queue, Bytes(65535, 7)); // eight seconds in one frame
    size_t left = 0;
    while (popNow(queue, piece) == SpeechQueue::Got::Piece)
        left += piece.codes.size();
    EXPECT_LE(left, 4000u);
    EXPECT_GT(left, 3800u);
}

TEST(SpeechQueue, ClosedItTakesNothingAndWaitsForNothing)
{
    SpeechQueue queue;
    SpeechPiece piece;
    push(queue, Bytes(160, 1));
    queue.close();
    push(queue, Bytes(160, 2));
    const auto later = SpeechQueue::Clock::now() + std::chrono::hours(1);
    EXPECT_EQ(queue.pop(piece, later), SpeechQueue::Got::End);
    EXPECT_FALSE(queue.waitUntil(later));
}
