// The library against the simulated recorder, where that was built: another hand's ONVIF and RTSP.
#include "Child.h"
#include "Text.h"
#include "Viewer.h"

#include <cstdlib>
#include <filesystem>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

constexpr int kStartMs = 120000; // it encodes its scenes first

std::string recorderPath()
{
    const char* told = std::getenv("LUMO_RECORDER");
    return told ? told : LUMO_RECORDER;
}

class Recorder : public NetTest
{
protected:
    void SetUp() override
    {
        if (!Child::exists(recorderPath()))
            GTEST_SKIP() << "no recorder at " << recorderPath();
        NetTest::SetUp();
        Timings& t = defaults().timings;
        t = Timings();
        t.openMs = t.requestMs = kLongMs; // scenes are encoded when first asked for
        t.retryMs = {20, 20, 20};
        m_serial = "NET" + std::to_string(std::rand()) + std::to_string(IoNow());
    }

    void start(const std::string& codec, const std::string& sub = "160x96")
    {
        const auto cache = std::filesystem::temp_directory_path() / "lumo-net-tests-clips";
        m_child = std::make_unique<Child>(std::vector<std::string>{
            recorderPath(), "--http-port", "0", "--rtsp-port", "0", "--channels", "2", "--main", "320x192", "--sub",
            sub, "--codec", codec, "--serial", m_serial, "--cache", cache.string()});
        const std::string line = m_child->firstLine(kStartMs);
        m_http = numberIn(line, "\"http\":");
        m_rtsp = numberIn(line, "\"rtsp\":");
        ASSERT_GT(m_http, 0) << line;
        begin();
    }
    int enter(const std::string& tail = "") { return login("127.0.0.1" + tail, m_http); }

    /// The recorder's own HTTP call for tests.
    bool fault(const std::string& json)
    {
        Socket socket;
        PollSet poll;
        if (!socket.startConnect(resolveAddress("127.0.0.1", uint16_t(m_http))))
            return false;
        const size_t slot = poll.add(socket.handle(), false, true);
        poll.wait(kLongMs);
        const std::string text = "POST /api/fault HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(m_http) +
                                 "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                                 std::to_string(json.size()) + "\r\n\r\n" + json;
        socket.send(text.data(), text.size());
        poll.set(slot, true, false);
        poll.wait(kLongMs);
        char reply[256] = "";
        const IoResult r = socket.receive(reply, sizeof reply);
        return r.state == Io::Done && std::string_view(reply, r.size).find(" 200 ") != std::string_view::npos;
    }

    static int numberIn(const std::string& text, const std::string& key)
    {
        const size_t at = text.find(key);
        return at == std::string::npos ? 0 : int(toNumber(std::string_view(text).substr(at + key.size()), 0));
    }
    static long long IoNow() { return std::chrono::steady_clock::now().time_since_epoch().count() % 1000000007; }
    static size_t videos(const std::vector<SeenFrame>& frames)
    {
        return size_t(
            std::count_if(frames.begin(), frames.end(), [](const SeenFrame& f) { return f.type != LUMO_FRAME_AUDIO; }));
    }
    static bool allSound(const std::vector<SeenFrame>& frames)
    {
        return std::all_of(frames.begin(), frames.end(), [](const SeenFrame& f) { return f.sound; });
    }

    /// Plays and waits for pictures; the first one must be a key frame of that size.
    void expectPictures(int login, int channel, int stream, VideoCodec codec, int width, int height)
    {
        Viewer v;
        const int h = play(login, v, channel, stream);
        ASSERT_GT(h, 0) << LUMONET_GetLastError();
        ASSERT_TRUE(v.waitFor([](const auto& f) { return videos(f) >= 12; }));
        EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
        const auto frames = v.frames();
        EXPECT_TRUE(allSound(frames));
        for (const auto& f : frames) {
            if (f.type == LUMO_FRAME_AUDIO)
                continue;
            EXPECT_EQ(f.type, LUMO_FRAME_VIDEO_I);
            EXPECT_EQ(f.video.codec, codec);
            EXPECT_EQ(f.width, width);
            EXPECT_EQ(f.height, height);
            break;
        }
    }

    std::string m_serial;
    int m_http = 0, m_rtsp = 0;
    std::unique_ptr<Child> m_child;
};

} // namespace

TEST_F(Recorder, H264AndH265MainAndSub)
{
    start("mixed");
    const int l = enter();
    ASSERT_GT(l, 0) << error;
    EXPECT_EQ(info.nChannels, 2);
    EXPECT_EQ(m_serial.substr(0, 31), info.szSerialNo);
    EXPECT_STRNE(info.szDeviceName, "");
    expectPictures(l, 0, 0, VideoCodec::H264, 320, 192);
    expectPictures(l, 0, 1, VideoCodec::H264, 160, 96);
    expectPictures(l, 1, 0, VideoCodec::H265, 320, 192);
    expectPictures(l, 1, 1, VideoCodec::H265, 160, 96);
}

TEST_F(Recorder, Mjpeg)
{
    start("mjpeg");
    const int l = enter();
    ASSERT_GT(l, 0) << error;
    expectPictures(l, 1, 0, VideoCodec::Mjpeg, 320, 192);
}

TEST_F(Recorder, DatagramsAndSound)
{
    start("mixed");
    const int l = enter("?transport=udp");
    ASSERT_GT(l, 0) << error;
    expectPictures(l, 1, 0, VideoCodec::H265, 320, 192);
    Viewer v;
    ASSERT_GT(play(l, v, 0), 0);
    EXPECT_TRUE(v.waitFor([](const auto& f) {
        return std::any_of(f.begin(), f.end(),
                           [](const SeenFrame& s) { return s.type == LUMO_FRAME_AUDIO && s.sound; });
    }));
}

TEST_F(Recorder, WrongPasswordAndPlainAddress)
{
    start("h264");
    EXPECT_EQ(login("127.0.0.1", m_http, "admin", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    const std::string address = "rtsp://127.0.0.1:" + std::to_string(m_rtsp) + "/live/1/1";
    EXPECT_EQ(login(address, 0, "admin", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    const int l = login(address, 0, "admin", "lumo");
    ASSERT_GT(l, 0) << error;
    expectPictures(l, 0, 0, VideoCodec::H264, 160, 96);
}

TEST_F(Recorder, BySerialNumberAndToken)
{
    start("h264");
    ASSERT_GT(login(m_serial, 0, "admin", "lumo", 2), 0) << error << info.szCloudError;
    info = {};
    const int l = LUMONET_LoginEx_V2(m_serial.c_str(), 0, "lumo-token", "", &info, 7, &error, 2);
    ASSERT_GT(l, 0) << error;
    expectPictures(l, 0, 1, VideoCodec::H264, 160, 96);
    EXPECT_EQ(LUMONET_LoginEx_V2(m_serial.c_str(), 0, "nonsense", "", &info, 7, &error, 2), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
}

TEST_F(Recorder, DroppedAndFrozenStreamsComeBack)
{
    defaults().timings.silenceMs = 500;
    start("h264");
    const int l = enter();
    Viewer v;
    ASSERT_GT(play(l, v, 1, 1), 0);
    ASSERT_TRUE(v.waitForCount(5));
    ASSERT_TRUE(fault("{\"channel\":1,\"drop\":true}"));
    v.clear();
    ASSERT_TRUE(v.waitFor([](const auto& f) {
        return std::any_of(f.begin(), f.end(), [](const SeenFrame& s) { return s.type == LUMO_FRAME_VIDEO_I; }) &&
               f.size() > 30;
    }));
    ASSERT_TRUE(fault("{\"channel\":1,\"freeze\":true}"));
    ASSERT_TRUE(fault("{\"channel\":1,\"freeze\":false}"));
    v.clear();
    EXPECT_TRUE(v.waitForCount(30));
    EXPECT_TRUE(allSound(v.frames()));
}

TEST_F(Recorder, ThatStopsAnsweringIsLost)
{
    defaults().timings.watchPeriodMs = 50;
    defaults().timings.watchRequestMs = 200;
    start("h264");
    const int l = enter();
    ASSERT_GT(l, 0);
    Viewer v;
    ASSERT_GT(play(l, v, 0, 1), 0);
    ASSERT_TRUE(fault("{\"stopAnswering\":true}"));
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
    while (disconnects == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_EQ(disconnects, 1);
    EXPECT_EQ(LUMONET_Logout(l), 1);
}
