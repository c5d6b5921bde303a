// Downloads against a device that plays a script.
#include "ReplayPeer.h"
#include "Watcher.h"

#include <algorithm>
#include <filesystem>

using namespace lumo;
using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class DownloadTest : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        offerReplay(onvif, peer);
        begin();
        m_login = login("127.0.0.1", onvif.port());
        ASSERT_GT(m_login, 0) << error;
    }
    int download(const std::string& name, const std::string& path, int channel = 0)
    {
        const RecordFileInfo info = byName(name, channel);
        return LUMONET_StartFileDownload(m_login, &info, path.c_str(), &PositionLog::onPosition, positions.user(), 0);
    }
    void expectOneEnd() const
    {
        const auto all = positions.entries();
        EXPECT_EQ(std::count_if(all.begin(), all.end(), [](auto& e) { return e.current == -1; }), 1);
        EXPECT_EQ(all.back().current, -1);
        for (const auto& e : all) {
            EXPECT_GT(e.total, 0);
            EXPECT_LT(e.current, e.total);
        }
    }
    /// The call before the end is one short of the total.
    bool saysWhole() const
    {
        const auto all = positions.entries();
        return all.size() >= 2 && all[all.size() - 2].current == all[all.size() - 2].total - 1;
    }

    OnvifDevicePeer onvif;
    ReplayPeer peer;
    PositionLog positions;
    TestFolder folder;
    int m_login = 0;
    const std::string kWhole = "rec_0/VIDEO001/20250329T090000Z-20250329T090010Z.h265x";
    const std::string kPart = "rec_0/VIDEO001/20250329T090003Z-20250329T090005Z.h265x";
};

} // namespace

TEST_F(DownloadTest, HoldsEveryPictureOfItsRangeAndEndsWithOneCall)
{
    const std::string path = folder.path("a/b/01_2025.h265x"); // folders that are not there
    const int h = download(kWhole, path);
    ASSERT_GT(h, 0x40000) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForEnd());
    expectOneEnd();
    EXPECT_EQ(positions.entries()[0].handle, h);
    EXPECT_TRUE(saysWhole());
    const auto frames = framesOf(contentOf(path));
    ASSERT_EQ(frames.size(), 250u);
    for (size_t i = 0; i < frames.size(); ++i)
        EXPECT_EQ(frames[i].number, int(i));
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    EXPECT_EQ(LUMONET_StopFileDownload(h), 0);
    expectOneEnd();
    const auto requests = peer.requests();
    const auto play = std::find_if(requests.begin(), requests.end(), [](auto& r) { return r.method == "PLAY"; });
    EXPECT_EQ(play->header("Rate-Control"), "no");
    EXPECT_EQ(play->header("Range"), "clock=20250329T090000Z-20250329T090010Z");
}

TEST_F(DownloadTest, RangeInTheMiddleMarksWhatOnlyItsDecodingNeeds)
{
    const std::string path = folder.path("part.h265x");
    const int h = download(kPart, path);
    ASSERT_TRUE(positions.waitForEnd());
    const auto frames = framesOf(contentOf(path));
    ASSERT_EQ(frames.size(), 53u);
    EXPECT_TRUE(frames[0].video.key);
    for (size_t i = 0; i < frames.size(); ++i)
        EXPECT_EQ(frames[i].video.flags & kFlagDecodeOnly, i < 3 ? 1 : 0) << i;
    EXPECT_EQ(frames[3].number, 75);
    EXPECT_EQ(frames.back().number, 124);
    LUMONET_StopFileDownload(h);
}

TEST_F(DownloadTest, TimesBesideTheNameChooseAPartOfTheFile)
{
    RecordFileInfo info = byName(kWhole);
    info.stBegin = {2025, 3, 29, 0, 9, 0, 4, 0};
    info.stEnd = {2025, 3, 29, 0, 9, 0, 6, 0};
    const std::string path = folder.path("part.h265x");
    const int h =
        LUMONET_StartFileDownload(m_login, &info, path.c_str(), &PositionLog::onPosition, positions.user(), 0);
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForEnd());
    const auto frames = framesOf(contentOf(path));
    EXPECT_EQ(std::count_if(frames.begin(), frames.end(), [](auto& f) { return f.video.flags == 0; }), 50);
    EXPECT_EQ(frames.back().number, 149);
    LUMONET_StopFileDownload(h);
}

TEST_F(DownloadTest, StoppedInTheMiddleItLeavesNothingAndCallsNothing)
{
    peer.stopAfter = 100;
    const int h = download(kWhole, folder.path("x.h265x"));
    ASSERT_GT(h, 0);
    ASSERT_TRUE(peer.waitFor([&] { return peer.sent == 100; }));
    ASSERT_TRUE(positions.waitForCount(1));
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    const size_t calls = positions.entries().size();
    EXPECT_TRUE(folder.all().empty());
    EXPECT_FALSE(PositionLog().waitWithin(200));
    EXPECT_EQ(positions.entries().size(), calls);
    EXPECT_NE(positions.entries().back().current, -1);
}

TEST_F(DownloadTest, WhileItRunsNothingStandsUnderItsName)
{
    peer.stopAfter = 100;
    const std::string path = folder.path("x.h265x");
    const int h = download(kWhole, path);
    ASSERT_TRUE(peer.waitFor([&] { return peer.sent == 100; }));
    EXPECT_FALSE(std::filesystem::exists(path));
    LUMONET_StopFileDownload(h);
}

TEST_F(DownloadTest, DeviceThatStopsInTheMiddleEndsItOnceAndLeavesNothing)
{
    peer.cutAfter = 100;
    testing::internal::CaptureStderr();
    const int h = download(kWhole, folder.path("x.h265x"));
    const bool ended = h > 0 && positions.waitForEnd();
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(ended);
    EXPECT_NE(
        told.find("LumoNet: download to " + folder.path("x.h265x") + " failed: the device does not answer any more\n"),
        std::string::npos)
        << told;
    expectOneEnd();
    EXPECT_FALSE(saysWhole());
    EXPECT_TRUE(folder.all().empty());
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    // And the next command works.
    peer.cutAfter = -1;
    PositionLog again;
    const RecordFileInfo info = byName(kPart);
    const int next = LUMONET_StartFileDownload(m_login, &info, folder.path("y.h265x").c_str(), &PositionLog::onPosition,
                                               again.user(), 0);
    ASSERT_GT(next, 0);
    ASSERT_TRUE(again.waitForEnd());
    EXPECT_EQ(framesOf(contentOf(folder.path("y.h265x"))).size(), 53u);
    LUMONET_StopFileDownload(next);
}

TEST_F(DownloadTest, DeviceThatFallsSilentInTheMiddleEndsIt)
{
    LUMONET_Cleanup();
    defaults().timings.silenceMs = 200;
    begin();
    m_login = login("127.0.0.1", onvif.port());
    peer.stopAfter = 100;
    const int h = download(kWhole, folder.path("x.h265x"));
    ASSERT_GT(h, 0);
    ASSERT_TRUE(positions.waitForEnd());
    EXPECT_TRUE(folder.all().empty());
    LUMONET_StopFileDownload(h);
}

TEST_F(DownloadTest, LogoutEndsItAndLeavesNothing)
{
    peer.stopAfter = 100;
    const int h = download(kWhole, folder.path("x.h265x"));
    ASSERT_TRUE(peer.waitFor([&] { return peer.sent == 100; }));
    EXPECT_EQ(LUMONET_Logout(m_login), 1);
    EXPECT_TRUE(folder.all().empty());
    EXPECT_EQ(LUMONET_StopFileDownload(h), 0);
}

TEST_F(DownloadTest, PathThatCannotBeWrittenIsRefusedAtOnce)
{
    const std::string file = folder.path("file");
    std::fclose(std::fopen(file.c_str(), "wb"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(download(kWhole, file + "/below.h265x"), 0);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("LumoNet: download to " + file + "/below.h265x failed: "), std::string::npos) << told;
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(download(kWhole, ""), 0);
    EXPECT_TRUE(positions.entries().empty());
}

TEST_F(DownloadTest, RefusedByTheDeviceIsRefusedAtOnce)
{
    EXPECT_EQ(download("rec_0/VIDEO001/20250330T090000Z-20250330T090010Z.h265x", folder.path("x.h265x")), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_REFUSED);
    EXPECT_EQ(download("nameless", folder.path("x.h265x")), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_TRUE(folder.all().empty());
}

namespace
{

/// The device tells an address of stills, and answers there with a whole HTTP reply.
void offerPictures(OnvifDevicePeer& onvif, const std::string& reply)
{
    onvif.set([&] {
        const std::string envelope = "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body><r><Uri>"
                                     "http://192.0.2.7:9/still?p=1</Uri></r></s:Body></s:Envelope>";
        onvif.rawReplyTo["GetSnapshotUri"] =
            "HTTP/1.1 200 x\r\nContent-Length: " + std::to_string(envelope.size()) + "\r\n\r\n" + envelope;
        onvif.rawReplyTo[""] = reply; // a request without a body has no action
    });
}

} // namespace

TEST_F(DownloadTest, PictureComesOverHttpAtItsTime)
{
    const std::string jpeg = "\xFF\xD8\xFF picture";
    offerPictures(onvif, "HTTP/1.1 200 x\r\nContent-Length: " + std::to_string(jpeg.size()) + "\r\n\r\n" + jpeg);
    const std::string path = folder.path("temp.jpg");
    const int h = download("rec_0/20250329T090004Z.jpg", path);
    ASSERT_GT(h, 0) << LUMONET_GetLastError();
    ASSERT_TRUE(positions.waitForEnd());
    expectOneEnd();
    const Bytes content = contentOf(path);
    EXPECT_EQ(std::string(content.begin(), content.end()), jpeg);
    const auto requests = onvif.requests();
    EXPECT_NE(requests.back().text.find("GET /still?p=1&time=20250329T090004Z "), std::string::npos)
        << requests.back().text;
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
}

TEST_F(DownloadTest, PictureThatTheDeviceDoesNotHaveEndsWithoutAFile)
{
    for (const char* reply :
         {"HTTP/1.1 404 x\r\nContent-Length: 0\r\n\r\n", "HTTP/1.1 200 x\r\nContent-Length: 5\r\n\r\nhello"}) {
        offerPictures(onvif, reply);
        PositionLog own;
        const RecordFileInfo info = byName("rec_0/20250329T090004Z.jpg");
        const int h = LUMONET_StartFileDownload(m_login, &info, folder.path("temp.jpg").c_str(),
                                                &PositionLog::onPosition, own.user(), 0);
        ASSERT_GT(h, 0);
        ASSERT_TRUE(own.waitForEnd());
        EXPECT_EQ(own.entries().size(), 1u);
        EXPECT_GT(own.entries()[0].total, 0) << "the program passes over what has no total";
        EXPECT_TRUE(folder.all().empty());
        LUMONET_StopFileDownload(h);
    }
}

TEST_F(DownloadTest, PictureOfADeviceWithoutStillsIsRefusedAtOnce)
{
    EXPECT_EQ(download("rec_0/20250329T090004Z.jpg", folder.path("temp.jpg")), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    EXPECT_EQ(download("rec_0/20250329T090004Z.jpg", folder.path("temp.jpg"), 1), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_TRUE(folder.all().empty());
}

TEST_F(DownloadTest, PictureThatNeverComesIsStoppedAtOnce)
{
    offerPictures(onvif, "HTTP/1.1 200 x\r\nContent-Length: 5\r\n\r\nhello");
    const int h = download("rec_0/20250329T090004Z.jpg", folder.path("temp.jpg"));
    ASSERT_GT(h, 0);
    onvif.deaf = true; // before or after the request: it is stopped all the same
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1500));
    EXPECT_TRUE(folder.all().empty());
}
