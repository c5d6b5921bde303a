// Alarms of the simulated recorder, which knows nothing of this library: each kind, its faults, a flood.
#include "EventPeer.h"
#include "RecorderFixture.h"

#include <fstream>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class RecorderAlarms : public Recorder
{
protected:
    void SetUp() override
    {
        Recorder::SetUp();
        if (IsSkipped())
            return;
        defaults().timings.requestMs = 5000;
        defaults().timings.alarmPullMs = 1000;
        defaults().timings.alarmIdleMs = 300;
        LUMONET_SetMessageCallback(&Messages::onMessage, &messages);
    }
    void TearDown() override
    {
        NetTest::TearDown();
        LUMONET_SetMessageCallback(nullptr, nullptr);
        EXPECT_EQ(messages.odd, 0);
    }
    int listen(const std::vector<std::string>& more = {})
    {
        start("h264", "160x96", more);
        const int l = enter();
        EXPECT_GT(l, 0) << error;
        EXPECT_EQ(LUMONET_OpenMessageChannel(l), 1) << LUMONET_GetLastError();
        return l;
    }
    void alarm(const std::string& kind, int channel, bool on)
    {
        EXPECT_TRUE(post("/api/alarm", "{\"kind\":\"" + kind + "\",\"channel\":" + std::to_string(channel) +
                                           ",\"on\":" + (on ? "true" : "false") + "}"));
    }
    Messages messages;
};

} // namespace

TEST_F(RecorderAlarms, EachKindStartsAndStops)
{
    listen();
    const std::pair<const char*, const char*> table[] = {{"motion", "4:1"}, {"tamper", "6:1"}, {"loss", "5:1"},
                                                         {"input", "1:1"},  {"human", "39:1"}, {"face", "40:1"}};
    std::string wanted;
    for (const auto& [kind, text] : table) {
        alarm(kind, 1, true);
        wanted += (wanted.empty() ? "" : ", ") + std::string(text) + " start";
        ASSERT_TRUE(messages.waitForText(wanted)) << messages.text();
        alarm(kind, 1, false);
        wanted += ", " + std::string(text) + " stop";
        ASSERT_TRUE(messages.waitForText(wanted)) << messages.text();
    }
    alarm("storage", 0, true);
    alarm("network", 0, true);
    EXPECT_TRUE(messages.waitForText(wanted + ", 11:0 start, 13:0 start")) << messages.text();
}

TEST_F(RecorderAlarms, WhatIsOnBeforeTheLoginStarts)
{
    start("h264");
    alarm("motion", 0, true);
    const int l = enter();
    ASSERT_EQ(LUMONET_OpenMessageChannel(l), 1);
    EXPECT_TRUE(messages.waitForText("4:0 start"));
}

TEST_F(RecorderAlarms, PlansArriveByThemselves)
{
    listen({"--alarm", "motion:1:1:2"});
    EXPECT_TRUE(messages.waitForCount(4));
}

TEST_F(RecorderAlarms, EachFaultIsOutlivedAndNoStopIsLost)
{
    defaults().timings.requestMs = 1000;
    listen();
    std::string wanted;
    for (const char* kind : {"refuse", "broken", "huge", "hang"}) {
        alarm("motion", 0, true);
        wanted += (wanted.empty() ? "" : ", ") + std::string("4:0 start");
        ASSERT_TRUE(messages.waitForText(wanted)) << kind << ": " << messages.text();
        ASSERT_TRUE(fault("{\"events\":\"" + std::string(kind) + "\"}"));
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // some attempts
        ASSERT_TRUE(post("/api/alarm", "{\"forget\":true}"));
        alarm("motion", 0, false); // nobody listens
        ASSERT_TRUE(fault("{\"events\":\"none\"}"));
        wanted += ", 4:0 stop";
        ASSERT_TRUE(messages.waitForText(wanted)) << kind << ": " << messages.text();
    }
}

TEST_F(RecorderAlarms, OfAThousandASecondEachStartAndStopArrivesAndMemoryStaysFlat)
{
    const char* longer = std::getenv("LUMO_FLOOD_SECONDS");
    const int seconds = longer ? std::atoi(longer) : 4;
    const auto residentPages = [] {
        std::ifstream statm("/proc/self/statm");
        long size = 0, resident = 0;
        statm >> size >> resident;
        return resident;
    };
    struct Counter {
        std::atomic<int> starts{0}, stops{0}, wrong{0};
        static bool onMessage(long, char* data, unsigned long, void* user, int)
        {
            auto& self = *static_cast<Counter*>(user);
            const auto& m = *reinterpret_cast<const LumoAlarmMessage*>(data);
            auto& count = m.nStatus == LUMO_ALARM_STATUS_START ? self.starts : self.stops;
            ++count;
            self.wrong += self.starts - self.stops < 0 || self.starts - self.stops > 1;
            return true;
        }
    } counter;
    listen();
    alarm("loss", 0, true);
    ASSERT_TRUE(messages.waitForCount(1)) << "it listens";
    LUMONET_SetMessageCallback(&Counter::onMessage, &counter);
    const auto floodFor = [&](int s) {
        const int until = counter.stops + 500 * s;
        EXPECT_TRUE(post("/api/alarm",
                         "{\"kind\":\"motion\",\"channel\":0,\"flood\":1000,\"seconds\":" + std::to_string(s) + "}"));
        const auto end =
            std::chrono::steady_clock::now() + std::chrono::seconds(s) + std::chrono::milliseconds(kLongMs);
        while (counter.stops < until && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(counter.stops, until);
    };
    floodFor(1);
    const long before = residentPages();
    floodFor(seconds);
    const long grown = residentPages() - before;
    EXPECT_LT(grown * 4, 4096) << "KiB";
    EXPECT_EQ(counter.starts, counter.stops);
    EXPECT_EQ(counter.wrong, 0);
    LUMONET_Cleanup(); // before the counter goes
}
