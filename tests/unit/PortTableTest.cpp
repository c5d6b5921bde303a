#include "decode/PortTable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

struct SPort {
    explicit SPort(int nPort) : nPort(nPort) { ++nAlive; }
    ~SPort() { --nAlive; }

    const int nPort;
    static inline std::atomic<int> nAlive{0};
};

using Table = CPortTable<SPort, 64, 4>;

} // namespace

TEST(PortTable, ClosedTableProvidesNothing)
{
    Table table;
    EXPECT_FALSE(table.provide(0));
    EXPECT_EQ(table.get(0), nullptr);
    EXPECT_EQ(SPort::nAlive, 0);
}

TEST(PortTable, ChannelIsMadeAtFirstUseWithItsPortNumber)
{
    Table table;
    table.open();
    EXPECT_EQ(SPort::nAlive, 0);
    SPort* pPort = table.get(3);
    ASSERT_NE(pPort, nullptr);
    EXPECT_EQ(pPort->nPort, 67);
    EXPECT_EQ(table.get(3), pPort);
    EXPECT_EQ(SPort::nAlive, 1);
    table.close();
}

TEST(PortTable, IndexOutsideTheTableHasNoChannel)
{
    Table table;
    table.open();
    EXPECT_EQ(table.get(-1), nullptr);
    EXPECT_EQ(table.get(4), nullptr);
    EXPECT_FALSE(table.provide(-1));
    EXPECT_FALSE(table.provide(4));
    table.close();
}

TEST(PortTable, CloseDeletesAllAndDropsWhatComesLater)
{
    Table table;
    table.open();
    table.get(0);
    table.provide(1);
    EXPECT_EQ(SPort::nAlive, 2);
    table.close();
    EXPECT_EQ(SPort::nAlive, 0);
    EXPECT_FALSE(table.provide(0));
    EXPECT_EQ(table.get(1), nullptr);
}

TEST(PortTable, OpensAgainWithNewChannels)
{
    Table table;
    table.open();
    table.get(0);
    table.close();
    table.open();
    EXPECT_NE(table.get(0), nullptr);
    EXPECT_EQ(SPort::nAlive, 1);
    table.close();
}

TEST(PortTable, RacingCreatorsAgreeOnOneChannelAndNoneIsLost)
{
    for (int nRound = 0; nRound < 200; ++nRound) {
        Table table;
        table.open();
        std::atomic<bool> bGo{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                while (!bGo)
                    std::this_thread::yield();
                EXPECT_TRUE(table.provide(0));
            });
        bGo = true;
        EXPECT_NE(table.get(0), nullptr);
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(SPort::nAlive, 1);
        table.close();
        ASSERT_EQ(SPort::nAlive, 0);
    }
}

TEST(PortTable, DataThatRaceWithTheEndOfThePageLeaveNoChannelBehind)
{
    for (int nRound = 0; nRound < 200; ++nRound) {
        Table table;
        table.open();
        std::atomic<bool> bStarted{false};
        std::thread stream([&] {
            while (table.provide(2))
                bStarted = true;
        });
        while (!bStarted)
            std::this_thread::yield();
        table.close();
        stream.join();
        ASSERT_EQ(SPort::nAlive, 0);
    }
}
