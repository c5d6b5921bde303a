// ONVIF events as a client meets them: pull points, what they tell, and the calls and plans that switch alarms.
#include "Eventually.h"
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <algorithm>
#include <chrono>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;

class EventTest : public testing::Test
{
protected:
    static std::string eventCall(const std::string& operation, const std::string& inner = "")
    {
        return "<e:" + operation + " xmlns:e=\"http://www.onvif.org/ver10/events/wsdl\">" + inner + "</e:" + operation +
               ">";
    }
    static std::string managerCall(const std::string& operation, const std::string& inner = "")
    {
        return "<n:" + operation + " xmlns:n=\"http://docs.oasis-open.org/wsn/b-2\">" + inner + "</n:" + operation +
               ">";
    }
    HttpReply ask(const std::string& path, const std::string& body)
    {
        const Login who;
        return soapCall(recorder.http(path), body, &who, {}, 30000);
    }
    /// The path of a new subscription.
    std::string subscribe(const std::string& life = "PT60S")
    {
        const HttpReply reply =
            ask("/onvif/event_service", eventCall("CreatePullPointSubscription",
                                                  "<e:InitialTerminationTime>" + life + "</e:InitialTerminationTime>"));
        EXPECT_EQ(reply.status, 200) << reply.body;
        const std::string address = text(reply, "Address");
        return address.substr(std::min(address.find("/onvif"), address.size()));
    }
    HttpReply pull(const std::string& path, const std::string& timeout = "PT0S", int limit = 1000)
    {
        return ask(path, eventCall("PullMessages", "<e:Timeout>" + timeout + "</e:Timeout><e:MessageLimit>" +
                                                       std::to_string(limit) + "</e:MessageLimit>"));
    }
    /// "Changed VideoSource/MotionAlarm source_1 State=true", each on a line.
    static std::vector<std::string> events(const HttpReply& reply)
    {
        std::vector<std::string> lines;
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        for (const auto& found : document.select_nodes("//*[local-name()='NotificationMessage']")) {
            const auto message = found.node().select_node(".//tt:Message").node();
            const auto source = message.select_node("tt:Source/tt:SimpleItem").node();
            const auto data = message.select_node("tt:Data/tt:SimpleItem").node();
            lines.push_back(std::string(message.attribute("PropertyOperation").value()) + " " +
                            found.node().select_node("*[local-name()='Topic']").node().text().get() + " " +
                            source.attribute("Value").value() + " " + data.attribute("Name").value() + "=" +
                            data.attribute("Value").value());
        }
        return lines;
    }
    static std::string text(const HttpReply& reply, const std::string& name)
    {
        pugi::xml_document document;
        document.load_string(reply.body.c_str());
        return document.select_node(("//*[local-name()='" + name + "']").c_str()).node().text().get();
    }
    HttpReply alarm(const std::string& json) { return httpPost(recorder.http("/api/alarm"), json); }
    HttpReply set(const std::string& kind, int channel, bool on)
    {
        return alarm("{\"kind\":\"" + kind + "\",\"channel\":" + std::to_string(channel) +
                     ",\"on\":" + (on ? "true" : "false") + "}");
    }
    Json::Value state() { return httpGet(recorder.http("/api/alarm")).json(); }
    HttpReply fault(const std::string& json) { return httpPost(recorder.http("/api/fault"), json); }
    RecorderProcess recorder{{"--channels", "2"}};
};

using Lines = std::vector<std::string>;

} // namespace

TEST_F(EventTest, AreAnnouncedByServicesAndCapabilities)
{
    const HttpReply services = ask("/onvif/device_service", deviceCall("GetServices"));
    EXPECT_NE(services.body.find("http://www.onvif.org/ver10/events/wsdl"), std::string::npos);
    EXPECT_NE(services.body.find("http://www.onvif.org/ver10/deviceIO/wsdl"), std::string::npos);
    const HttpReply capabilities = ask("/onvif/device_service", deviceCall("GetCapabilities"));
    EXPECT_NE(capabilities.body.find("<tt:WSPullPointSupport>true"), std::string::npos);
    const HttpReply own = ask("/onvif/event_service", eventCall("GetServiceCapabilities"));
    EXPECT_NE(own.body.find("WSPullPointSupport=\"true\""), std::string::npos);
}

TEST_F(EventTest, PropertiesNameEachTopic)
{
    const HttpReply reply = ask("/onvif/event_service", eventCall("GetEventProperties"));
    ASSERT_EQ(reply.status, 200);
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(reply.body.c_str()));
    EXPECT_EQ(document.select_nodes("//*[@wstop:topic='true']").size(), 7u);
    EXPECT_TRUE(document.select_node("//tns1:VideoSource/MotionAlarm//tt:SimpleItemDescription[@Name='State']"));
}

TEST_F(EventTest, WhoSubscribesIsToldHowAllStands)
{
    set("motion", 1, true);
    const auto lines = events(pull(subscribe()));
    EXPECT_EQ(lines.size(), 2u * 4 + 4 + 2) << "channels, inputs, the device";
    const auto has = [&](const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    EXPECT_TRUE(has("Initialized tns1:VideoSource/MotionAlarm source_1 State=true"));
    EXPECT_TRUE(has("Initialized tns1:VideoSource/MotionAlarm source_0 State=false"));
    EXPECT_TRUE(has("Initialized tns1:Device/Trigger/DigitalInput input_3 LogicalState=false"));
}

TEST_F(EventTest, EachKindIsRaisedAndClearedByACall)
{
    const std::string path = subscribe();
    pull(path);
    const std::pair<const char*, const char*> table[] = {
        {"motion", "tns1:VideoSource/MotionAlarm source_0 State="},
        {"tamper", "tns1:VideoSource/GlobalSceneChange/ImagingService source_0 State="},
        {"loss", "tns1:VideoSource/SignalLoss source_0 State="},
        {"input", "tns1:Device/Trigger/DigitalInput input_0 LogicalState="},
        {"storage", "tns1:Device/HardwareFailure/StorageFailure storage_0 Failed="},
        {"network", "tns1:Device/lumo:Network/Lost eth0 Lost="},
    };
    for (const auto& [kind, line] : table) {
        EXPECT_EQ(set(kind, 0, true).status, 200);
        EXPECT_EQ(state()["on"][0]["kind"].asString(), kind);
        EXPECT_EQ(set(kind, 0, true).status, 200) << "nothing changes";
        EXPECT_EQ(set(kind, 0, false).status, 200);
        EXPECT_EQ(events(pull(path)),
                  (Lines{"Changed " + std::string(line) + "true", "Changed " + std::string(line) + "false"}));
    }
    set("human", 1, true);
    set("face", 1, true);
    set("human", 1, false);
    set("face", 1, false);
    const std::string seen = "Changed tns1:RuleEngine/ObjectDetection/Object source_1 ClassTypes=";
    EXPECT_EQ(events(pull(path)), (Lines{seen + "Human", seen + "Human Face", seen + "Face", seen}));
}

TEST_F(EventTest, AQuestionWaitsUntilSomethingHappensOrItsTimeIsOver)
{
    const std::string path = subscribe();
    pull(path);
    std::thread raising([&] {
        EXPECT_TRUE(eventually([&] { return state()["waiting"].asInt() == 1; }));
        set("motion", 0, true);
    });
    const auto begun = Clock::now();
    EXPECT_EQ(events(pull(path, "PT25S")).size(), 1u);
    EXPECT_LT(Clock::now() - begun, std::chrono::seconds(20));
    raising.join();
    const HttpReply empty = pull(path, "PT0.2S");
    EXPECT_EQ(empty.status, 200);
    EXPECT_TRUE(events(empty).empty());
    EXPECT_FALSE(text(empty, "TerminationTime").empty());
}

TEST_F(EventTest, AnotherQuestionEndsTheOneThatWaits)
{
    const std::string path = subscribe();
    pull(path);
    std::thread first([&] { EXPECT_TRUE(events(pull(path, "PT25S")).empty()); });
    EXPECT_TRUE(eventually([&] { return state()["waiting"].asInt() == 1; }));
    pull(path, "PT0.1S");
    first.join();
}

TEST_F(EventTest, NoMoreThanTheLimitComesAtOnceAndTheRestStays)
{
    const std::string path = subscribe();
    const size_t all = events(pull(subscribe())).size();
    EXPECT_EQ(events(pull(path, "PT0S", 3)).size(), 3u);
    EXPECT_EQ(events(pull(path)).size(), all - 3);
}

TEST_F(EventTest, SubscribersEachGetAll)
{
    const std::string one = subscribe(), two = subscribe();
    pull(one);
    pull(two);
    set("loss", 1, true);
    EXPECT_EQ(events(pull(one)), events(pull(two)));
    EXPECT_EQ(state()["subscriptions"].asInt(), 2);
}

TEST_F(EventTest, ASubscriptionEndsWithItsTimeUnlessItIsRenewed)
{
    const std::string kept = subscribe("PT1S"), left = subscribe("PT1S");
    const HttpReply renewed = ask(kept, managerCall("Renew", "<n:TerminationTime>PT5M</n:TerminationTime>"));
    EXPECT_EQ(renewed.status, 200) << renewed.body;
    EXPECT_TRUE(eventually([&] { return state()["subscriptions"].asInt() == 1; }));
    EXPECT_EQ(pull(kept).status, 200);
    EXPECT_EQ(pull(left).status, 500);
    EXPECT_EQ(ask(left, managerCall("Renew")).status, 500);
}

TEST_F(EventTest, UnsubscribingEndsItAndTheQuestionThatWaits)
{
    const std::string path = subscribe();
    pull(path);
    std::thread waiting([&] { EXPECT_EQ(pull(path, "PT25S").status, 200); });
    EXPECT_TRUE(eventually([&] { return state()["waiting"].asInt() == 1; }));
    EXPECT_EQ(ask(path, managerCall("Unsubscribe")).status, 200);
    waiting.join();
    EXPECT_EQ(pull(path).status, 500);
    EXPECT_EQ(ask(path, managerCall("Unsubscribe")).status, 500);
    EXPECT_EQ(state()["subscriptions"].asInt(), 0);
}

TEST_F(EventTest, ASynchronizationPointTellsAllAgain)
{
    const std::string path = subscribe();
    const size_t all = events(pull(path)).size();
    EXPECT_EQ(ask(path, eventCall("SetSynchronizationPoint")).status, 200);
    EXPECT_EQ(events(pull(path)).size(), all);
}

TEST_F(EventTest, ThereAreOnlySoManySubscriptions)
{
    for (int i = 0; i < 32; ++i) {
        subscribe();
    }
    EXPECT_EQ(ask("/onvif/event_service", eventCall("CreatePullPointSubscription")).status, 500);
    alarm("{\"forget\":true}");
    EXPECT_EQ(state()["subscriptions"].asInt(), 0);
    subscribe();
}

TEST_F(EventTest, WithoutLoginNothingIsTold)
{
    for (const char* operation : {"CreatePullPointSubscription", "PullMessages", "GetEventProperties"}) {
        const HttpReply reply = soapCall(recorder.http("/onvif/event_service"), eventCall(operation));
        EXPECT_EQ(reply.status, 400) << operation;
        EXPECT_NE(reply.body.find("NotAuthorized"), std::string::npos);
    }
}

TEST_F(EventTest, TimesAndLimitsThatMakeNoSenseDoNoHarm)
{
    for (const char* life : {"", "soon", "PT", "P", "PTS", "PT-5S", "PT1e300S", "PTnanS", "PT99999999999H",
                             "1990-01-01T00:00:00Z", "2190-01-01T00:00:00Z"}) {
        const std::string path = subscribe(life);
        EXPECT_EQ(pull(path, "PT0S", -5).status, 200) << life;
        EXPECT_EQ(pull(path, "yesterday", 2000000000).status, 200) << life;
        ask(path, managerCall("Unsubscribe"));
    }
    for (const char* path : {"/onvif/subscription/", "/onvif/subscription/x", "/onvif/subscription/-1",
                             "/onvif/subscription/99999999999999", "/onvif/event_service"}) {
        EXPECT_EQ(pull(path).status, 500) << path;
    }
    EXPECT_TRUE(recorder.alive());
}

TEST_F(EventTest, CallsThatMakeNoSenseAreRefused)
{
    for (const char* json :
         {"", "[]", "{}", "{\"kind\":\"motion\"}", "{\"kind\":\"motion\",\"channel\":2,\"on\":true}",
          "{\"kind\":\"flood\",\"channel\":0,\"on\":true}", "{\"kind\":5,\"channel\":0,\"on\":true}",
          "{\"kind\":\"motion\",\"channel\":0,\"on\":1}", "{\"kind\":\"input\",\"channel\":4,\"on\":true}",
          "{\"kind\":\"storage\",\"channel\":1,\"on\":true}",
          "{\"kind\":\"motion\",\"channel\":0,\"flood\":0,\"seconds\":1}",
          "{\"kind\":\"motion\",\"channel\":0,\"flood\":10}"}) {
        EXPECT_EQ(alarm(json).status, 400) << json;
    }
    EXPECT_EQ(fault("{\"events\":\"perhaps\"}").status, 400);
    EXPECT_TRUE(state()["on"].empty());
}

TEST_F(EventTest, FaultsSpoilTheService)
{
    const std::string path = subscribe();
    fault("{\"events\":\"refuse\"}");
    EXPECT_EQ(pull(path).status, 500);
    fault("{\"events\":\"broken\"}");
    EXPECT_EQ(text(pull(path), "PullMessagesResponse"), "");
    fault("{\"events\":\"huge\"}");
    EXPECT_GT(pull(path).body.size(), 1u << 20);
    fault("{\"events\":\"hang\"}");
    const Login who;
    EXPECT_EQ(soapCall(recorder.http(path), eventCall("PullMessages"), &who, {}, 300).status, 0);
    std::thread hanging([&] { EXPECT_EQ(pull(path).status, 503); });
    EXPECT_TRUE(eventually([&] { return state()["spoiled"].asInt() == 5; }))
        << "each of these questions, the last one too";
    fault("{\"events\":\"none\"}");
    hanging.join();
    EXPECT_EQ(pull(path).status, 200);
}

TEST_F(EventTest, AFloodIsThatManyChangesAndEndsOff)
{
    const std::string path = subscribe();
    pull(path);
    alarm("{\"kind\":\"motion\",\"channel\":0,\"flood\":1000,\"seconds\":2}");
    size_t seen = 0;
    std::string last;
    EXPECT_TRUE(eventually([&] {
        for (const auto& line : events(pull(path, "PT1S", 200))) {
            ++seen;
            last = line;
        }
        return seen >= 2000;
    }));
    EXPECT_EQ(seen, 2000u);
    EXPECT_EQ(last, "Changed tns1:VideoSource/MotionAlarm source_0 State=false");
    EXPECT_FALSE(state()["flooding"].asBool());
    EXPECT_EQ(state()["dropped"].asInt(), 0);
}

TEST_F(EventTest, ASubscriberThatDoesNotPullKeepsNoMoreThanItsShare)
{
    subscribe();
    alarm("{\"kind\":\"motion\",\"channel\":0,\"flood\":100000,\"seconds\":1}");
    EXPECT_TRUE(eventually([&] { return !state()["flooding"].asBool(); }));
    EXPECT_LE(state()["kept"].asInt(), 20000);
    EXPECT_GT(state()["dropped"].asInt(), 0);
}

TEST_F(EventTest, InputsAreListed)
{
    const HttpReply reply =
        ask("/onvif/deviceio_service", "<d:GetDigitalInputs xmlns:d=\"http://www.onvif.org/ver10/deviceIO/wsdl\"/>");
    EXPECT_NE(reply.body.find("token=\"input_3\""), std::string::npos);
}

TEST(EventPlans, AnAlarmComesAndGoesByItself)
{
    RecorderProcess recorder({"--channels", "2", "--alarm", "motion:1:1:2", "--alarm", "storage:0:1:2"});
    const auto state = [&] { return httpGet(recorder.http("/api/alarm")).json(); };
    for (int changes = 2; changes <= 8; changes += 2) {
        EXPECT_TRUE(eventually([&] { return state()["changes"].asInt() >= changes; })) << changes;
    }
}
