// The rules behind recorded video, one by one: pace, the index, the times of sound, what is kept for steps back.
#include "Adts.h"
#include "Clip.h"
#include "MediaIndex.h"
#include "PacketHistory.h"
#include "PictureRun.h"
#include "PlayPace.h"
#include "SoundTimes.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace
{

// ---- pace

TEST(PlayPaceTest, StepIsWhatTheTimesSayWithinReason)
{
    EXPECT_EQ(PlayPace::stepMs(1000, 1040, 40), 40);
    EXPECT_EQ(PlayPace::stepMs(1000, 3000, 40), 2000);
    EXPECT_EQ(PlayPace::stepMs(1000, 3001, 40), 40) << "a gap is not waited for";
    EXPECT_EQ(PlayPace::stepMs(1000, 900, 40), 40) << "a clock that was set back";
    EXPECT_EQ(PlayPace::stepMs(1000, 6000, 5000), 5000) << "a slow film is no gap";
    EXPECT_EQ(PlayPace::stepMs(kNoTime, 1000, 40), 40);
    EXPECT_EQ(PlayPace::stepMs(1000, kNoTime, 33), 33);
}

TEST(PlayPaceTest, DueTimesFollowTheSpeed)
{
    PlayPace pace;
    pace.restart(1'000'000);
    EXPECT_EQ(pace.dueUs(40), 1'040'000);
    pace.setLevel(4);
    EXPECT_LE(pace.dueUs(40), 1'002'500);
    EXPECT_GE(pace.dueUs(40), 1'002'400) << "rather a hair early";
    EXPECT_EQ(pace.sinceShownMs(1'010'000), 160);
    pace.setLevel(-4);
    EXPECT_EQ(pace.dueUs(40), 1'640'000);
    pace.setLevel(99);
    EXPECT_EQ(pace.level(), 4);
    pace.setLevel(-99);
    EXPECT_EQ(pace.level(), -4);
}

TEST(PlayPaceTest, LatenessIsMadeUpForUnlessItIsFarTooMuch)
{
    PlayPace pace;
    pace.shown(1'000'000, 1'500'000);
    EXPECT_EQ(pace.dueUs(40), 1'040'000);
    pace.shown(1'000'000, 3'500'000);
    EXPECT_EQ(pace.dueUs(40), 3'540'000);
}

// ---- index

IndexEntry entry(bool key, int64_t timeMs, bool hidden = false)
{
    IndexEntry made;
    made.key = key;
    made.timeMs = made.place = timeMs;
    made.hidden = hidden;
    return made;
}

std::vector<int64_t> serials(const MediaIndex& index)
{
    std::vector<int64_t> found(index.pictures(), -1);
    for (int64_t serial = 0; serial < int64_t(index.entries()); ++serial)
        if (index.orderOf(serial) >= 0)
            found[size_t(index.orderOf(serial))] = serial;
    return found;
}

TEST(MediaIndexTest, EmptyIndexAnswersNothing)
{
    MediaIndex index;
    index.finish(40);
    EXPECT_TRUE(index.empty());
    EXPECT_EQ(index.orderAt(0.5), -1);
    EXPECT_EQ(index.orderOf(0), -1);
    EXPECT_EQ(index.keyFor(0), -1);
    EXPECT_EQ(index.timeOf(3), kNoTime);
    EXPECT_EQ(index.fractionOf(0), 0);
}

TEST(MediaIndexTest, OrderIsThatOfShowingKeyFramesAreThoseBefore)
{
    MediaIndex index;
    for (const auto& [key, ms] :
         {std::pair{true, 0}, {false, 120}, {false, 40}, {false, 80}, {true, 160}, {false, 200}})
        index.add(entry(key, ms));
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{0, 2, 3, 1, 4, 5}));
    EXPECT_EQ(index.keyFor(3), 0);
    EXPECT_EQ(index.keyFor(4), 4);
    EXPECT_EQ(index.timeOf(3), 120);
}

TEST(MediaIndexTest, PicturesBeforeTheirKeyFrameNeedTheGroupBefore)
{
    MediaIndex index;
    for (const auto& [key, ms] :
         {std::pair{true, 0}, {false, 40}, {true, 160}, {false, 80}, {false, 120}, {false, 200}})
        index.add(entry(key, ms));
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{0, 1, 3, 4, 2, 5}));
    EXPECT_EQ(index.keyFor(2), 0);
    EXPECT_EQ(index.keyFor(3), 0);
    EXPECT_EQ(index.keyFor(4), 2);
    EXPECT_EQ(index.keyFor(5), 2);
}

TEST(MediaIndexTest, WhatCannotBeDecodedOrIsNotShownHasNoOrder)
{
    MediaIndex index;
    index.add(entry(false, 0));
    index.add(entry(true, 40, true));
    index.add(entry(false, 80));
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{2}));
    EXPECT_EQ(index.keyFor(0), 1);
}

TEST(MediaIndexTest, FractionsLeadToThePictureThatStandsThere)
{
    MediaIndex index;
    for (int i = 0; i < 100; ++i)
        index.add(entry(i % 10 == 0, int64_t(i * 1000 / 30))); // a rate that milliseconds cannot say exactly
    index.finish(33);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(index.orderAt(float(i) / 100), i);
        EXPECT_EQ(index.orderAt((float(i) + 0.5f) / 100), i);
        EXPECT_EQ(index.orderAt(float(index.fractionOf(i))), i) << "there and back";
    }
    EXPECT_EQ(index.orderAt(1.0), 99);
    EXPECT_EQ(index.orderAt(-1), 0);
    EXPECT_EQ(index.orderAt(7), 99);
}

TEST(MediaIndexTest, FloatIsFineEnoughForADay)
{
    MediaIndex index;
    for (int i = 0; i < 24 * 3600 * 25; ++i)
        index.add(entry(i % 50 == 0, int64_t(i) * 40));
    index.finish(40);
    for (int64_t i = 0; i < int64_t(index.pictures()); i += 9973)
        EXPECT_EQ(index.orderAt(float(index.fractionOf(i))), i);
}

TEST(MediaIndexTest, GapsDoNotCount)
{
    MediaIndex index;
    for (int i = 0; i < 10; ++i)
        index.add(entry(i == 0 || i == 5, i * 40 + (i < 5 ? 0 : 3'600'000)));
    index.finish(40);
    EXPECT_EQ(index.orderAt(0.5), 5);
    EXPECT_EQ(index.orderAt(0.9), 9);
}

TEST(MediaIndexTest, ClockThatIsSetBackWithinAGroupKeepsTheOrder)
{
    MediaIndex index;
    for (const auto& [key, ms] : {std::pair{true, 100'000}, {false, 100'040}, {false, 10'000}, {false, 10'040}})
        index.add(entry(key, ms));
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{0, 1, 2, 3}));
}

TEST(MediaIndexTest, TimesOfDecodingServeWhereThereAreNoOthers)
{
    MediaIndex index;
    const int64_t places[] = {0, 6, 2, 4};
    for (int i = 0; i < 4; ++i) {
        IndexEntry made;
        made.key = i == 0;
        made.place = places[i];
        made.decodeMs = i * 40;
        index.add(made);
    }
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{0, 2, 3, 1}));
    EXPECT_EQ(index.timeOf(3), 120);
}

TEST(MediaIndexTest, OlderCodecsShowWhatOthersLeanOnWhenTheNextOfItsKindIsDecoded)
{
    MediaIndex index;
    const bool told[] = {false, false, true, true, false, true};
    for (int i = 0; i < 6; ++i) {
        IndexEntry made;
        made.key = i == 0;
        made.decodeMs = i * 40;
        made.placed = told[i];
        made.timeMs = told[i] ? made.decodeMs : kNoTime;
        made.place = made.timeMs;
        index.add(made);
    }
    index.finish(40);
    EXPECT_EQ(serials(index), (std::vector<int64_t>{0, 2, 3, 1, 5, 4}));
    EXPECT_EQ(index.timeOf(0), 40);
    EXPECT_EQ(index.timeOf(5), 240);
}

// ---- sound

Packet sound(size_t bytes)
{
    return makeSoundPacket({}, clip::Bytes(bytes, 0).data(), bytes);
}

TEST(SoundTimesTest, SoundRunsOnFromThePictureItBeganAt)
{
    SoundTimes times;
    EXPECT_EQ(times.sound(sound(320)), kNoTime);
    times.picture(1000);
    EXPECT_EQ(times.sound(sound(320)), 1000);
    times.picture(1045); // pictures come unevenly, sound does not
    EXPECT_EQ(times.sound(sound(320)), 1040);
    EXPECT_EQ(times.sound(sound(320)), 1080);
    times.picture(9000);
    EXPECT_EQ(times.sound(sound(320)), 9000) << "too far off: something is missing";
    times.restart(500);
    EXPECT_EQ(times.sound(sound(320)), 500);
}

TEST(AdtsTest, HeadersMadeAreReadAgain)
{
    const uint8_t config[] = {0x14, 0x08}; // AAC LC, 16000 Hz, one channel
    const auto header = adtsHeader(config, 2, 300);
    ASSERT_TRUE(isAdts(header.data(), header.size()));
    EXPECT_EQ(adtsSize(header.data()), 307u);
    clip::Bytes two(header.begin(), header.end());
    two.resize(307);
    const auto copy = two;
    two.insert(two.end(), copy.begin(), copy.end());
    EXPECT_EQ(adtsFrames(two.data(), two.size()), 2u);
    EXPECT_EQ(adtsFrames(two.data(), two.size() - 1), 1u);
    EXPECT_EQ(adtsHeader(config, 1, 300)[0], 0) << "no config";
    EXPECT_EQ(adtsHeader(config, 2, 9000)[0], 0) << "too long";
}

// ---- what is kept

Packet picture(int64_t serial, bool key, size_t bytes = 100)
{
    VideoFrameHeader header;
    header.key = key;
    Packet packet = makeVideoPacket(header, clip::Bytes(bytes, 1).data(), bytes);
    packet.serial = serial;
    return packet;
}

TEST(PacketHistoryTest, OrdersAreThoseOfComingOutAndStay)
{
    PacketHistory history;
    for (int i = 0; i < 4; ++i)
        history.push(picture(i, i == 0));
    EXPECT_EQ(history.orderOnOutput(0), 0);
    EXPECT_EQ(history.orderOnOutput(2), 1);
    EXPECT_EQ(history.orderOnOutput(1), 2);
    EXPECT_EQ(history.orderOnOutput(2), 1) << "decoded once more";
    EXPECT_EQ(history.orderOf(3), -1);
    EXPECT_EQ(history.orderOnOutput(77), -1);
    EXPECT_EQ(history.keyFor(2), 0);
    EXPECT_EQ(history.keyFor(3), std::nullopt);
    EXPECT_EQ(history.keyFor(-1), std::nullopt);
    history.countAnew(1);
    EXPECT_EQ(history.orderOnOutput(1), 1) << "it came too early before";
    EXPECT_EQ(history.orderOf(0), 0);
}

TEST(PacketHistoryTest, BoundedInBytesByWholeGroups)
{
    PacketHistory history(1000);
    for (int i = 0; i < 12; ++i)
        history.push(picture(i, i % 4 == 0, 100));
    EXPECT_EQ(history.frame(3), nullptr);
    ASSERT_NE(history.frame(8), nullptr);
    EXPECT_TRUE(history.frame(8)->isKey());
    for (int i = 12; i < 30; ++i)
        history.push(picture(i, false, 100)); // a group that is larger than all
    EXPECT_EQ(history.frame(29), nullptr);
    history.push(picture(30, true));
    EXPECT_NE(history.frame(30), nullptr) << "goes on with the next key frame";
}

Picture decoded(int64_t order, int bytes)
{
    Picture made;
    made.order = order;
    made.frame = newFrame();
    made.frame->buf[0] = av_buffer_alloc(size_t(bytes));
    return made;
}

TEST(PictureRunTest, StepsBackWithinWhatIsKept)
{
    PictureRun run;
    EXPECT_FALSE(run.back());
    EXPECT_EQ(run.shown(), nullptr);
    run.keep(true);
    for (int i = 0; i < 5; ++i)
        run.add(decoded(i, 10));
    for (int i = 0; i < 3; ++i)
        run.advance();
    EXPECT_EQ(run.shown()->order, 2);
    EXPECT_TRUE(run.back());
    EXPECT_TRUE(run.back());
    EXPECT_FALSE(run.back());
    EXPECT_EQ(run.shown()->order, 0);
    EXPECT_EQ(run.waiting(), 4u);
    run.keep(false);
    run.advance();
    EXPECT_FALSE(run.back()) << "not kept";
    EXPECT_EQ(run.shown()->order, 1);
}

TEST(PictureRunTest, MemoryIsBounded)
{
    PictureRun run;
    run.keep(true);
    for (int i = 0; i < 20; ++i) {
        run.add(decoded(i, 16 << 20));
        run.advance();
    }
    int back = 0;
    while (run.back())
        ++back;
    EXPECT_LE(back, 4);
    EXPECT_GE(back, 2);
}

} // namespace
