// Load and memory from a machine whose numbers the test makes up.
#include "maintenance/GetSystemStatus.h"
#include "device/LoginContext.h"
#include "maintenance/LoadEvent.h"

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

#include <string>
#include <vector>

using platform::SCpuTimes;

namespace
{

constexpr quint64 kMs = 10000; // in units of 100 ns

struct MadeUp {
    quint64 tick = 5000;
    int processors = 4;
    bool processKnown = true, systemKnown = true;
    SCpuTimes process, system{100 * kMs, 200 * kMs, 300 * kMs};
    quint64 memory = 0;
    std::vector<std::string> calls; // of one process sample, in order
};
MadeUp g_made;

SMachine machine()
{
    g_made = MadeUp();
    SMachine m;
    m.fnTickMs = [] {
        g_made.calls.push_back("tick");
        return g_made.tick;
    };
    m.fnProcessorCount = [] {
        g_made.calls.push_back("processors");
        return g_made.processors;
    };
    m.fnOpenProcess = [] {
        g_made.calls.push_back("open");
        return platform::ProcessHandle(77);
    };
    m.fnCloseProcess = [](platform::ProcessHandle hProcess) {
        g_made.calls.push_back("close " + std::to_string(hProcess));
    };
    m.fnProcessCpuTimes = [](platform::ProcessHandle hProcess, SCpuTimes& times) {
        g_made.calls.push_back("times " + std::to_string(hProcess));
        if (g_made.processKnown)
            times = g_made.process;
        return g_made.processKnown;
    };
    m.fnSystemCpuTimes = [](SCpuTimes& times) {
        g_made.calls.push_back("system");
        if (g_made.systemKnown)
            times = g_made.system;
        return g_made.systemKnown;
    };
    m.fnProcessMemory = [] {
        g_made.calls.push_back("memory");
        return g_made.memory;
    };
    return m;
}

struct Sample {
    int app, system, memory;
};

class SystemStatus : public testing::Test
{
protected:
    SystemStatus()
    {
        QObject::connect(&m_status, &CGetSystemStatus::sendSystemStatusSig, [this](int a, int s, int m) {
            m_samples.push_back({a, s, m});
        });
    }

    QAbstractEventDispatcher::TimerInfo timer()
    {
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&m_status);
        EXPECT_EQ(1, timers.size());
        return timers.value(0, {0, 0, Qt::PreciseTimer});
    }

    /// What the timer brings after nMs; -2 throughout when nothing comes.
    Sample sampleAfter(quint64 nMs)
    {
        g_made.tick += nMs;
        m_samples.clear();
        g_made.calls.clear();
        QTimerEvent event(timer().timerId);
        QCoreApplication::sendEvent(&m_status, &event);
        return m_samples.size() == 1 ? m_samples[0] : Sample{-2, -2, -2};
    }

    /// The first one counts all of the process's life.
    void first() { sampleAfter(1000); }

    CGetSystemStatus m_status{nullptr, machine()};
    std::vector<Sample> m_samples;
};

TEST_F(SystemStatus, SamplesOnceASecondByACoarseTimer)
{
    EXPECT_EQ(1000, timer().interval);
    EXPECT_EQ(Qt::CoarseTimer, timer().timerType);
}

TEST_F(SystemStatus, AnotherTimersEventIsIgnored)
{
    QTimerEvent event(timer().timerId + 1);
    QCoreApplication::sendEvent(&m_status, &event);
    EXPECT_TRUE(m_samples.empty());
}

TEST_F(SystemStatus, TwoSamplesInTheSameTickReportMinus1)
{
    first();
    EXPECT_EQ(-1, sampleAfter(0).app);
}

TEST_F(SystemStatus, ASampleOpensTheProcessBeforeTheClockIsReadAndClosesItWhenItsTimesAreKnown)
{
    using Calls = std::vector<std::string>;
    sampleAfter(1000);
    EXPECT_EQ(g_made.calls, (Calls{"processors", "open", "tick", "times 77", "close 77", "system", "memory"}));
    g_made.processKnown = false;
    sampleAfter(1000);
    EXPECT_EQ(g_made.calls, (Calls{"processors", "open", "tick", "times 77", "close 77", "system", "memory"}));
    sampleAfter(0);
    EXPECT_EQ(g_made.calls, (Calls{"processors", "open", "tick", "system", "memory"}))
        << "in the same tick it stays open";
}

TEST_F(SystemStatus, TheClockIsReadBeforeTheMachinesTimesWhenItBegins)
{
    EXPECT_EQ(g_made.calls, (std::vector<std::string>{"tick", "system"}));
}

TEST_F(SystemStatus, TwoHundredAndFiftyMsOfAThousandOnFourProcessorsReport6)
{
    first();
    g_made.process.nUser += 150 * kMs;
    g_made.process.nKernel += 100 * kMs;
    EXPECT_EQ(6, sampleAfter(1000).app);
}

TEST_F(SystemStatus, ALoadAbove100Reports0)
{
    first();
    g_made.process.nUser += 4040 * kMs;
    EXPECT_EQ(0, sampleAfter(1000).app);
    g_made.process.nUser += 4000 * kMs;
    EXPECT_EQ(100, sampleAfter(1000).app);
}

TEST_F(SystemStatus, TheFirstSampleCountsTheWholeLifeOfTheProcess)
{
    g_made.process.nUser = 60000 * kMs;
    EXPECT_EQ(0, sampleAfter(1000).app);
    EXPECT_EQ(0, sampleAfter(1000).app);
    g_made.process.nUser += 400 * kMs;
    EXPECT_EQ(10, sampleAfter(1000).app);
}

TEST_F(SystemStatus, ALateSampleCountsByTheTimeThatWentBy)
{
    first();
    g_made.process.nUser += 1000 * kMs;
    EXPECT_EQ(5, sampleAfter(5000).app);
}

TEST_F(SystemStatus, TheProcessorsAreCountedAnewAtEachSample)
{
    first();
    g_made.processors = 1;
    g_made.process.nUser += 250 * kMs;
    EXPECT_EQ(25, sampleAfter(1000).app);
}

TEST_F(SystemStatus, ProcessTimesThatCannotBeReadReportMinus1)
{
    first();
    g_made.processKnown = false;
    EXPECT_EQ(-1, sampleAfter(1000).app);
    g_made.processKnown = true;
    g_made.process.nUser += 400 * kMs; // in the second that is counted from the last tick on
    EXPECT_EQ(10, sampleAfter(1000).app);
}

TEST_F(SystemStatus, NoProcessorsAndAClockThatRunsBackwardsDoNoHarm)
{
    first();
    g_made.processors = 0;
    EXPECT_EQ(-1, sampleAfter(1000).app);
    g_made.processors = 4;
    g_made.process = SCpuTimes();
    g_made.tick -= 5000;
    const int nApp = sampleAfter(0).app;
    EXPECT_GE(nApp, -1);
    EXPECT_LE(nApp, 100);
}

TEST_F(SystemStatus, ProcessTimesThatRunBackwardsAreDividedWithoutASign)
{
    g_made.process.nUser = 1000 * kMs;
    first();
    g_made.process.nUser -= 100 * kMs;
    EXPECT_EQ(0, sampleAfter(1000).app) << "a quarter of 2 to the 32 is above 100";
    g_made.processors = 1;
    g_made.process.nUser -= 100 * kMs;
    EXPECT_EQ(-1, sampleAfter(1000).app) << "undivided it is below 0 again";
}

TEST_F(SystemStatus, TheMachinesLoadIsWhatWasNotIdle)
{
    first();
    g_made.system.nIdle += 3000 * kMs;
    g_made.system.nKernel += 3400 * kMs; // idle time included
    g_made.system.nUser += 600 * kMs;
    EXPECT_EQ(25, sampleAfter(1000).system);
}

TEST_F(SystemStatus, AnIdleMachineReports0AndABusyOne100)
{
    first();
    g_made.system.nIdle += 4000 * kMs;
    g_made.system.nKernel += 4000 * kMs;
    EXPECT_EQ(0, sampleAfter(1000).system);
    g_made.system.nUser += 4000 * kMs;
    EXPECT_EQ(100, sampleAfter(1000).system);
}

TEST_F(SystemStatus, AMachineWhoseTimesStandStillReportsMinus1)
{
    EXPECT_EQ(-1, sampleAfter(1000).system);
    EXPECT_EQ(-1, sampleAfter(1000).system);
}

TEST_F(SystemStatus, SystemTimesThatCannotBeReadReportMinus1AndAreMadeUpForByTheNext)
{
    first();
    g_made.systemKnown = false;
    EXPECT_EQ(-1, sampleAfter(1000).system);
    g_made.systemKnown = true;
    g_made.system.nUser += 1000 * kMs;
    EXPECT_EQ(100, sampleAfter(1000).system);
}

TEST_F(SystemStatus, MoreIdleThanThereWasTimeReportsMinus1)
{
    first();
    g_made.system.nIdle += 5000 * kMs;
    g_made.system.nKernel += 4000 * kMs;
    EXPECT_EQ(-1, sampleAfter(1000).system);
}

TEST_F(SystemStatus, TimesThatPass32BitsDropOneSampleAtMost)
{
    const quint64 kWrap = quint64(1) << 32;
    g_made.system = {kWrap - 1000, 0, 0};
    first();
    g_made.system.nIdle += 3000 * kMs; // its low half wraps, so that it seems to have gone back
    g_made.system.nKernel += 4000 * kMs;
    EXPECT_EQ(-1, sampleAfter(1000).system);
    g_made.system.nIdle += 3000 * kMs;
    g_made.system.nKernel += 4000 * kMs;
    EXPECT_EQ(25, sampleAfter(1000).system);
}

TEST_F(SystemStatus, MemoryIsInWholeMib)
{
    g_made.memory = (quint64(3) << 20) - 1;
    EXPECT_EQ(2, sampleAfter(1000).memory);
    g_made.memory = 0; // not known
    EXPECT_EQ(0, sampleAfter(1000).memory);
}

TEST(KeepLoad, ASampleWithAnUnknownLoadIsDroppedAndLeavesTheLastOne)
{
    LoginContext context = {};
    context.loginId = 5;
    EXPECT_TRUE(keepLoad(context, 7, 30, 40));
    EXPECT_FALSE(keepLoad(context, -1, 50, 60));
    EXPECT_FALSE(keepLoad(context, 8, -1, 60));
    EXPECT_EQ(7, context.lastAppCpu);
    EXPECT_EQ(30, context.lastSystemCpu);
    EXPECT_EQ(40, context.lastAppMemory);
    EXPECT_TRUE(keepLoad(context, 0, 0, 0));
    EXPECT_EQ(0, context.lastAppMemory);
}

TEST(LoadEvent, HoldsEachFigureUnderItsOwnKey)
{
    const Json::Value event = loadEvent(7, 30, 40);
    EXPECT_EQ(0, event["MainEvent"].asInt());
    EXPECT_EQ(5, event["SubEvent"].asInt());
    EXPECT_EQ(7, event["AppCpu"].asInt());
    EXPECT_EQ(30, event["SystemCpu"].asInt());
    EXPECT_EQ(40, event["AppMemory"].asInt());
    EXPECT_EQ(5u, event.size());
}

TEST(KeepLoad, WithNoDeviceLoggedInASampleIsDropped)
{
    LoginContext context = {};
    for (int nLogin : {0, -1, -10005}) {
        context.loginId = nLogin;
        EXPECT_FALSE(keepLoad(context, 7, 30, 40)) << nLogin;
    }
    EXPECT_EQ(0, context.lastAppCpu);
}

TEST(SystemStatusOfThisMachine, IsWithinItsRange)
{
    CGetSystemStatus status(nullptr);
    std::vector<Sample> samples;
    QObject::connect(&status, &CGetSystemStatus::sendSystemStatusSig, [&](int a, int s, int m) {
        samples.push_back({a, s, m});
    });
    const quint64 nGiveUpMs = platform::tickMs() + 20000;
    while (samples.empty() && platform::tickMs() < nGiveUpMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
    ASSERT_EQ(1u, samples.size());
    EXPECT_GE(samples[0].app, 0);
    EXPECT_LE(samples[0].app, 100);
    EXPECT_GE(samples[0].system, 0);
    EXPECT_LE(samples[0].system, 100);
    EXPECT_GT(samples[0].memory, 1);
}

} // namespace
