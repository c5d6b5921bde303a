// Conversion of recorded files to AVI, read back by an independent reader.
#include "Recordings.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <cstdlib>
#include <map>
#include <mutex>

using lumo::VideoCodec;
using recordings::Movie;

namespace
{

/// What a conversion told.
struct Reports {
    std::mutex lock;
    std::vector<std::pair<long, long>> all;
    std::thread::id thread;

    static void take(long current, long total, intptr_t user)
    {
        auto* self = reinterpret_cast<Reports*>(user);
        std::lock_guard guard(self->lock);
        self->all.emplace_back(current, total);
        self->thread = std::this_thread::get_id();
    }
    bool done()
    {
        std::lock_guard guard(lock);
        return !all.empty() && all.back().first == all.back().second;
    }
};

class ConvertTest : public ScreenTest
{
protected:
    int start(const std::string& from, const std::string& to)
    {
        m_reports.all.clear();
        return LUMODEC_ConvertFile(from.c_str(), to.c_str(), LUMODEC_RECORD_AVI, Reports::take,
                                   reinterpret_cast<intptr_t>(&m_reports));
    }
    testing::AssertionResult converts(const std::string& from, const std::string& to)
    {
        if (start(from, to) <= 0)
            return testing::AssertionFailure() << "refused";
        if (!eventually([&] { return m_reports.done(); }))
            return testing::AssertionFailure() << "does not end";
        return testing::AssertionSuccess();
    }
    std::string raw(const std::string& name, const std::vector<clip::Unit>& units)
    {
        recordings::writeFile(m_folder / name, recordings::joined(units));
        return m_folder / name;
    }
    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    static std::string facts(const std::string& path)
    {
        return recordings::output("ffprobe -v error -select_streams v -count_frames -of csv=p=0 -show_entries "
                                  "stream=codec_name,codec_tag_string,r_frame_rate,nb_read_frames '" +
                                  path + "'");
    }
    Reports m_reports;
    TempFolder m_folder;
};

TEST_F(ConvertTest, EachCodecKeepsEveryPictureAndItsRate)
{
    const std::map<VideoCodec, std::string> expected = {{VideoCodec::H264, "h264,H264,25/1,60\n"},
                                                        {VideoCodec::H265, "hevc,HEVC,25/1,60\n"},
                                                        {VideoCodec::Mjpeg, "mjpeg,MJPG,25/1,60\n"}};
    for (const auto& [codec, said] : expected) {
        for (const int bFrames : {0, 2}) {
            clip::Spec spec;
            spec.codec = codec;
            spec.frames = 60;
            spec.bFrames = codec == VideoCodec::Mjpeg ? 0 : bFrames;
            const auto from = raw("from.h265x", clip::numbered(spec));
            const auto to = m_folder / "sub/to.avi";
            ASSERT_TRUE(converts(from, to));
            EXPECT_EQ(facts(to), said) << bFrames;
        }
    }
}

TEST_F(ConvertTest, PositionRisesAndTellsItsEndOnce)
{
    clip::Spec spec;
    spec.frames = 300;
    const auto from = raw("from.h265x", clip::numbered(spec));
    ASSERT_TRUE(converts(from, m_folder / "to.avi"));
    std::lock_guard guard(m_reports.lock);
    EXPECT_GT(m_reports.all.size(), 10u);
    for (size_t i = 0; i + 1 < m_reports.all.size(); ++i) {
        EXPECT_LT(m_reports.all[i].first, m_reports.all[i + 1].first);
        EXPECT_LT(m_reports.all[i].first, m_reports.all[i].second);
        EXPECT_EQ(m_reports.all[i].second, m_reports.all.back().second);
    }
    EXPECT_NE(m_reports.thread, std::this_thread::get_id());
}

TEST_F(ConvertTest, WorksWithoutAnyoneListening)
{
    clip::Spec spec;
    spec.frames = 10;
    const auto from = raw("from.h265x", clip::numbered(spec));
    const auto to = m_folder / "to.avi";
    ASSERT_EQ(LUMODEC_ConvertFile(from.c_str(), to.c_str(), 2, nullptr, 0), 1);
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(to); }));
    EXPECT_EQ(recordings::countPictures(to), 10) << "its name comes last";
}

TEST_F(ConvertTest, ContainersAreConvertedToo)
{
    for (const char* ending : {"mp4", "mkv", "ts"}) {
        Movie movie;
        movie.sound = recordings::beep(0.5, "aac");
        const auto from = m_folder / (std::string("from.") + ending);
        ASSERT_TRUE(recordings::make(from, movie));
        const auto to = m_folder / "to.avi";
        ASSERT_TRUE(converts(from, to));
        EXPECT_EQ(facts(to), "h264,H264,25/1,60\n") << ending;
        EXPECT_EQ(recordings::output(
                      "ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 '" + to + "'"),
                  "aac\n")
            << ending;
    }
}

TEST_F(ConvertTest, SoundGoesAlong)
{
    clip::Spec spec;
    spec.frames = 50;
    const auto pictures = clip::numbered(spec);
    const auto tone = clip::aLawTone(8000, 1000, 2000, 40);
    clip::Bytes bytes;
    for (size_t i = 0; i < pictures.size(); ++i) {
        bytes.insert(bytes.end(), pictures[i].frame.begin(), pictures[i].frame.end());
        bytes.insert(bytes.end(), tone[i].begin(), tone[i].end());
    }
    recordings::writeFile(m_folder / "from.h265x", bytes);
    const auto to = m_folder / "to.avi";
    ASSERT_TRUE(converts(m_folder / "from.h265x", to));
    const auto sound = recordings::output("ffmpeg -v error -i '" + to + "' -vn -f s16le -ac 1 -ar 8000 - | wc -c");
    EXPECT_EQ(std::atoi(sound.c_str()), 2 * 8000 * 2) << "two seconds";
}

TEST_F(ConvertTest, WhatCannotBeConvertedIsRefusedAndCallsNothing)
{
    clip::Spec spec;
    const auto good = raw("good.h265x", clip::numbered(spec));
    recordings::writeFile(m_folder / "text.h265x", {'t', 'e', 'x', 't'});
    recordings::writeFile(m_folder / "empty.h265x", {});
    Movie old;
    old.codec = "mpeg2video";
    ASSERT_TRUE(recordings::make(m_folder / "old.mpg", old));
    const auto before = files();
    const auto to = m_folder / "to.avi";
    const auto told = [&](const std::string& from, const std::string& target) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(start(from, target), 0);
        return testing::internal::GetCapturedStderr();
    };
    const auto says = [](const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos ? testing::AssertionSuccess() : testing::AssertionFailure() << text;
    };
    for (const char* name : {"nothing.h265x", "text.h265x", "empty.h265x", "old.mpg", "good.h265x"}) {
        const std::string from = m_folder / name; // the good one onto itself
        EXPECT_TRUE(says(told(from, from == good ? good : to), "LumoDecode: this cannot be converted: " + from + "\n"));
    }
    EXPECT_EQ(start(good, ""), 0);
    const std::string below = m_folder / "text.h265x/below-a-file.avi";
    const std::string text = told(good, below);
    EXPECT_TRUE(says(text, "LumoDecode: this cannot be written (")) << "with the system's reason";
    EXPECT_TRUE(says(text, ": " + below + "\n"));
    EXPECT_EQ(LUMODEC_ConvertFile(good.c_str(), to.c_str(), 0, Reports::take, 0), 0);
    EXPECT_EQ(LUMODEC_ConvertFile(nullptr, to.c_str(), 2, Reports::take, 0), 0);
    EXPECT_EQ(LUMODEC_ConvertFile(good.c_str(), nullptr, 2, Reports::take, 0), 0);
    EXPECT_TRUE(m_reports.all.empty());
    EXPECT_EQ(files(), before);
}

TEST_F(ConvertTest, CutOffRecordingIsConvertedAsFarAsItGoes)
{
    clip::Spec spec;
    spec.frames = 60;
    const auto from = raw("from.h265x", clip::numbered(spec));
    std::filesystem::resize_file(from, std::filesystem::file_size(from) - 10);
    const auto to = m_folder / "to.avi";
    ASSERT_TRUE(converts(from, to));
    EXPECT_EQ(recordings::countPictures(to), 59);
}

TEST_F(ConvertTest, TargetThatIsThereIsReplacedOnlyByAWholeOne)
{
    clip::Spec spec;
    spec.frames = 20;
    const auto from = raw("from.h265x", clip::numbered(spec));
    const auto to = m_folder / "to.avi";
    recordings::writeFile(to, {'o', 'l', 'd'});
    ASSERT_TRUE(converts(from, to));
    EXPECT_EQ(recordings::countPictures(to), 20);
    EXPECT_EQ(files(), (std::vector<std::string>{"from.h265x", "to.avi"}));
}

TEST_F(ConvertTest, SeveralAtOnce)
{
    clip::Spec spec;
    spec.frames = 100;
    const auto from = raw("from.h265x", clip::numbered(spec));
    Reports reports[4];
    for (int i = 0; i < 4; ++i)
        ASSERT_EQ(LUMODEC_ConvertFile(from.c_str(), (m_folder / (std::to_string(i) + ".avi")).c_str(), 2, Reports::take,
                                      reinterpret_cast<intptr_t>(&reports[i])),
                  1);
    for (auto& report : reports)
        ASSERT_TRUE(eventually([&] { return report.done(); }));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(recordings::countPictures(m_folder / (std::to_string(i) + ".avi")), 100);
}

// ---- a disk that is full: full_disk.sh gives a small one

class SmallDiskTest : public ConvertTest
{
protected:
    void SetUp() override
    {
        const char* disk = std::getenv("LUMO_SMALL_DISK");
        if (!disk)
            GTEST_SKIP() << "needs a small disk: full_disk.sh makes one";
        m_disk = disk;
        clip::Spec spec;
        spec.frames = 20;
        const auto noise = [](int, AVFrame& frame) { // large pictures
            for (int y = 0; y < frame.height; ++y)
                for (int x = 0; x < frame.width; ++x)
                    frame.data[0][y * frame.linesize[0] + x] = uint8_t(std::rand());
        };
        m_from = raw("from.h265x", clip::encode(spec, noise));
    }
    std::vector<std::string> onDisk() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_disk))
            names.push_back(entry.path().filename().string());
        return names;
    }
    void TearDown() override
    {
        if (!m_disk.empty())
            for (const auto& name : onDisk())
                std::filesystem::remove(m_disk + "/" + name);
    }
    std::string m_disk, m_from;
};

TEST_F(SmallDiskTest, ConversionEndsLeavesNothingAndTheNextOneWorks)
{
    ASSERT_GT(std::filesystem::file_size(m_from), std::filesystem::space(m_disk).available);
    testing::internal::CaptureStderr();
    const testing::AssertionResult ended = converts(m_from, m_disk + "/to.avi");
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(ended) << "the end is told: the next of a list waits for it";
    EXPECT_NE(told.find("LumoDecode: conversion ended, the file cannot be written (No space left on device): " +
                        m_disk + "/to.avi\n"),
              std::string::npos)
        << told;
    EXPECT_TRUE(onDisk().empty());
    clip::Spec small;
    small.frames = 5;
    ASSERT_TRUE(converts(raw("small.h265x", clip::numbered(small)), m_disk + "/to.avi"));
    EXPECT_EQ(recordings::countPictures(m_disk + "/to.avi"), 5);
}

TEST_F(SmallDiskTest, ClipEndsUnderANameThatSaysSo)
{
    for (const auto& [type, name] : {std::pair{LUMODEC_RECORD_AVI, "clip.avi"}, {LUMODEC_RECORD_RAW, "clip.h265x"}}) {
        FilePlayer player(m_from, 0, false);
        LUMODEC_Play(player.port(), 0);
        LUMODEC_Pause(player.port(), 1);
        LUMODEC_SetPlayPos(player.port(), 0);
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), (m_disk + "/" + name).c_str(), type), 1);
        testing::internal::CaptureStderr();
        LUMODEC_Play(player.port(), 0);
        for (int i = 0; i < 4; ++i)
            LUMODEC_Fast(player.port());
        EXPECT_TRUE(eventually([&] { return player.ends() == 1; })) << "the playing goes on";
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_NE(told.find("LumoDecode: recording ended, it cannot be written (No space left on device): " + m_disk +
                            "/" + name + "\n"),
                  std::string::npos)
            << told;
        EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
        const auto left = onDisk();
        ASSERT_EQ(left.size(), 1u);
        EXPECT_NE(left[0].find(".incomplete."), std::string::npos) << left[0];
        TearDown();
    }
}

} // namespace
