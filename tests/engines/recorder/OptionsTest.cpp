// The command line: what is wrong is refused with a text that names it, and nothing is started.
#include "Options.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>

using namespace lumo::recorder;

namespace
{

ParsedOptions parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "lumo-recorder");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

} // namespace

TEST(Options, DefaultsAreThePublishedOnes)
{
    const auto parsed = parse({});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->channels, 16);
    EXPECT_EQ(parsed.options->httpPort, 8080);
    EXPECT_EQ(parsed.options->rtspPort, 8554);
    EXPECT_EQ(parsed.options->mainSize, (PictureSize{1280, 720}));
    EXPECT_EQ(parsed.options->subSize, (PictureSize{640, 360}));
    EXPECT_EQ(parsed.options->codecOf(0), Codec::H264);
    EXPECT_EQ(parsed.options->codecOf(1), Codec::H265);
    EXPECT_FALSE(parsed.options->cacheDir.empty());
}

TEST(Options, WrongOnesAreRefusedByName)
{
    const std::vector<std::vector<const char*>> wrong = {
        {"--main", "1280"},           {"--main", "1280x"},
        {"--main", "1281x720"},       {"--main", "0x0"},
        {"--sub", "640x99999"},       {"--http-port", "65536"},
        {"--http-port", "-1"},        {"--rtsp-port", "8554x"},
        {"--channels", "0"},          {"--channels", "65"},
        {"--codec", "vp8"},           {"--fps", "0"},
        {"--video", "/no/such.mp4"},  {"--web", "/no/such/folder"},
        {"--serial", "A B"},          {"--user", ""},
        {"--utc-offset", "x"},        {"--recorded", "3601"},
        {"--recorded", "-1"},         {"--replay-port", "x"},
        {"--alarm", "motion"},        {"--alarm", "fire:0:5:20"},
        {"--alarm", "motion:16:5:9"}, {"--alarm", "motion:0:9:9"},
        {"--alarm", "storage:1:5:9"}, {"--alarm", "motion:0:5:20:"},
        {"--colour", "red"},          {"--channels"},
    };
    for (const auto& arguments : wrong) {
        const auto parsed = parse(arguments);
        EXPECT_FALSE(parsed.options) << arguments[0];
        EXPECT_EQ(parsed.exitCode, 2) << arguments[0];
        EXPECT_NE(parsed.message.find(arguments[0]), std::string::npos) << parsed.message;
    }
}

TEST(Options, MjpegNeedsSizesThatRtpCanSay)
{
    EXPECT_FALSE(parse({"--codec", "mjpeg", "--main", "1284x720"}).options);
    EXPECT_TRUE(parse({"--codec", "mjpeg", "--main", "1280x720"}).options);
}

TEST(Options, TheProgramEndsWithTheTextOnStderr)
{
    const Finished done = runRecorder({"--main", "wide"});
    EXPECT_EQ(done.exitCode, 2);
    EXPECT_NE(done.err.find("--main: 'wide' is not WIDTHxHEIGHT"), std::string::npos) << done.err;
    EXPECT_TRUE(done.out.empty());
}

TEST(Options, HelpNamesEveryOptionAndEndsWell)
{
    const Finished done = runRecorder({"--help"});
    EXPECT_EQ(done.exitCode, 0);
    for (const char* option : {"--address", "--video", "--prepare", "--no-discovery", "--two-lenses", "--utc-offset",
                               "--recorded", "--replay-port"}) {
        EXPECT_NE(done.out.find(option), std::string::npos) << option;
    }
}

TEST(Options, APortInUseIsAnErrorNotASilentOtherPort)
{
    RecorderProcess first;
    const Finished http =
        runRecorder({"--http-port", std::to_string(first.httpPort()), "--rtsp-port", "0", "--channels", "1"});
    EXPECT_EQ(http.exitCode, 1);
    EXPECT_NE(http.err.find("cannot listen for HTTP"), std::string::npos) << http.err;
    const Finished rtsp =
        runRecorder({"--http-port", "0", "--rtsp-port", std::to_string(first.rtspPort()), "--channels", "1"});
    EXPECT_EQ(rtsp.exitCode, 1);
    EXPECT_NE(rtsp.err.find("cannot listen for RTSP"), std::string::npos) << rtsp.err;
}

TEST(Options, ReadyLineTellsPortsSerialAndChannels)
{
    RecorderProcess recorder({"--serial", "LUMO-42", "--channels", "3"});
    EXPECT_GT(recorder.httpPort(), 0);
    EXPECT_GT(recorder.rtspPort(), 0);
    EXPECT_EQ(recorder.serial(), "LUMO-42");
    EXPECT_EQ(recorder.channels(), 3);
}

TEST(Options, AFileThatIsNoVideoIsRefusedAtStart)
{
    const Finished done = runRecorder({"--http-port", "0", "--rtsp-port", "0", "--video", RECORDER_PROGRAM});
    EXPECT_EQ(done.exitCode, 1);
    EXPECT_NE(done.err.find("--video"), std::string::npos) << done.err;
}
