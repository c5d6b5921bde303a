// The library against the simulated recorder, where that was built: another hand's ONVIF and RTSP.
#include "RecorderFixture.h"

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

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
