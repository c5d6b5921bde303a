// Alarms of the simulated recorder, which knows nothing of this library: each kind, its faults, a flood.
#include "EventPeer.h"
#include "RecorderFixture.h"

#include <fstream>
#include <unistd.h>

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
    /// How many questions a fault of the events has met.
    int spoiled() { return numberIn(ask("GET", "/api/alarm"), "\"spoiled\":"); }
    bool waitForSpoiled(int count)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLongMs);
        while (spoiled() < count) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10)); // between two looks
        }
        return true;
    }
    Messages messages;
};

/// Starts and stops of one alarm, which must take turns; its address is the callback's user value.
class TurnCounter
{
public:
    static bool onMessage(long, char* data, unsigned long, void* user, int)
    {
        auto& self = *static_cast<TurnCounter*>(user);
        const auto& message = *reinterpret_cast<const LumoAlarmMessage*>(data);
        std::lock_guard lock(self.m_mutex);
        ++(message.nStatus == LUMO_ALARM_STATUS_START ? self.m_starts : self.m_stops);
        self.m_wrong += self.m_starts - self.m_stops < 0 || self.m_starts - self.m_stops > 1;
        self.m_changed.notify_all();
        return true;
    }
    bool waitForStops(int count, std::chrono::milliseconds bound)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, bound, [&] { return m_stops >= count; });
    }
    int stops() const
    {
        std::lock_guard lock(m_mutex);
        return m_stops;
    }
    /// As many of both, each in its turn.
    bool balanced() const
    {
        std::lock_guard lock(m_mutex);
        return m_starts == m_stops && m_wrong == 0;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_starts = 0, m_stops = 0, m_wrong = 0;
};

long residentKiB()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

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
        const int before = spoiled();
        ASSERT_TRUE(fault("{\"events\":\"" + std::string(kind) + "\"}"));
        ASSERT_TRUE(waitForSpoiled(before + 2)) << kind << ": an attempt, and one after it";
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
    TurnCounter counter;
    listen();
    alarm("loss", 0, true);
    ASSERT_TRUE(messages.waitForCount(1)) << "it listens";
    LUMONET_SetMessageCallback(&TurnCounter::onMessage, &counter);
    const auto floodFor = [&](int s) {
        const int until = counter.stops() + 500 * s;
        EXPECT_TRUE(post("/api/alarm",
                         "{\"kind\":\"motion\",\"channel\":0,\"flood\":1000,\"seconds\":" + std::to_string(s) + "}"));
        EXPECT_TRUE(counter.waitForStops(until, std::chrono::seconds(s) + std::chrono::milliseconds(kLongMs)));
        EXPECT_EQ(counter.stops(), until);
    };
    floodFor(1);
    const long before = residentKiB();
    floodFor(seconds);
    EXPECT_LT(residentKiB() - before, 4096);
    EXPECT_TRUE(counter.balanced());
    LUMONET_Cleanup(); // before the counter goes
}
