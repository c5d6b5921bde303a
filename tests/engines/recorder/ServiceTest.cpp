// The recorder's command service, uploads, talk calls and status page, seen from outside.
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>

namespace
{

size_t collect(char* data, size_t size, size_t count, void* to)
{
    static_cast<std::string*>(to)->append(data, size * count);
    return size * count;
}

/// One request by libcurl's own HTTP digest; body null: GET.
HttpReply digest(const std::string& url, const char* body, const char* credentials = "admin:lumo")
{
    CURL* curl = curl_easy_init();
    HttpReply reply;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 10000L);
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
    curl_easy_setopt(curl, CURLOPT_USERPWD, credentials);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    if (body) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body);
    }
    if (curl_easy_perform(curl) == CURLE_OK) {
        long status = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
        reply.status = static_cast<int>(status);
    }
    curl_easy_cleanup(curl);
    return reply;
}

constexpr const char* kVersion = "/lumo/command/version";

std::string uploadUri(const HttpReply& reply)
{
    const std::string from = "<tds:UploadUri>";
    const size_t at = reply.body.find(from);
    return at == std::string::npos
               ? ""
               : reply.body.substr(at + from.size(), reply.body.find('<', at + 1) - at - from.size());
}

} // namespace

TEST(Service, IsAnnouncedAndWantsCredentials)
{
    RecorderProcess recorder;
    const Login login;
    const auto services =
        soapCall(recorder.http("/onvif/device_service"),
                 "<GetServices xmlns=\"http://www.onvif.org/ver10/device/wsdl\"><IncludeCapability>false"
                 "</IncludeCapability></GetServices>",
                 &login);
    EXPECT_NE(services.body.find("urn:lumo:command:1"), std::string::npos);
    EXPECT_EQ(httpGet(recorder.http(kVersion)).status, 401);
    EXPECT_EQ(httpGet(recorder.http(kVersion), 10000, {"X-Lumo-Token: wrong"}).status, 401);
    EXPECT_EQ(digest(recorder.http(kVersion), nullptr, "admin:wrong").status, 401);
    EXPECT_EQ(digest(recorder.http(kVersion), nullptr, "nobody:lumo").status, 401);
    EXPECT_EQ(digest(recorder.http(kVersion), nullptr).status, 200);
    EXPECT_EQ(httpGet(recorder.http(kVersion), 10000, {"X-Lumo-Token: lumo-token"}).status, 200);
    EXPECT_EQ(httpPost(recorder.http("/api/fault"), R"({"refusePassword":true})").status, 200);
    EXPECT_EQ(digest(recorder.http(kVersion), nullptr).status, 401);
    EXPECT_EQ(httpGet(recorder.http(kVersion), 10000, {"X-Lumo-Token: lumo-token"}).status, 401);
}

TEST(Service, UnknownCallsAndBadInputAreRefused)
{
    RecorderProcess recorder{{"--two-lenses"}};
    const auto url = [&](const std::string& tail) { return recorder.http("/lumo/command" + tail); };
    EXPECT_EQ(digest(url("/nothing"), nullptr).status, 404);
    EXPECT_EQ(digest(url("/command/Nonsense?number=1&channel=0"), "{}").status, 404);
    EXPECT_EQ(digest(url("/command/OPSensorGet?number=1&channel=0"), "[]").status, 404) << "the number is part of it";
    EXPECT_EQ(digest(url("/command/OPSensorGet?number=3034&channel=99"), "[]").status, 400);
    EXPECT_EQ(digest(url("/ability/Nonsense"), nullptr).status, 404);
    EXPECT_EQ(digest(url("/upgrade"), "{}").status, 400);
    for (const char* bad : {"", "[", "{}", "[{}]", "[1]", "[{\"StreamType\":\"x\"}]"}) {
        EXPECT_NE(digest(url("/command/OPSensorGet?number=3034&channel=0"), bad).json()["Ret"].asInt(), 100) << bad;
        EXPECT_NE(digest(url("/command/OPScaleTimesSwitch?number=3032&channel=0"), bad).json()["Ret"].asInt(), 100);
        EXPECT_NE(digest(url("/command/OPFile?number=3500&channel=-1"), bad).json()["Ret"].asInt(), 100);
    }
    EXPECT_NE(digest(url("/file"), "abc").json()["Ret"].asInt(), 100) << "nobody announced it";
    EXPECT_TRUE(recorder.alive());
}

TEST(Service, CamerasWithOneLensHaveNoScale)
{
    RecorderProcess recorder;
    const auto url = [&](const std::string& tail) { return recorder.http("/lumo/command" + tail); };
    const Json::Value ability = digest(url("/ability/bypass@SystemFunction"), nullptr).json();
    EXPECT_FALSE(ability["bypass@SystemFunction"]["OtherFunction"]["SupportScaleTwoLens"].asBool());
    EXPECT_EQ(digest(url("/command/OPSensorGet?number=3034&channel=0"), "[{\"StreamType\":0}]").status, 404);
}

TEST(Service, ALensKeepsWhatItWasSetToForEachChannelAndStream)
{
    RecorderProcess recorder{{"--two-lenses"}};
    const auto set = [&](int channel, int stream, double times) {
        const std::string body =
            "[{\"StreamType\":" + std::to_string(stream) + ",\"TimesOri\":0,\"Times\":" + std::to_string(times) + "}]";
        return digest(recorder.http("/lumo/command/command/OPScaleTimesSwitch?number=3032&channel=" +
                                    std::to_string(channel)),
                      body.c_str())
            .json()["Ret"]
            .asInt();
    };
    const auto get = [&](int channel, int stream) {
        const std::string body = "[{\"StreamType\":" + std::to_string(stream) + "}]";
        const Json::Value value =
            digest(recorder.http("/lumo/command/command/OPSensorGet?number=3034&channel=" + std::to_string(channel)),
                   body.c_str())
                .json();
        return value[value["Name"].asString()][0]["Times"].asDouble();
    };
    EXPECT_EQ(set(0, 0, 3.5), 100);
    EXPECT_EQ(set(-1, 1, 0.0), 100);
    EXPECT_NE(set(0, 0, 8.1), 100);
    EXPECT_NE(set(0, 0, -0.1), 100);
    EXPECT_NE(set(0, 2, 1.0), 100);
    EXPECT_EQ(get(0, 0), 3.5);
    EXPECT_EQ(get(0, 1), 1.0);
    EXPECT_EQ(get(-1, 1), 0.0);
}

TEST(Service, UploadsGoOnlyWhereATicketWasGivenOut)
{
    RecorderProcess recorder;
    EXPECT_EQ(httpPost(recorder.http("/upload/nonsense"), "abc").status, 404);
    const Login login;
    const auto firmware = deviceCall("StartFirmwareUpgrade");
    EXPECT_EQ(soapCall(recorder.http("/onvif/device_service"), firmware).status, 400) << "who asks must be known";
    const std::string uri = uploadUri(soapCall(recorder.http("/onvif/device_service"), firmware, &login));
    ASSERT_NE(uri, "");
    EXPECT_EQ(httpPost(uri, "new firmware").status, 200);
    EXPECT_EQ(httpPost(uri, "once more").status, 404) << "it was for one";
    const Json::Value device = httpGet(recorder.http("/api/device")).json();
    EXPECT_EQ(device["files"].size(), 1u);
    EXPECT_EQ(device["files"][0]["size"].asInt(), 12);
    EXPECT_EQ(device["upgrade"]["state"].asInt(), 1);
}

TEST(Service, TalkCallsAndFaultsCheckWhatTheyAreTold)
{
    RecorderProcess recorder;
    EXPECT_EQ(httpGet(recorder.http("/api/talk?channel=0")).status, 200);
    EXPECT_EQ(httpGet(recorder.http("/api/talk?channel=99")).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/api/talk/heard?channel=0")).body, "");
    EXPECT_EQ(httpPost(recorder.http("/api/talk"), R"({"channel":0,"tone":440})").status, 200);
    EXPECT_EQ(httpGet(recorder.http("/api/talk?channel=0")).json()["tone"].asInt(), 440);
    for (const char* bad :
         {"", "{}", R"({"channel":0})", R"({"channel":9,"clear":true})", R"({"channel":0,"tone":4000})"}) {
        EXPECT_EQ(httpPost(recorder.http("/api/talk"), bad).status, 400) << bad;
    }
    for (const char* bad : {R"({"command":"x"})", R"({"upload":1})"}) {
        EXPECT_EQ(httpPost(recorder.http("/api/fault"), bad).status, 400) << bad;
    }
}

TEST(Service, ProfilesNameTheLoudspeakersOfTheFirstTwoChannels)
{
    RecorderProcess recorder({"--channels", "3"});
    const auto count = [&](const std::string& operation, const std::string& what) {
        const Login fresh;
        const std::string body = soapCall(recorder.http("/onvif/media_service"), mediaCall(operation), &fresh).body;
        int found = 0;
        for (size_t at = body.find(what); at != std::string::npos; at = body.find(what, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("GetProfiles", "<tt:AudioOutputConfiguration "), 4);
    EXPECT_EQ(count("GetAudioOutputs", "<trt:AudioOutputs "), 2);
}

TEST(Service, TheStatusPageAsksCallsThatAreThere)
{
    RecorderProcess recorder;
    const HttpReply page = httpGet(recorder.http("/status"));
    EXPECT_EQ(page.status, 200);
    EXPECT_NE(page.type.find("text/html"), std::string::npos);
    for (const char* call : {"/api/device", "/api/talk?channel="}) {
        EXPECT_NE(page.body.find(call), std::string::npos);
    }
    const Json::Value device = httpGet(recorder.http("/api/device")).json();
    for (const char* key : {"firmware", "upgrade", "files", "lenses"}) {
        EXPECT_TRUE(device.isMember(key)) << key;
        EXPECT_NE(page.body.find(std::string(".") + key), std::string::npos) << "the page shows it";
    }
}
