// Snapshots and recordings, read back by an independent reader.
#include "Player.h"

#include <cstdio>
#include <map>
#include <sstream>

using namespace clip;
using lumo::VideoCodec;

namespace
{

class RecordTest : public ScreenTest
{
protected:
    TempFolder m_folder;

    /// What ffprobe prints with these options.
    static std::string probe(const std::string& options, const std::string& file)
    {
        const std::string command = "ffprobe -v error -of csv=p=0 " + options + " '" + file + "' 2>&1";
        std::string out;
        if (FILE* pipe = popen(command.c_str(), "r")) {
            char buffer[256];
            while (std::fgets(buffer, sizeof buffer, pipe))
                out += buffer;
            pclose(pipe);
        }
        return out;
    }
    static std::string videoFacts(const std::string& file)
    {
        return probe(
            "-select_streams v -count_frames -show_entries stream=codec_name,width,height,r_frame_rate,nb_read_frames",
            file);
    }
    static bool drained(const Player& player)
    {
        return eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; });
    }
    static std::vector<Unit> clip(VideoCodec codec, int frames, int fps = 25)
    {
        Spec spec;
        spec.codec = codec;
        spec.frames = frames;
        spec.keyEvery = 10;
        spec.fps = fps;
        return numbered(spec);
    }
};

// ---- snapshots

TEST_F(RecordTest, SnapshotIsTheFullPictureAsBmp)
{
    TestWindow window(50, 40);
    Player player(window.id());
    Spec spec;
    spec.width = 322;
    spec.height = 242;
    player.feed(quarters(spec, kRed, kGreen, kBlue, kWhite));
    ASSERT_TRUE(shows(window, 40, 30, {255, 255, 255}));
    const auto path = m_folder / "new/folders/shot.bmp";
    ASSERT_EQ(LUMODEC_CatchPicture(player.port(), path.c_str(), 0), 1);
    const Bytes bmp = readFile(path);
    const size_t row = (322 * 3 + 3) / 4 * 4;
    ASSERT_EQ(bmp.size(), 54 + row * 242);
    EXPECT_EQ(bmp[0], 'B');
    EXPECT_EQ(bmp[18] | bmp[19] << 8, 322);
    EXPECT_EQ(bmp[22] | bmp[23] << 8, 242);
    EXPECT_EQ(bmp[28], 24);
    const auto at = [&](int x, int y) {
        const uint8_t* p = &bmp[54 + row * size_t(241 - y) + size_t(x) * 3];
        return Rgb{p[2], p[1], p[0]};
    };
    EXPECT_TRUE(at(2, 2).near({255, 0, 0}));
    EXPECT_TRUE(at(319, 2).near({0, 255, 0}));
    EXPECT_TRUE(at(2, 239).near({0, 0, 255}));
    EXPECT_TRUE(at(319, 239).near({255, 255, 255}));
}

TEST_F(RecordTest, SnapshotWithoutAPictureIsRefused)
{
    Player player;
    const auto path = m_folder / "none.bmp";
    EXPECT_EQ(LUMODEC_CatchPicture(player.port(), path.c_str(), 0), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RecordTest, SnapshotThatCannotBeWrittenIsRefused)
{
    Player player;
    player.feed(solid({}, kRed));
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) != 0; }));
    const auto file = m_folder / "file";
    std::fclose(std::fopen(file.c_str(), "w"));
    EXPECT_EQ(LUMODEC_CatchPicture(player.port(), (file + "/below/a.bmp").c_str(), 0), 0);
    EXPECT_EQ(LUMODEC_CatchPicture(player.port(), m_folder.path().c_str(), 0), 0);
    EXPECT_EQ(LUMODEC_CatchPicture(player.port(), "", 0), 0);
    EXPECT_EQ(LUMODEC_CatchPicture(player.port(), "/dev/full", 0), 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full")) << "a device is no file to clean up";
}

TEST_F(RecordTest, SnapshotOfAPausedPortIsTheHeldPicture)
{
    TestWindow window(64, 48);
    Player player(window.id());
    player.feed(solid({}, kRed));
    ASSERT_TRUE(shows(window, 30, 20, {255, 0, 0}));
    LUMODEC_Pause(player.port(), 1);
    player.feed(solid({}, kGreen));
    ASSERT_TRUE(drained(player));
    const auto path = m_folder / "held.bmp";
    ASSERT_EQ(LUMODEC_CatchPicture(player.port(), path.c_str(), 0), 1);
    const Bytes bmp = readFile(path);
    EXPECT_TRUE((Rgb{bmp[56], bmp[55], bmp[54]}.near({255, 0, 0})));
}

// ---- raw

TEST_F(RecordTest, RawRecordIsTheFramesAsReceivedFromTheNextKeyFrame)
{
    Player player;
    const auto units = clip(VideoCodec::H265, 30);
    const auto sound = aLawTone(8000, 440, 80, 40);
    const auto path = m_folder / "sub/folder/a.h265x";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), LUMODEC_RECORD_RAW), 1);
    Bytes expected;
    for (size_t i = 5; i < units.size(); ++i) {
        player.feed(units[i].frame);
        player.feed(sound[i % 2]);
        if (i >= 10) {
            expected.insert(expected.end(), units[i].frame.begin(), units[i].frame.end());
            expected.insert(expected.end(), sound[i % 2].begin(), sound[i % 2].end());
        }
    }
    ASSERT_TRUE(drained(player));
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 0);
    EXPECT_TRUE(readFile(path) == expected);
}

TEST_F(RecordTest, RecordingWithoutAKeyFrameLeavesNoFile)
{
    Player player;
    for (const int type : {LUMODEC_RECORD_RAW, LUMODEC_RECORD_AVI}) {
        const auto path = m_folder / "empty";
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), type), 1);
        EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(RecordTest, SecondStartIsRefusedWhileRecording)
{
    Player player;
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), (m_folder / "a").c_str(), 0), 1);
    EXPECT_EQ(LUMODEC_StartDataRecord(player.port(), (m_folder / "b").c_str(), 0), 0);
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
}

TEST_F(RecordTest, FolderThatCannotBeMadeRefusesTheStart)
{
    Player player;
    const auto file = m_folder / "file";
    std::fclose(std::fopen(file.c_str(), "w"));
    EXPECT_EQ(LUMODEC_StartDataRecord(player.port(), (file + "/a.avi").c_str(), 2), 0);
    EXPECT_EQ(LUMODEC_StartDataRecord(player.port(), (file + "/a.h265x").c_str(), 0), 0);
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 0);
}

TEST_F(RecordTest, FullDiskEndsTheRecordingAndNothingElse)
{
    TestWindow window(320, 240);
    Player player(window.id());
    for (const int type : {LUMODEC_RECORD_RAW, LUMODEC_RECORD_AVI}) {
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), "/dev/full", type), 1);
        player.feed(clip(VideoCodec::H264, 25));
        EXPECT_TRUE(eventually([&] { return window.shot().number() == 24; }));
        EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1) << "the start is still answered by a stop";
    }
}

TEST_F(RecordTest, FolderThatVanishesHarmsNothing)
{
    TestWindow window(320, 240);
    Player player(window.id());
    const auto path = m_folder / "gone/a.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    player.feed(clip(VideoCodec::H264, 5));
    ASSERT_TRUE(eventually([&] { return window.shot().number() == 4; }));
    std::filesystem::remove_all(m_folder / "gone");
    player.feed(clip(VideoCodec::H264, 20));
    EXPECT_TRUE(eventually([&] { return window.shot().number() == 19; }));
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
}

TEST_F(RecordTest, StopOfThePortEndsTheRecordingWhole)
{
    const auto path = m_folder / "a.avi";
    Player player;
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    player.feed(clip(VideoCodec::H264, 20));
    ASSERT_TRUE(drained(player));
    EXPECT_EQ(LUMODEC_Stop(player.port()), 1);
    EXPECT_EQ(videoFacts(path), "h264,320,240,25/1,20\n");
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
    EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 0);
}

// ---- AVI

TEST_F(RecordTest, AviOfEachCodecHasItsPicturesRateAndSize)
{
    const std::map<VideoCodec, std::string> names = {
        {VideoCodec::H264, "h264"}, {VideoCodec::H265, "hevc"}, {VideoCodec::Mjpeg, "mjpeg"}};
    for (const auto& [codec, name] : names) {
        Player player;
        const auto path = m_folder / (name + ".avi");
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), LUMODEC_RECORD_AVI), 1);
        player.feed(clip(codec, 50));
        ASSERT_TRUE(drained(player));
        ASSERT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
        EXPECT_EQ(videoFacts(path), name + ",320,240,25/1,50\n");
        const auto tag = probe("-select_streams v -show_entries stream=codec_tag_string", path);
        EXPECT_EQ(tag, codec == VideoCodec::H265 ? "HEVC\n" : codec == VideoCodec::H264 ? "H264\n" : "MJPG\n");
    }
}

TEST_F(RecordTest, AviHasTheRealPictureRateNotTheOneThatWasSaid)
{
    Player player;
    const auto path = m_folder / "slow.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    Spec spec;
    spec.frames = 30;
    spec.fps = 10;
    spec.saidFps = 25;
    player.feed(numbered(spec));
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    EXPECT_EQ(videoFacts(path), "h264,320,240,10/1,30\n");
    const auto duration = probe("-select_streams v -show_entries stream=duration", path);
    EXPECT_NEAR(std::atof(duration.c_str()), 3.0, 0.05);
}

TEST_F(RecordTest, AviOfFramesThatTellNothingIsSoundAllTheSame)
{
    Player player;
    const auto path = m_folder / "bare.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    for (const auto& unit : clip(VideoCodec::H264, 20))
        player.feed(wrap(unit.key, VideoCodec::H264, 0, unit.payload, 0));
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    EXPECT_EQ(videoFacts(path), "h264,320,240,25/1,20\n");
}

TEST_F(RecordTest, AviKeyFramesAreMarked)
{
    Player player;
    const auto path = m_folder / "keys.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    player.feed(clip(VideoCodec::H264, 30));
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    std::istringstream flags(probe("-select_streams v -show_entries packet=flags", path));
    int row = 0;
    for (std::string line; std::getline(flags, line); ++row)
        EXPECT_EQ(line.find('K') != std::string::npos, row % 10 == 0) << row;
    EXPECT_EQ(row, 30);
}

TEST_F(RecordTest, AviHoldsALawSound)
{
    Player player;
    const auto path = m_folder / "sound.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    const auto units = clip(VideoCodec::H264, 50);
    const auto sound = aLawTone(8000, 1000, 2000, 40);
    for (size_t i = 0; i < units.size(); ++i) {
        player.feed(units[i].frame);
        player.feed(sound[i]);
    }
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    EXPECT_EQ(videoFacts(path), "h264,320,240,25/1,50\n");
    EXPECT_EQ(probe("-select_streams a -show_entries stream=codec_name,sample_rate,channels", path),
              "pcm_alaw,8000,1\n");
    std::istringstream sizes(probe("-select_streams a -show_entries packet=size", path));
    int total = 0;
    for (int size = 0; sizes >> size;)
        total += size;
    EXPECT_EQ(total, 16000) << "two seconds, a byte each sample";
}

TEST_F(RecordTest, AviHoldsAacSound)
{
    Player player;
    const auto path = m_folder / "aac.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    player.feed(clip(VideoCodec::H264, 50));
    const auto sound = aacTone(16000, 1000, 2000);
    for (const auto& frame : sound)
        player.feed(frame);
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    EXPECT_EQ(probe("-select_streams a -show_entries stream=codec_name,sample_rate,channels", path), "aac,16000,1\n");
    const auto count = probe("-select_streams a -count_frames -show_entries stream=nb_read_frames", path);
    EXPECT_NEAR(std::atof(count.c_str()), double(sound.size()), 2);
}

TEST_F(RecordTest, AviGoesOnInAnotherFileWhenThePictureChangesItsForm)
{
    Player player;
    const auto path = m_folder / "parts.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    player.feed(clip(VideoCodec::H264, 20));
    player.feed(clip(VideoCodec::H265, 10));
    ASSERT_TRUE(drained(player));
    LUMODEC_StopDataRecord(player.port());
    EXPECT_EQ(videoFacts(path), "h264,320,240,25/1,20\n");
    EXPECT_EQ(videoFacts(m_folder / "parts_1.avi"), "hevc,320,240,25/1,10\n");
}

TEST_F(RecordTest, CrashInTheMiddleLeavesAFileThatCanBeRead)
{
    // What is on the disk at a moment in the middle of the recording is what a crash would leave.
    Player player;
    const auto path = m_folder / "crash.avi";
    ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), 2), 1);
    const auto first = clip(VideoCodec::H264, 100);
    player.feed(first[0].frame);
    size_t fed = 1;
    // The index is written with the first frame and then every two seconds: feed until the file holds many frames.
    const auto copy = m_folder / "copy.avi";
    EXPECT_TRUE(eventually([&] {
        player.feed(first[fed++ % 100].frame);
        if (!drained(player))
            return false;
        std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
        return std::filesystem::file_size(copy) > 1100 &&
               std::atoi(probe("-select_streams v -count_packets -show_entries "
                               "stream=nb_read_packets",
                               copy)
                             .c_str()) > 3;
    }));
    LUMODEC_StopDataRecord(player.port());
    const auto after = probe("-select_streams v -count_packets -show_entries stream=nb_read_packets", path);
    EXPECT_EQ(std::atoi(after.c_str()), int(fed));
}

} // namespace
