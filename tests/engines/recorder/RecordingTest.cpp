// What the recorder tells of its recordings: to the page over the web API, to ONVIF clients by recording search.
#include "DeviceZone.h"
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <chrono>
#include <cstdlib>
#include <ctime>

using namespace lumo::recorder;

namespace
{

// The recorder inherits the zone from this process.
class Zone
{
public:
    explicit Zone(const char* name) { setenv("TZ", name, 1); }
    ~Zone() { unsetenv("TZ"); }
};

std::string call(const char* space, const std::string& operation, const std::string& inner = "")
{
    return "<" + operation + " xmlns=\"http://www.onvif.org/ver10/" + space + "/wsdl\">" + inner + "</" + operation +
           ">";
}

class RecordingTest : public testing::Test
{
protected:
    Json::Value list(int channel, const std::string& date)
    {
        return httpGet(recorder.http("/api/recordings?channel=" + std::to_string(channel) + "&date=" + date), 60000)
            .json();
    }
    HttpReply ask(const std::string& body, bool login = true)
    {
        const Login who;
        return soapCall(recorder.http("/onvif/any"), body, login ? &who : nullptr);
    }
    static std::vector<std::string> texts(const HttpReply& reply, const std::string& name)
    {
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        std::vector<std::string> found;
        for (const auto& node : document.select_nodes(("//*[local-name()='" + name + "']").c_str())) {
            found.push_back(node.node().text().get());
        }
        return found;
    }

    Zone zone{"CET-1CEST,M3.5.0,M10.5.0/3"};
    RecorderProcess recorder{{"--channels", "6", "--recorded", "40"}};
};

} // namespace

TEST_F(RecordingTest, FilesOfADayStandInTheDevicesOwnTime)
{
    const Json::Value first = list(0, "2025-03-29");
    EXPECT_EQ(first["channel"].asInt(), 0);
    EXPECT_EQ(first["date"].asString(), "2025-03-29");
    ASSERT_EQ(first["files"].size(), 1u);
    const Json::Value file = first["files"][0];
    EXPECT_EQ(file["name"].asString(), "rec_0/VIDEO001/20250329T090000Z-20250329T090020Z.h265x");
    EXPECT_EQ(file["begin"].asString(), "2025-03-29 10:00:00");
    EXPECT_EQ(file["end"].asString(), "2025-03-29 10:00:20");
    EXPECT_GT(file["length"].asInt64(), 100000);
    EXPECT_EQ(file["type"].asInt(), 0);
    EXPECT_EQ(file["stream"].asInt(), 0);
    // Behind the change to summer time the same hours are others of UTC; between the two files is a gap.
    const Json::Value second = list(3, "2025-03-30");
    ASSERT_EQ(second["files"].size(), 2u);
    EXPECT_EQ(second["files"][0]["name"].asString(), "rec_3/VIDEO001/20250330T080000Z-20250330T080010Z.h265x");
    EXPECT_EQ(second["files"][1]["begin"].asString(), "2025-03-30 10:30:00");
    EXPECT_EQ(list(0, "2025-03-28")["files"].size(), 0u);
}

TEST_F(RecordingTest, DaysAreThoseOfTheHourAndToday)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Json::Value days;
    do { // today is among them from the first picture on that it records
        days = httpGet(recorder.http("/api/recordings/days?channel=1")).json()["days"];
    } while (days.size() < 3 && std::chrono::steady_clock::now() < deadline);
    ASSERT_EQ(days.size(), 3u);
    EXPECT_EQ(days[0].asString(), "2025-03-29");
    EXPECT_EQ(days[1].asString(), "2025-03-30");
    EXPECT_EQ(httpGet(recorder.http("/api/recordings/days?channel=4")).json()["days"].size(), 0u)
        << "four channels record";
}

TEST_F(RecordingTest, ListIsForPagesOfThisMachineToo)
{
    const auto headersFor = [this](const std::string& path, const std::string& origin) {
        return httpGet(recorder.http(path), 10000, {"Origin: " + origin}).headers;
    };
    const std::string path = "/api/recordings/days?channel=0";
    const std::string allowed = "Access-Control-Allow-Origin: ";
    for (const std::string origin : {"http://127.0.0.1:9002", "http://localhost:9002", "http://[::1]:9002"})
        EXPECT_NE(headersFor(path, origin).find(allowed + origin), std::string::npos) << origin;
    for (const std::string origin : {"http://example.org", "http://127.0.0.1.example.org:80", "null"})
        EXPECT_EQ(headersFor(path, origin).find(allowed), std::string::npos) << origin;
    EXPECT_EQ(headersFor("/api/channels", "http://127.0.0.1:9002").find(allowed), std::string::npos);
}

TEST_F(RecordingTest, PicturesAreListedAndFetched)
{
    const Json::Value pictures = list(0, "2025-03-29")["pictures"];
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0]["name"].asString(), "rec_0/20250329T090000Z.jpg");
    EXPECT_EQ(pictures[0]["time"].asString(), "2025-03-29 10:00:00");
    const HttpReply jpeg = httpGet(recorder.http("/snapshot/0.jpg?time=20250329T090000Z"));
    ASSERT_EQ(jpeg.status, 200);
    EXPECT_EQ(jpeg.type, "image/jpeg");
    EXPECT_EQ(jpeg.body.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(static_cast<int64_t>(jpeg.body.size()), pictures[0]["length"].asInt64());
    EXPECT_NE(httpGet(recorder.http("/snapshot/0.jpg?time=20250329T090010Z")).body, jpeg.body);
    EXPECT_EQ(httpGet(recorder.http("/snapshot/0.jpg?time=20250329T080000Z")).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/snapshot/5.jpg?time=20250329T090000Z")).status, 404);
}

TEST_F(RecordingTest, WrongQuestionsAreRefused)
{
    for (const char* path :
         {"/api/recordings", "/api/recordings?channel=0", "/api/recordings?channel=0&date=2025-13-01",
          "/api/recordings?channel=0&date=2025-3-1", "/api/recordings?channel=6&date=2025-03-29",
          "/api/recordings?channel=x&date=2025-03-29", "/api/recordings/days"}) {
        EXPECT_EQ(httpGet(recorder.http(path)).status, 400) << path;
    }
    EXPECT_EQ(httpGet(recorder.http("/api/recordings/weeks?channel=0")).status, 404);
    EXPECT_EQ(httpPost(recorder.http("/api/recordings?channel=0&date=2025-03-29"), "").status, 405);
}

TEST_F(RecordingTest, SearchFindsOneRecordingPerChannel)
{
    const HttpReply begun = ask(call("search", "FindRecordings", "<Scope/><KeepAliveTime>PT10S</KeepAliveTime>"));
    const auto token = texts(begun, "SearchToken");
    ASSERT_EQ(token.size(), 1u) << begun.body;
    const std::string search = "<SearchToken>" + token[0] + "</SearchToken>";
    const HttpReply part = ask(call("search", "GetRecordingSearchResults", search + "<MaxResults>3</MaxResults>"));
    EXPECT_EQ(texts(part, "SearchState"), std::vector<std::string>{"Searching"});
    EXPECT_EQ(texts(part, "RecordingToken"), (std::vector<std::string>{"rec_0", "rec_1", "rec_2"}));
    const HttpReply rest = ask(call("search", "GetRecordingSearchResults", search));
    EXPECT_EQ(texts(rest, "SearchState"), std::vector<std::string>{"Completed"});
    EXPECT_EQ(texts(rest, "RecordingToken"), std::vector<std::string>{"rec_3"});
    EXPECT_EQ(texts(rest, "SourceId"), std::vector<std::string>{"source_3"});
    EXPECT_EQ(texts(rest, "EarliestRecording"), std::vector<std::string>{"2025-03-29T09:00:00Z"});
    EXPECT_EQ(ask(call("search", "EndSearch", search)).status, 200);
    EXPECT_EQ(ask(call("search", "GetRecordingSearchResults", search)).status, 400) << "it has ended";
    EXPECT_EQ(ask(call("search", "FindRecordings"), false).status, 400) << "only for users";
}

TEST_F(RecordingTest, SearchesThatNobodyEndsAreForgotten)
{
    std::vector<std::string> searches;
    for (int i = 0; i < 33; ++i) {
        const auto token = texts(ask(call("search", "FindRecordings")), "SearchToken");
        ASSERT_EQ(token.size(), 1u);
        searches.push_back("<SearchToken>" + token[0] + "</SearchToken>");
    }
    EXPECT_EQ(ask(call("search", "GetRecordingSearchResults", searches[0])).status, 400);
    EXPECT_EQ(ask(call("search", "GetRecordingSearchResults", searches[1])).status, 200);
    EXPECT_EQ(ask(call("search", "GetRecordingSearchResults", searches[32])).status, 200);
}

TEST_F(RecordingTest, SummaryInformationAndRecordings)
{
    const HttpReply summary = ask(call("search", "GetRecordingSummary"));
    EXPECT_EQ(texts(summary, "NumberRecordings"), std::vector<std::string>{"4"});
    EXPECT_EQ(texts(summary, "DataFrom"), std::vector<std::string>{"2025-03-29T09:00:00Z"});
    const HttpReply one = ask(call("search", "GetRecordingInformation", "<RecordingToken>rec_0</RecordingToken>"));
    EXPECT_EQ(texts(one, "TrackToken"), (std::vector<std::string>{"VIDEO001", "AUDIO001"}));
    EXPECT_EQ(ask(call("search", "GetRecordingInformation", "<RecordingToken>x</RecordingToken>")).status, 400);
    EXPECT_EQ(texts(ask(call("recording", "GetRecordings")), "RecordingToken").size(), 4u);
    for (const char* space : {"search", "recording", "replay"}) {
        EXPECT_EQ(ask(call(space, "GetServiceCapabilities"), false).status, 200) << space;
    }
}

TEST_F(RecordingTest, ReplayUriLeadsToTheReplayPort)
{
    const HttpReply reply = ask(call("replay", "GetReplayUri", "<RecordingToken>rec_2</RecordingToken>"));
    EXPECT_EQ(texts(reply, "Uri"),
              std::vector<std::string>{"rtsp://127.0.0.1:" + std::to_string(recorder.replayPort()) + "/replay/2"});
    EXPECT_EQ(ask(call("replay", "GetReplayUri", "<RecordingToken>rec_4</RecordingToken>")).status, 400);
    const HttpReply services = soapCall(recorder.http("/onvif/device_service"), deviceCall("GetServices"));
    for (const char* space : {"search", "recording", "replay"}) {
        EXPECT_NE(services.body.find(std::string("ver10/") + space + "/wsdl"), std::string::npos) << space;
    }
}

TEST_F(RecordingTest, DeviceTellsItsZoneWithItsRules)
{
    const HttpReply reply = soapCall(recorder.http("/onvif/device_service"), deviceCall("GetSystemDateAndTime"));
    EXPECT_EQ(texts(reply, "TZ"), std::vector<std::string>{"CET-1CEST,M3.5.0,M10.5.0/3"});
}

TEST_F(RecordingTest, AnswersCanBeMadeLate)
{
    const auto before = std::chrono::steady_clock::now();
    const auto passed = [&] { return std::chrono::steady_clock::now() - before; };
    ASSERT_EQ(httpPost(recorder.http("/api/fault"), "{\"answerDelayMs\":400}").status, 200);
    EXPECT_EQ(httpGet(recorder.http("/api/recordings/days?channel=1")).status, 200);
    EXPECT_GE(passed(), std::chrono::milliseconds(400));
    EXPECT_EQ(soapCall(recorder.http("/onvif/any"), deviceCall("GetServices")).status, 200);
    EXPECT_GE(passed(), std::chrono::milliseconds(800));
    ASSERT_EQ(httpPost(recorder.http("/api/fault"), "{\"clear\":true}").status, 200);
}

TEST(Prepare, MakesRecordingsOnlyWhereTheyAreAskedFor)
{
    const std::vector<std::string> common = {"--prepare", "--channels", "1",    "--main",  "64x64",       "--sub",
                                             "64x64",     "--codec",    "h264", "--cache", RECORDER_CACHE};
    const Finished without = runRecorder(common);
    EXPECT_EQ(without.exitCode, 0);
    EXPECT_EQ(without.out, "{\"clips\":2,\"recordings\":0}\n");
    auto more = common;
    more.insert(more.end(), {"--recorded", "8"});
    EXPECT_EQ(runRecorder(more).out, "{\"clips\":2,\"recordings\":4}\n")
        << "three stretches, and what is recorded while it runs";
}

TEST(DeviceZoneTest, NamedZonesAreTheirRules)
{
    const Zone berlin("Europe/Berlin");
    const DeviceZone zone(std::nullopt);
    EXPECT_EQ(zone.posixText(), "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(zone.utcOf(civilSeconds(2025, 3, 29, 10, 0, 0)), civilSeconds(2025, 3, 29, 9, 0, 0));
    EXPECT_EQ(zone.utcOf(civilSeconds(2025, 3, 30, 10, 0, 0)), civilSeconds(2025, 3, 30, 8, 0, 0));
    EXPECT_FALSE(zone.summerAt(civilSeconds(2025, 3, 29, 10, 0, 0)));
    EXPECT_TRUE(zone.summerAt(civilSeconds(2025, 3, 30, 10, 0, 0)));
    const DeviceZone fixed(-90);
    EXPECT_EQ(fixed.posixText(), "LDT+01:30");
    EXPECT_EQ(fixed.offsetAt(0), -5400);
}

TEST(DeviceZoneTest, ClockTexts)
{
    EXPECT_EQ(clockText(1743238800000), "20250329T090000Z");
    EXPECT_EQ(parseClockText("20250329T090000Z"), 1743238800000);
    EXPECT_EQ(parseClockText("20250329T090000.04Z"), 1743238800040);
    for (const char* bad : {"", "now", "20250329T090000", "20251329T090000Z", "20250329T250000Z", "npt"}) {
        EXPECT_FALSE(parseClockText(bad)) << bad;
    }
}
