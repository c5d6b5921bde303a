// Paths and the machine in numbers, on the system that the tests run on.
#include "platform/Machine.h"
#include "platform/Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

using namespace platform;

TEST(Paths, BothSlashesBecomeTheSystemsOwn)
{
    EXPECT_EQ(nativePath("a\\b/c"), QDir::toNativeSeparators("a/b/c"));
    EXPECT_EQ(joinPath("a", "b"), QString("a") + QDir::separator() + "b");
    EXPECT_EQ(pathSeparator(), QDir::separator());
}

TEST(Paths, TheApplicationsFolderIsTheOneOfTheProgram)
{
    EXPECT_EQ(applicationDir(), QCoreApplication::applicationDirPath());
}

TEST(Paths, LocalTextIsCutAndAlwaysEnded)
{
    char szField[8];
    std::memset(szField, 'x', sizeof szField);
    copyLocal8Bit(szField, sizeof szField, "abc");
    EXPECT_STREQ(szField, "abc");
    copyLocal8Bit(szField, sizeof szField, "abcdefghij");
    EXPECT_STREQ(szField, "abcdefg");
    copyLocal8Bit(szField, sizeof szField, QString());
    EXPECT_STREQ(szField, "");
}

TEST(Machine, TheClockNeverRunsBackwardsAndCountsMilliseconds)
{
    const quint64 nBegin = tickMs();
    sleepMs(100);
    EXPECT_GE(tickMs() - nBegin, 80u); // a system's clock may go on in steps of 16 ms
}

namespace
{

SCpuTimes processTimes()
{
    SCpuTimes times;
    const ProcessHandle hProcess = openProcess();
    EXPECT_TRUE(processCpuTimes(hProcess, times));
    closeProcess(hProcess);
    return times;
}

SCpuTimes systemTimes()
{
    SCpuTimes times;
    EXPECT_TRUE(systemCpuTimes(times));
    return times;
}

quint64 work(const SCpuTimes& times)
{
    return times.nUser + times.nKernel;
}

} // namespace

TEST(Machine, WorkShowsInTheCpuTimes)
{
    constexpr quint64 k50Ms = 500000;
    const SCpuTimes process = processTimes();
    [[maybe_unused]] const std::clock_t nClock = std::clock();
    const SCpuTimes system = systemTimes();
    const quint64 nGiveUpMs = tickMs() + 10000;
    while (work(processTimes()) < work(process) + k50Ms && tickMs() < nGiveUpMs) {
    }
    EXPECT_GE(work(processTimes()), work(process) + k50Ms);
#ifndef _WIN32 // where the C library's clock is that on the wall
    // The C library counts the same time by itself; the kernel's ticks may be 10 ms each.
    const double clockTime = double(std::clock() - nClock) * (1e7 / CLOCKS_PER_SEC); // in units of 100 ns
    EXPECT_NEAR(double(work(processTimes()) - work(process)), clockTime, k50Ms);
#endif
    const SCpuTimes systemNow = systemTimes();
    EXPECT_GT(work(systemNow), work(system));
    EXPECT_GE(systemNow.nKernel, systemNow.nIdle); // kernel time includes idle time
}

TEST(Machine, AProcessThatCouldNotBeOpenedHasNoTimes)
{
    SCpuTimes times{1, 2, 3};
    EXPECT_FALSE(processCpuTimes(0, times));
    EXPECT_EQ(times.nUser, 3u);
    closeProcess(0);
}

TEST(Machine, MemoryInUseGrowsWithWhatIsTouched)
{
    const quint64 nBefore = processMemory();
    ASSERT_GT(nBefore, 1u << 20);
    std::string block(64u << 20, 'x');
    EXPECT_GT(processMemory(), nBefore + (32u << 20));
    EXPECT_GE(processorCount(), 1);
    EXPECT_EQ(block[5], 'x');
}
