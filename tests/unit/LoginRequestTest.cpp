// Reading of a login command: what a bad key stops, and what still holds after it.
#include "hub/LoginRequest.h"
#include "hub/Json.h"

#include <gtest/gtest.h>

namespace
{

SLoginRequest read(const char* szJson)
{
    Json::Value request;
    EXPECT_TRUE(fromText(szJson, request)) << szJson;
    return readLoginRequest(request);
}

TEST(LoginRequest, ReadsEveryKeyOfAnAddressLogin)
{
    const SLoginRequest r = read(R"({"Device":{"LoginType":0,"IP":"10.0.0.9","Port":80,"User":"u","Password":"p"},
        "Title":"My page","Browse":2,"WebType":"Black","SampleRate_16":true})");
    EXPECT_EQ("10.0.0.9", r.ip);
    EXPECT_EQ("u", r.user);
    EXPECT_EQ("p", r.password);
    EXPECT_EQ(80, r.port);
    EXPECT_EQ("My page", r.title);
    EXPECT_EQ(2, r.browse);
    EXPECT_EQ("Black", r.webType);
    EXPECT_TRUE(r.sampleRate16);
}

TEST(LoginRequest, AnAddressLoginNeverReadsTheAlarmStyle)
{
    EXPECT_EQ("", read(R"({"Device":{"IP":"a","User":"u","Password":"p"},"AlarmStyle":"Tool"})").alarmStyle);
    EXPECT_EQ("Tool",
              read(R"({"Device":{"LoginType":1,"SN":"s","User":"u","Password":"p"},"AlarmStyle":"Tool"})").alarmStyle);
}

TEST(LoginRequest, AnAlarmStyleThatIsNoTextIsPassedOver)
{
    const SLoginRequest r =
        read(R"({"Device":{"LoginType":1,"SN":"s","User":"u","Password":"p"},"AlarmStyle":5,"Browse":2})");
    EXPECT_EQ("", r.alarmStyle);
    EXPECT_EQ(2, r.browse);
}

TEST(LoginRequest, AnEmptyTitleIsTheSameAsAnAbsentOne)
{
    EXPECT_EQ("Web Viewer", read(R"({"Device":{"IP":"a","User":"u","Password":"p"},"Title":""})").title);
    EXPECT_EQ("Web Viewer", read(R"({"Device":{"IP":"a","User":"u","Password":"p"}})").title);
    EXPECT_EQ("lumotech",
              read(R"({"Device":{"LoginType":2,"SN":"a","tcsToken":"t","User":"u","Password":"p"}})").title);
}

TEST(LoginRequest, AMissingUserStopsTheReading)
{
    const SLoginRequest r =
        read(R"({"Device":{"IP":"a","Password":"p","Port":80},"Title":"x","Browse":2,"WebType":"Black"})");
    EXPECT_EQ("a", r.ip);
    EXPECT_EQ("", r.user);
    EXPECT_EQ("", r.password);
    EXPECT_EQ(0, r.port);
    EXPECT_EQ(0, r.browse);
    EXPECT_EQ("", r.webType);
    EXPECT_EQ("Web Viewer", r.title); // the default for what is empty still applies
}

TEST(LoginRequest, ALoginTypeThatIsNoIntCountsAsAddress)
{
    for (const char* szType : {"\"1\"", "true", "1.5", "[1]", "4294967297"}) {
        const SLoginRequest r =
            read(QByteArray(R"({"Device":{"LoginType":)").append(szType).append(R"(,"IP":"a","SN":"s"}})").constData());
        EXPECT_EQ(0, r.loginType) << szType;
        EXPECT_EQ("a", r.ip) << szType;
        EXPECT_EQ("", r.serialNo) << szType;
    }
}

/// A good login but for the keys that are given.
SLoginRequest readWith(const char* szPort, const char* szRest)
{
    const std::string json = std::string(R"({"Device":{"IP":"a","User":"u","Password":"p","Port":)") + szPort +
                             "},\"Title\":\"x\",\"Browse\":2,\"WebType\":\"Black\",\"SampleRate_16\":true," + szRest +
                             "}";
    return read(json.c_str()); // of a key that comes twice the last one counts
}

TEST(LoginRequest, APortOfAnotherTypeOrTooLargeStopsTheReading)
{
    for (const char* szPort : {R"("80")", "4294967296", "[80]"}) {
        const SLoginRequest r = readWith(szPort, R"("x":0)");
        EXPECT_EQ("p", r.password) << szPort;
        EXPECT_EQ(0, r.port) << szPort;
        EXPECT_EQ("Web Viewer", r.title) << szPort;
        EXPECT_EQ(0, r.browse) << szPort;
        EXPECT_EQ("", r.webType) << szPort;
        EXPECT_FALSE(r.sampleRate16) << szPort;
    }
}

TEST(LoginRequest, ATitleThatIsNoTextStopsTheReading)
{
    const SLoginRequest r = readWith("80", R"("Title":5)");
    EXPECT_EQ(80, r.port);
    EXPECT_EQ("Web Viewer", r.title);
    EXPECT_EQ(0, r.browse);
    EXPECT_EQ("", r.webType);
}

TEST(LoginRequest, ABrowserKindThatIsTextStopsTheReading)
{
    const SLoginRequest r = readWith("80", R"("Browse":"2")");
    EXPECT_EQ("x", r.title);
    EXPECT_EQ(0, r.browse);
    EXPECT_EQ("", r.webType);
    EXPECT_FALSE(r.sampleRate16);
}

TEST(LoginRequest, APageKindThatIsNoTextIsPassedOver)
{
    const SLoginRequest r = readWith("80", R"("WebType":5)");
    EXPECT_EQ(2, r.browse);
    EXPECT_EQ("", r.webType);
    EXPECT_TRUE(r.sampleRate16);
}

TEST(LoginRequest, ASampleRateThatIsTextLeavesAllBeforeIt)
{
    const SLoginRequest r = readWith("80", R"("SampleRate_16":"x")");
    EXPECT_EQ(80, r.port);
    EXPECT_EQ("x", r.title);
    EXPECT_EQ(2, r.browse);
    EXPECT_EQ("Black", r.webType);
    EXPECT_FALSE(r.sampleRate16);
}

TEST(LoginRequest, ATokenGoesOutAsLatin1)
{
    const SLoginRequest r =
        read(R"({"Device":{"LoginType":2,"SN":"s","tcsToken":"t\u00f6k","User":"u","Password":"p"}})");
    EXPECT_EQ("t\xF6k", r.token);
    EXPECT_EQ("u", r.user);
}

TEST(LoginRequest, ADeviceThatIsNoObjectOrIsMissingLeavesTheDefaults)
{
    for (const char* szJson : {R"({"Device":5})", R"({"Device":[1]})", R"({})", R"({"Device":null})"})
        EXPECT_EQ("Web Viewer", read(szJson).title) << szJson;
}

TEST(Json, ReplyCopiesTheValuesAsTheyAre)
{
    Json::Value request;
    ASSERT_TRUE(fromText(R"({"MainType":8,"SubType":"x","MsgID":[1,2]})", request));
    EXPECT_EQ("{\"Msg\":8,\"MsgID\":[1,2],\"SubMsg\":\"x\"}\n", toText(replyTo(request)));
    ASSERT_TRUE(fromText(R"({"MainType":8})", request));
    EXPECT_EQ("{\"Msg\":8,\"MsgID\":null,\"SubMsg\":null}\n", toText(replyTo(request)));
}

TEST(Json, NonAsciiGoesOutAsEscapes)
{
    Json::Value value;
    value["a"] = "\xC3\xA4";
    EXPECT_EQ("{\"a\":\"\\u00e4\"}\n", toText(value));
}

} // namespace
