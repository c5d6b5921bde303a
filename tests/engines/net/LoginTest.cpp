// Logins to an ONVIF device that the test plays, and what becomes of them.
#include "Viewer.h"
#include "common/LocalText.h"

#include <algorithm>
#include <chrono>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class Login : public NetTest
{
protected:
    int enter(const std::string& user = "admin", const std::string& password = "lumo")
    {
        return login("127.0.0.1", device.port(), user, password);
    }
    int enterBySerial(const std::string& serial, const std::string& password = "lumo")
    {
        return login(serial, 0, "admin", password, 2);
    }
    int enterByToken(const std::string& serial, const std::string& token)
    {
        info = {};
        return LUMONET_LoginEx_V2(serial.c_str(), 0, token.c_str(), "", &info, 7, &error, 2);
    }
    void beginWith(const DiscoveryPeer& finder)
    {
        defaults().discovery.port = finder.port();
        begin();
    }
    /// Fast questions whether the device is there.
    void watchFast()
    {
        defaults().timings.watchPeriodMs = 20;
        defaults().timings.watchRequestMs = 100;
    }
    static long elapsedMs(std::chrono::steady_clock::time_point since)
    {
        return long(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since).count());
    }
    RtspPeer media;
    OnvifDevicePeer device;
    Viewer viewer;
};

} // namespace

TEST_F(Login, TellsWhoTheDeviceIs)
{
    begin();
    ASSERT_GT(enter(), 0) << error;
    EXPECT_EQ(error, 0);
    EXPECT_EQ(info.nChannels, 2);
    EXPECT_EQ(info.nExtraChannels, 0);
    EXPECT_STREQ(info.szSerialNo, "SN0001");
    EXPECT_STREQ(info.szDeviceName, "Front Door");
    EXPECT_STREQ(info.szSoftwareVersion, "V2.1 build 2026-01-31");
    EXPECT_EQ(info.nBuildYear * 10000 + info.nBuildMonth * 100 + info.nBuildDay, 20260131);
}

TEST_F(Login, TextsLongerThanTheirFieldsAreCut)
{
    device.serial = std::string(300, 's');
    device.firmware = std::string(300, 'f');
    begin();
    ASSERT_GT(enter(), 0);
    EXPECT_EQ(std::string(info.szSerialNo), std::string(31, 's'));
    EXPECT_EQ(std::string(info.szSoftwareVersion), std::string(63, 'f'));
    EXPECT_EQ(info.nBuildYear, 0);
}

TEST_F(Login, NamesOutsideAsciiAreLocalHereAndUtf8OnTheWire)
{
    device.user = "J\u00fcrgen";
    device.password = "Schl\u00fcssel";
    device.serial = "N\u00fcrnberg";
    begin();
    ASSERT_GT(enter(lumo::localOfUtf8(device.user), lumo::localOfUtf8(device.password)), 0) << error;
    EXPECT_EQ(info.szSerialNo, lumo::localOfUtf8(device.serial));
#ifdef _WIN32
    EXPECT_STREQ(info.szSerialNo, "N\xfcrnberg") << "of code page 1252";
#endif
}

TEST_F(Login, AsksTheTimeFirstAndWithoutCredentials)
{
    begin();
    ASSERT_GT(enter(), 0);
    const auto requests = device.requests();
    EXPECT_EQ(requests[0].url, "GetSystemDateAndTime");
    EXPECT_EQ(requests[0].body.find("UsernameToken"), std::string::npos);
    for (size_t i = 1; i < requests.size(); ++i)
        EXPECT_NE(requests[i].body.find("UsernameToken"), std::string::npos) << requests[i].url;
    for (const auto& r : requests)
        EXPECT_EQ(r.header("Authorization"), "") << "no HTTP digest unless asked for";
}

TEST_F(Login, DigestIsMadeWithTheDevicesClock)
{
    device.clockSkewMs = -int64_t(400) * 86400 * 1000;
    begin();
    EXPECT_GT(enter(), 0) << error;
}

TEST_F(Login, StreamsAreTheLargestAndTheSmallestProfileAtTheLoginsHost)
{
    device.rtspPort = media.port();
    begin();
    const int l = enter();
    ASSERT_GT(play(l, viewer, 1, 0), 0) << LUMONET_GetLastError();
    ASSERT_TRUE(viewer.waitForCount(3));
    Viewer sub;
    ASSERT_GT(play(l, sub, 1, 1), 0);
    EXPECT_EQ(media.requests()[0].url, "rtsp://127.0.0.1:" + std::to_string(media.port()) + "/live/p2");
    EXPECT_EQ(media.requests()[3].url, "rtsp://127.0.0.1:" + std::to_string(media.port()) + "/live/p3");
    EXPECT_EQ(device.count("GetStreamUri"), 2);
    Viewer again;
    ASSERT_GT(play(l, again, 1, 0), 0);
    EXPECT_EQ(device.count("GetStreamUri"), 2) << "the address is remembered";
    EXPECT_EQ(LUMONET_Logout(l), 1); // ends the streams before their viewers
}

TEST_F(Login, AStreamThatCouldNotBeReachedHasItsAddressAskedAnew)
{
    begin();
    const int l = enter();
    ASSERT_LE(play(l, viewer, 1, 0), 0);
    ASSERT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    device.rtspPort = media.port(); // it listens elsewhere now
    EXPECT_GT(play(l, viewer, 1, 0), 0) << LUMONET_GetLastError();
    EXPECT_EQ(LUMONET_Logout(l), 1);
}

TEST_F(Login, OtherChannelsAndStreamsAreRefused)
{
    begin();
    const int l = enter();
    for (const auto& [channel, stream] : {std::pair{2, 0}, {-1, 0}, {0, 2}, {0, -1}, {0x7FFFFFFF, 0}}) {
        StreamOpenInfo wanted{};
        wanted.nChannel = channel;
        wanted.nStream = stream;
        EXPECT_EQ(LUMONET_RealPlay(l, &wanted), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
        EXPECT_EQ(LUMONET_RequestChannelFrame(l, channel, stream), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    }
}

TEST_F(Login, WrongPasswordIsTriedExactlyOnce)
{
    begin();
    EXPECT_EQ(enter("admin", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    EXPECT_EQ(device.methods(), (std::vector<std::string>{"GetSystemDateAndTime", "GetServices"}));
}

TEST_F(Login, UnknownUserLockedAndTooManySessionsAreToldApart)
{
    begin();
    device.faultReason = "Unknown user";
    EXPECT_EQ(enter("nobody"), 0);
    EXPECT_EQ(error, LUMONET_ERR_USER);
    device.set([&] { device.faultReason = "User is locked"; });
    EXPECT_EQ(enter("nobody"), 0);
    EXPECT_EQ(error, LUMONET_ERR_LOCKED);
    device.set([&] { device.faultReason = "Too many sessions"; });
    EXPECT_EQ(enter("nobody"), 0);
    EXPECT_EQ(error, LUMONET_ERR_SESSIONS);
}

TEST_F(Login, HttpDigestOnlyAfterItIsAskedFor)
{
    device.httpDigest = true;
    begin();
    EXPECT_GT(enter(), 0) << error;
    EXPECT_EQ(device.count("GetServices"), 2);
    EXPECT_EQ(device.count("GetProfiles"), 1) << "the challenge is remembered";
}

TEST_F(Login, WrongPasswordWithHttpDigestIsTriedExactlyOnce)
{
    device.httpDigest = true;
    begin();
    EXPECT_EQ(enter("admin", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
    EXPECT_EQ(device.count("GetServices"), 2);
    EXPECT_EQ(device.requests().size(), 3u);
}

TEST_F(Login, NobodyThereIsATimeOutAtOnce)
{
    begin();
    int port;
    {
        OnvifDevicePeer gone;
        port = gone.port();
    }
    EXPECT_EQ(login("127.0.0.1", port), 0);
    EXPECT_EQ(error, LUMONET_ERR_TIMEOUT);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
}

TEST_F(Login, DeafDeviceIsATimeOutWithinOneRequest)
{
    defaults().timings.requestMs = 200;
    begin();
    device.deaf = true;
    EXPECT_EQ(enter(), 0);
    EXPECT_EQ(error, LUMONET_ERR_TIMEOUT);
    EXPECT_EQ(device.requests().size(), 1u);
}

TEST_F(Login, AnswersThatMakeNoSenseAreErrors)
{
    begin();
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: ";
    for (const char* action : {"GetServices", "GetDeviceInformation", "GetProfiles"}) {
        for (const std::string& raw :
             {head + "5\r\n\r\nhello", head + "0\r\n\r\n", head + "99\r\n\r\n<s:Env", std::string("nonsense\r\n\r\n"),
              std::string(), head + "9\r\n\r\n<a><b></a", head + "5000000\r\n\r\n" + std::string(5000000, 'x')}) {
            device.set([&] { device.rawReplyTo = {{action, raw}}; });
            EXPECT_EQ(enter(), 0) << action << " " << raw.substr(0, 60);
            // Without GetServices the older call is tried, which this device does not know.
            EXPECT_TRUE(error == LUMONET_ERR_REFUSED || error == LUMONET_ERR_TIMEOUT ||
                        (error == LUMONET_ERR_UNSUPPORTED && std::string(action) == "GetServices"))
                << error;
        }
    }
    device.set([&] { device.rawReplyTo.clear(); });
    EXPECT_GT(enter(), 0) << "the next login works";
}

TEST_F(Login, DeviceWithoutChannelsHasNone)
{
    device.channels = 0;
    begin();
    EXPECT_GT(enter(), 0);
    EXPECT_EQ(info.nChannels, 0);
}

TEST_F(Login, SilenceAboutTheTimeIsNoReasonToFail)
{
    device.rawReplyTo = {{"GetSystemDateAndTime", "HTTP/1.1 400 x\r\nContent-Length: 0\r\n\r\n"}};
    begin();
    EXPECT_GT(enter(), 0) << error;
}

TEST_F(Login, PlainAddressIsOneChannel)
{
    begin();
    const int l = login(media.url());
    ASSERT_GT(l, 0);
    EXPECT_EQ(info.nChannels, 1);
    EXPECT_STREQ(info.szDeviceName, "127.0.0.1");
    EXPECT_EQ(LUMONET_RequestChannelFrame(l, 0, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
}

TEST_F(Login, BySerialNumber)
{
    DiscoveryPeer finder("SN0001", device.port());
    beginWith(finder);
    EXPECT_GT(enterBySerial("SN0001"), 0) << error << info.szCloudError;
    EXPECT_EQ(info.nChannels, 2);
}

TEST_F(Login, BySerialNumberWithAWrongPassword)
{
    DiscoveryPeer finder("SN0001", device.port());
    beginWith(finder);
    EXPECT_EQ(enterBySerial("SN0001", "wrong"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
}

TEST_F(Login, AnotherDeviceNeverSeesTheCredentials)
{
    defaults().timings.discoveryMs = 100;
    DiscoveryPeer finder("OTHER", device.port());
    beginWith(finder);
    EXPECT_EQ(enterBySerial("SN0001"), 0);
    EXPECT_EQ(error, LUMONET_ERR_CLOUD);
    EXPECT_NE(std::string(info.szCloudError).find("SN0001"), std::string::npos);
    EXPECT_TRUE(device.requests().empty());
}

TEST_F(Login, DeviceThatOnlyClaimsTheSerialNumberIsNotTheOne)
{
    DiscoveryPeer finder("SN9999", device.port());
    beginWith(finder);
    EXPECT_EQ(enterBySerial("SN9999"), 0);
    EXPECT_EQ(error, LUMONET_ERR_CLOUD);
}

TEST_F(Login, ByToken)
{
    device.token = "tok-1";
    media.user = "token";
    media.password = "tok-1";
    device.rtspPort = media.port();
    DiscoveryPeer finder("SN0001", device.port());
    beginWith(finder);
    const int l = enterByToken("SN0001", "tok-1");
    ASSERT_GT(l, 0) << error;
    for (const auto& r : device.requests()) {
        EXPECT_EQ(r.body.find("UsernameToken"), std::string::npos);
        EXPECT_EQ(r.header("X-Lumo-Token"), r.url == "GetSystemDateAndTime" ? "" : "tok-1") << r.url;
    }
    ASSERT_GT(play(l, viewer), 0) << LUMONET_GetLastError();
    EXPECT_TRUE(viewer.waitForCount(3));
}

TEST_F(Login, WrongTokenIsAWrongPassword)
{
    device.token = "tok-1";
    DiscoveryPeer finder("SN0001", device.port());
    beginWith(finder);
    EXPECT_EQ(enterByToken("SN0001", "tok-2"), 0);
    EXPECT_EQ(error, LUMONET_ERR_PASSWORD);
}

TEST_F(Login, TokenForADeviceThatKnowsNoneIsUnsupported)
{
    // It answers its services to everybody, and announces no tokens among them.
    device.rawReplyTo = {
        {"GetServices",
         "HTTP/1.1 200 OK\r\nContent-Length: 180\r\n\r\n<s:Envelope xmlns:s=\"e\"><s:Body><t:Service>"
         "<t:Namespace>http://www.onvif.org/ver10/media/wsdl</t:Namespace><t:XAddr>http://h/media</t:XAddr>"
         "</t:Service></s:Body></s:Envelope>      "}};
    DiscoveryPeer finder("SN0001", device.port());
    beginWith(finder);
    EXPECT_EQ(enterByToken("SN0001", "tok-1"), 0);
    EXPECT_EQ(error, LUMONET_ERR_UNSUPPORTED);
    EXPECT_EQ(device.count("GetDeviceInformation"), 0);
}

TEST_F(Login, TokenThatWouldBreakAHeaderLineIsRefused)
{
    begin();
    EXPECT_EQ(enterByToken("SN0001", "a\r\nX: y"), 0);
    EXPECT_EQ(error, LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(enterByToken("SN0001", ""), 0);
    EXPECT_EQ(error, LUMONET_ERR_ARGUMENT);
}

TEST_F(Login, BadArgumentsAreRefused)
{
    begin();
    for (const char* address : {"", " ", "a b", "h\r\nX: y", "rtsp://", "rtsp://h:0/", "<x>"}) {
        EXPECT_EQ(login(address, 80), 0) << address;
        EXPECT_EQ(error, LUMONET_ERR_ARGUMENT) << address;
    }
    EXPECT_EQ(login("127.0.0.1", 70000), 0);
    EXPECT_EQ(error, LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(login("127.0.0.1", device.port(), "u", "p", 1), 0);
    EXPECT_EQ(error, LUMONET_ERR_ARGUMENT);
    EXPECT_EQ(LUMONET_Login(nullptr, 1, nullptr, nullptr, nullptr, nullptr, 0), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_ARGUMENT);
    EXPECT_GT(LUMONET_Login("127.0.0.1", device.port(), "admin", "lumo", nullptr, nullptr, 0), 0)
        << "nobody needs the record";
}

TEST_F(Login, KeyFrameIsAskedForBehindTheCallersBack)
{
    begin();
    const int l = enter();
    EXPECT_EQ(LUMONET_RequestChannelFrame(l, 1, 1), 1);
    ASSERT_TRUE(device.waitFor([&] { return device.count("SetSynchronizationPoint") == 1; }));
    EXPECT_NE(device.requests().back().body.find("<ProfileToken>p3<"), std::string::npos);
}

TEST_F(Login, DeviceWithoutKeyFrameCallIsAskedOnce)
{
    device.keyFrames = false;
    begin();
    const int l = enter();
    EXPECT_EQ(LUMONET_RequestChannelFrame(l, 0, 0), 1);
    EXPECT_TRUE(device.waitFor([&] { return LUMONET_RequestChannelFrame(l, 0, 0) == 0; }));
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    const int asked = device.count("SetSynchronizationPoint");
    EXPECT_EQ(LUMONET_RequestChannelFrame(l, 0, 0), 0);
    EXPECT_EQ(device.count("SetSynchronizationPoint"), asked);
}

TEST_F(Login, DeafDeviceIsLostExactlyOnceAndThenEverythingFailsAtOnce)
{
    watchFast();
    begin();
    const int l = enter();
    ASSERT_GT(l, 0);
    device.deaf = true;
    ASSERT_TRUE(device.waitFor([&] { return disconnects == 1; }));
    EXPECT_EQ(lostLogin, l);
    EXPECT_EQ(lostAddress, "127.0.0.1");
    EXPECT_EQ(lostPort, device.port());
    const auto since = std::chrono::steady_clock::now();
    const size_t asked = device.requests().size();
    for (int i = 0; i < 64; ++i) {
        StreamOpenInfo wanted{};
        EXPECT_EQ(LUMONET_RealPlay(l, &wanted), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
        EXPECT_EQ(LUMONET_RequestChannelFrame(l, 0, 0), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT);
    }
    EXPECT_LT(elapsedMs(since), 1000);
    EXPECT_EQ(device.requests().size(), asked) << "a lost device is not asked any more";
    EXPECT_EQ(disconnects, 1);
    EXPECT_EQ(LUMONET_ReleaseLogin(l), 1);
    EXPECT_EQ(LUMONET_Logout(l), 1);
}

TEST_F(Login, VanishedPlainDeviceIsLost)
{
    watchFast();
    auto gone = std::make_unique<RtspPeer>();
    begin();
    ASSERT_GT(login(gone->url()), 0);
    ASSERT_TRUE(gone->waitFor([&] { return gone->count("OPTIONS") >= 3; }));
    EXPECT_EQ(disconnects, 0);
    gone.reset();
    EXPECT_TRUE(device.waitFor([&] { return disconnects == 1; }));
}

TEST_F(Login, TwoFailuresInARowAreForgivenAndThreeAreNot)
{
    watchFast();
    begin();
    ASSERT_GT(enter(), 0);
    for (int i = 0; i < 3; ++i) {
        const int before = device.count("GetSystemDateAndTime");
        device.failNext = 2;
        ASSERT_TRUE(device.waitFor([&] { return device.count("GetSystemDateAndTime") >= before + 5; }));
        EXPECT_EQ(device.failNext, 0);
    }
    EXPECT_EQ(disconnects, 0);
    device.failNext = 3;
    EXPECT_TRUE(device.waitFor([&] { return disconnects == 1; }));
}

TEST_F(Login, NoDisconnectCallbackAfterALogout)
{
    watchFast();
    begin();
    const int l = enter();
    ASSERT_GT(l, 0);
    device.deaf = true;
    EXPECT_EQ(LUMONET_Logout(l), 1);
    EXPECT_EQ(LUMONET_Logout(l), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    // Another login that is lost tells when the first one's time would be over.
    OnvifDevicePeer other;
    const int second = login("127.0.0.1", other.port());
    other.deaf = true;
    ASSERT_TRUE(other.waitFor([&] { return disconnects >= 1; }));
    EXPECT_EQ(disconnects, 1);
    EXPECT_EQ(lostLogin, second);
}

TEST_F(Login, LogoutOf64StreamsOfADeafDeviceIsQuick)
{
    defaults().timings.openMs = kLongMs; // not what is quick here
    device.channels = 64;
    device.rtspPort = media.port();
    begin();
    const int l = enter();
    std::vector<std::unique_ptr<Viewer>> viewers;
    for (int i = 0; i < 64; ++i) {
        viewers.push_back(std::make_unique<Viewer>());
        ASSERT_GT(play(l, *viewers.back(), i), 0) << LUMONET_GetLastError();
    }
    device.deaf = true;
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(LUMONET_RequestChannelFrame(l, i, 0), 1);
    const auto since = std::chrono::steady_clock::now();
    EXPECT_EQ(LUMONET_Logout(l), 1);
    EXPECT_LT(elapsedMs(since), 3000);
}

TEST_F(Login, LogoutEndsAnOpeningInAnotherThread)
{
    defaults().timings.openMs = 600000;
    media.silentOn = {"PLAY"};
    device.rtspPort = media.port();
    begin();
    const int l = enter();
    std::thread opener([&] {
        StreamOpenInfo wanted{};
        EXPECT_EQ(LUMONET_RealPlay(l, &wanted), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
    });
    ASSERT_TRUE(media.waitFor([&] { return media.count("PLAY") == 1; }));
    EXPECT_EQ(LUMONET_Logout(l), 1);
    opener.join();
}
