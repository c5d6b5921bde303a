#include "Discovery.h"
#include "Onvif.h"

#include "device/LumoNet.h"

#include <gtest/gtest.h>

using namespace lumo::net;

namespace
{

std::string fault(const std::string& subcode, const std::string& reason)
{
    return "<env:Envelope xmlns:env=\"http://www.w3.org/2003/05/soap-envelope\"><env:Body><env:Fault><env:Code>"
           "<env:Value>env:Sender</env:Value><env:Subcode><env:Value>ter:" +
           subcode + "</env:Value></env:Subcode></env:Code><env:Reason><env:Text>" + reason +
           "</env:Text></env:Reason></env:Fault></env:Body></env:Envelope>";
}

std::string profile(const std::string& token, const std::string& source, int w, int h)
{
    return "<trt:Profiles token=\"" + token + "\"><tt:VideoSourceConfiguration><tt:SourceToken>" + source +
           "</tt:SourceToken></tt:VideoSourceConfiguration><tt:VideoEncoderConfiguration><tt:Resolution><tt:Width>" +
           std::to_string(w) + "</tt:Width><tt:Height>" + std::to_string(h) +
           "</tt:Height></tt:Resolution></tt:VideoEncoderConfiguration></trt:Profiles>";
}

} // namespace

TEST(SoapFault, ErrorsOfTheTable)
{
    EXPECT_EQ(errorOfFault(fault("NotAuthorized", "Sender not Authorized")), LUMONET_ERR_PASSWORD);
    EXPECT_EQ(errorOfFault(fault("NotAuthorized", "unknown user")), LUMONET_ERR_USER);
    EXPECT_EQ(errorOfFault(fault("NotAuthorized", "The account is locked")), LUMONET_ERR_LOCKED);
    EXPECT_EQ(errorOfFault(fault("Action", "Too many sessions")), LUMONET_ERR_SESSIONS);
    EXPECT_EQ(errorOfFault(fault("Action", "user is already logged in")), LUMONET_ERR_ALREADY_LOGGED_IN);
    EXPECT_EQ(errorOfFault(fault("ActionNotSupported", "")), LUMONET_ERR_UNSUPPORTED);
    EXPECT_EQ(errorOfFault(fault("InvalidArgVal", "no")), LUMONET_ERR_REFUSED);
}

TEST(SoapFault, GoodAnswerIsNoneAndNonsenseIsARefusal)
{
    EXPECT_EQ(errorOfFault("<e:Envelope><e:Body><x/></e:Body></e:Envelope>"), 0);
    EXPECT_EQ(errorOfFault("<html><body>404</body></html>"), LUMONET_ERR_REFUSED);
    EXPECT_EQ(errorOfFault("not xml at all"), LUMONET_ERR_REFUSED);
    EXPECT_EQ(errorOfFault(""), LUMONET_ERR_REFUSED);
    EXPECT_EQ(errorOfFault("<e:Envelope><e:Body><x>"), LUMONET_ERR_REFUSED);
}

TEST(Channels, AreTheSourcesInTheDevicesOrderWithLargestAndSmallestProfile)
{
    const std::string profiles = "<r>" + profile("b-sub", "B", 320, 180) + profile("a-main", "A", 1920, 1080) +
                                 profile("a-mid", "A", 640, 360) + profile("a-sub", "A", 352, 288) +
                                 profile("b-main", "B", 1280, 720) + "</r>";
    const auto channels =
        parseChannels(profiles, "<r><trt:VideoSources token=\"A\"/><trt:VideoSources token=\"B\"/></r>");
    ASSERT_EQ(channels.size(), 2u);
    EXPECT_EQ(channels[0].profiles[0], "a-main");
    EXPECT_EQ(channels[0].profiles[1], "a-sub");
    EXPECT_EQ(channels[1].profiles[0], "b-main");
    EXPECT_EQ(channels[1].profiles[1], "b-sub");
    // A device that does not list its sources: as they come.
    EXPECT_EQ(parseChannels(profiles, "").at(0).source, "B");
}

TEST(Channels, OneProfileServesBothStreamsAndASourceWithoutKeepsItsPlace)
{
    const auto channels = parseChannels("<r>" + profile("only", "B", 640, 360) + "</r>",
                                        "<r><t:VideoSources token=\"A\"/><t:VideoSources token=\"B\"/></r>");
    ASSERT_EQ(channels.size(), 2u);
    EXPECT_EQ(channels[0].profiles[0], "");
    EXPECT_EQ(channels[1].profiles[0], "only");
    EXPECT_EQ(channels[1].profiles[1], "only");
    EXPECT_TRUE(parseChannels("nonsense", "").empty());
}

TEST(BuildDate, OutOfTheFirmwareText)
{
    int y = 0, m = 0, d = 0;
    EXPECT_TRUE(findDate("V5.6.0 build 2026-01-31", y, m, d));
    EXPECT_EQ(y * 10000 + m * 100 + d, 20260131);
    EXPECT_TRUE(findDate("1.0.0.20251203", y, m, d));
    EXPECT_EQ(y * 10000 + m * 100 + d, 20251203);
    EXPECT_TRUE(findDate("2.420, 2019/7/5", y, m, d));
    EXPECT_EQ(y * 10000 + m * 100 + d, 20190705);
    for (const char* text : {"", "1.2.3", "20261399", "2026-13-01", "120260131", "202601311"})
        EXPECT_FALSE(findDate(text, y, m, d)) << text;
}

TEST(ServiceAddress, OnlyThePathIsKept)
{
    EXPECT_EQ(pathOf("http://192.168.0.2:81/onvif/media?x"), "/onvif/media?x");
    EXPECT_EQ(pathOf("http://h"), "/");
    EXPECT_EQ(pathOf("onvif"), "/onvif");
}

TEST(Probe, MatchGivesWhereTheAnswerCameFrom)
{
    const std::string text =
        "<s:Envelope><s:Body><d:ProbeMatches><d:ProbeMatch><a:EndpointReference><a:Address>urn:uuid:1</a:Address>"
        "</a:EndpointReference><d:Scopes>onvif://www.onvif.org/name/X onvif://www.onvif.org/serial/SN77</d:Scopes>"
        "<d:XAddrs>http://192.168.99.9:8080/onvif/device_service http://[fe80::1]/x</d:XAddrs></d:ProbeMatch>"
        "<d:ProbeMatch><d:XAddrs>ftp://x/</d:XAddrs></d:ProbeMatch></d:ProbeMatches></s:Body></s:Envelope>";
    const auto found = parseProbeMatches(text, "10.0.0.9");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].host, "10.0.0.9");
    EXPECT_EQ(found[0].port, 8080);
    EXPECT_EQ(found[0].path, "/onvif/device_service");
    EXPECT_TRUE(found[0].names("SN77"));
    EXPECT_TRUE(found[0].names("sn77"));
    EXPECT_FALSE(found[0].names("SN7"));
    EXPECT_FALSE(found[0].names(""));
    EXPECT_TRUE(parseProbeMatches("nonsense", "h").empty());
}

TEST(IsoTime, IsUtc)
{
    EXPECT_EQ(isoTime(1284623445000), "2010-09-16T07:50:45Z");
}
