// The ONVIF services as a client meets them.
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <ctime>

namespace
{

class OnvifTest : public testing::Test
{
protected:
    HttpReply ask(const std::string& body, bool login = true)
    {
        const Login who;
        return soapCall(recorder.http("/onvif/device_service"), body, login ? &who : nullptr);
    }
    // The text of the first element of this local name, anywhere.
    static std::string text(const HttpReply& reply, const std::string& name)
    {
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        return document.select_node(("//*[local-name()='" + name + "']").c_str()).node().text().get();
    }
    static size_t count(const HttpReply& reply, const std::string& path)
    {
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        return document.select_nodes(path.c_str()).size();
    }
    static std::string number(const HttpReply& reply, const std::string& block, const std::string& name)
    {
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        return document.select_node(("//*[local-name()='" + block + "']//*[local-name()='" + name + "']").c_str())
            .node()
            .text()
            .get();
    }
    RecorderProcess recorder{
        {"--serial", "LUMO777", "--name", "Gate & Yard", "--channels", "3", "--codec", "mixed", "--utc-offset", "330"}};
};

} // namespace

TEST_F(OnvifTest, TimeIsTheDevicesAndNeedsNoLogin)
{
    const int64_t before = std::time(nullptr);
    const HttpReply reply = ask(deviceCall("GetSystemDateAndTime"), false);
    ASSERT_EQ(reply.status, 200);
    const auto read = [&](const char* block) {
        std::tm t{};
        t.tm_year = std::stoi(number(reply, block, "Year")) - 1900;
        t.tm_mon = std::stoi(number(reply, block, "Month")) - 1;
        t.tm_mday = std::stoi(number(reply, block, "Day"));
        t.tm_hour = std::stoi(number(reply, block, "Hour"));
        t.tm_min = std::stoi(number(reply, block, "Minute"));
        t.tm_sec = std::stoi(number(reply, block, "Second"));
        return static_cast<int64_t>(timegm(&t));
    };
    EXPECT_GE(read("UTCDateTime"), before);
    EXPECT_LE(read("UTCDateTime"), std::time(nullptr));
    EXPECT_EQ(read("LocalDateTime") - read("UTCDateTime"), 330 * 60);
    EXPECT_EQ(text(reply, "TZ"), "LDT-05:30");
}

TEST_F(OnvifTest, DeviceInformationNeedsARightDigest)
{
    const HttpReply good = ask(kDeviceInformation);
    ASSERT_EQ(good.status, 200);
    EXPECT_EQ(text(good, "SerialNumber"), "LUMO777");
    EXPECT_EQ(text(good, "FirmwareVersion"), "1.0.0.20260101");

    const Login wrong{"admin", "guess", "", ""};
    for (const HttpReply& bad : {ask(kDeviceInformation, false),
                                 soapCall(recorder.http("/onvif/device_service"), kDeviceInformation, &wrong)}) {
        EXPECT_EQ(bad.status, 400);
        EXPECT_NE(bad.body.find("ter:NotAuthorized"), std::string::npos) << bad.body;
        EXPECT_EQ(bad.body.find("LUMO777"), std::string::npos);
    }
}

TEST_F(OnvifTest, TheTokenHeaderLogsIn)
{
    const auto url = recorder.http("/onvif/device_service");
    EXPECT_EQ(soapCall(url, kDeviceInformation, nullptr, {"X-Lumo-Token: lumo-token"}).status, 200);
    EXPECT_EQ(soapCall(url, kDeviceInformation, nullptr, {"X-Lumo-Token: nonsense"}).status, 400);
}

TEST_F(OnvifTest, ServicesTellOfTheTokenService)
{
    const HttpReply reply = ask(deviceCall("GetServices"), false);
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(count(reply, "//*[local-name()='Namespace'][text()='urn:lumo:token:1']"), 1u);
    EXPECT_EQ(count(reply, "//*[local-name()='Namespace'][text()='http://www.onvif.org/ver10/media/wsdl']"), 1u);
}

TEST_F(OnvifTest, CapabilitiesNameTheAddressTheClientUsed)
{
    const HttpReply reply = ask(deviceCall("GetCapabilities", "<d:Category>All</d:Category>"), false);
    EXPECT_EQ(text(reply, "XAddr"), recorder.http("/onvif/device_service"));
}

TEST_F(OnvifTest, HostnameIsTheNameEscaped)
{
    EXPECT_EQ(text(ask(deviceCall("GetHostname")), "Name"), "Gate & Yard");
}

TEST_F(OnvifTest, TwoProfilesPerVideoSource)
{
    EXPECT_EQ(count(ask(mediaCall("GetVideoSources")), "//*[local-name()='VideoSources']"), 3u);
    EXPECT_EQ(count(ask(mediaCall("GetAudioSources")), "//*[local-name()='AudioSources']"), 1u);
    const HttpReply profiles = ask(mediaCall("GetProfiles"));
    EXPECT_EQ(count(profiles, "//*[local-name()='Profiles']"), 6u);
    EXPECT_EQ(count(profiles, "//*[local-name()='VideoEncoderConfiguration'][*[local-name()='Encoding']='H264']"), 4u);
    EXPECT_EQ(count(profiles, "//*[local-name()='VideoEncoderConfiguration'][*[local-name()='Encoding']='H265']"), 2u);
    EXPECT_EQ(count(profiles, "//*[local-name()='Resolution'][*[local-name()='Width']='640']"), 3u);
    EXPECT_EQ(count(profiles, "//*[local-name()='Resolution'][*[local-name()='Width']='320']"), 3u);
    EXPECT_EQ(count(profiles, "//*[local-name()='AudioEncoderConfiguration']"), 2u);
}

TEST_F(OnvifTest, StreamUriLeadsToTheChannel)
{
    const HttpReply reply = ask(mediaCall("GetStreamUri", "<m:ProfileToken>profile_2_sub</m:ProfileToken>"));
    EXPECT_EQ(text(reply, "Uri"), "rtsp://127.0.0.1:" + std::to_string(recorder.rtspPort()) + "/live/2/1");
    const HttpReply none = ask(mediaCall("GetStreamUri", "<m:ProfileToken>profile_9_sub</m:ProfileToken>"));
    EXPECT_EQ(none.status, 400);
    EXPECT_NE(none.body.find("ter:InvalidArgVal"), std::string::npos);
}

TEST_F(OnvifTest, SnapshotUriLeadsToAJpeg)
{
    const HttpReply reply = ask(mediaCall("GetSnapshotUri", "<m:ProfileToken>profile_1_main</m:ProfileToken>"));
    const HttpReply jpeg = httpGet(text(reply, "Uri"), 60000);
    ASSERT_EQ(jpeg.status, 200);
    EXPECT_EQ(jpeg.type, "image/jpeg");
    ASSERT_GT(jpeg.body.size(), 1000u);
    EXPECT_EQ(jpeg.body.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(httpGet(recorder.http("/snapshot/3.jpg")).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/snapshot/1.jpgx")).status, 404);
}

TEST_F(OnvifTest, SynchronizationPointIsAnswered)
{
    EXPECT_EQ(ask(mediaCall("SetSynchronizationPoint", "<m:ProfileToken>profile_0_main</m:ProfileToken>")).status, 200);
    EXPECT_EQ(ask(mediaCall("SetSynchronizationPoint", "<m:ProfileToken>x</m:ProfileToken>")).status, 400);
}

TEST_F(OnvifTest, UnknownActionIsAFaultAndTellsStrangersNothing)
{
    const HttpReply known = ask(mediaCall("GetMoonPhase"));
    EXPECT_EQ(known.status, 500);
    EXPECT_NE(known.body.find("ter:ActionNotSupported"), std::string::npos);
    EXPECT_NE(ask(mediaCall("GetMoonPhase"), false).body.find("ter:NotAuthorized"), std::string::npos);
}

TEST_F(OnvifTest, BrokenRequestsGetAFault)
{
    for (const char* body :
         {"", "hello", "<a/>", "<Envelope/>", "<Envelope><Body/></Envelope>", "<s:Envelope><s:Body>"}) {
        const HttpReply reply = httpPost(recorder.http("/onvif/device_service"), body);
        EXPECT_EQ(reply.status, 400) << body;
        EXPECT_NE(reply.body.find("ter:WellFormed"), std::string::npos) << body;
    }
    EXPECT_EQ(httpGet(recorder.http("/onvif/device_service")).status, 405);
}

TEST(OnvifClock, ASkewedClockIsToldAndDigestsFollowIt)
{
    RecorderProcess recorder({"--clock-skew", "7200", "--channels", "1"});
    const auto url = recorder.http("/onvif/device_service");
    const Login byOwnClock, byDeviceClock{"admin", "lumo", "", isoTime(std::time(nullptr) + 7200)};
    EXPECT_EQ(soapCall(url, kDeviceInformation, &byOwnClock).status, 400);
    EXPECT_EQ(soapCall(url, kDeviceInformation, &byDeviceClock).status, 200);
}
