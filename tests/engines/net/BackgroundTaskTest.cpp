// What runs in the background and waits: it is woken when it is to end.
#include "BackgroundTask.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace lumo::net;

namespace
{

class Waiting final : public BackgroundTask
{
public:
    explicit Waiting(int ms) : BackgroundTask(0), m_ms(ms) {}
    ~Waiting() override { m_worker.stop(); }

    std::promise<void> begun, ended;
    bool waited = false; // to its end
    int error = 0;

private:
    void work() override
    {
        begun.set_value();
        waited = wait(m_ms);
        error = errorAfter(0);
        ended.set_value();
    }
    const int m_ms;
};

constexpr int kForEverMs = 24 * 3600 * 1000;

std::shared_ptr<Waiting> running(int ms)
{
    auto task = std::make_shared<Waiting>(ms);
    EXPECT_EQ(task->open(), 0);
    task->release();
    task->begun.get_future().wait();
    return task;
}

} // namespace

TEST(BackgroundTask, AStopEndsItsWaiting)
{
    const auto task = running(kForEverMs);
    task->beginStop();
    task->finishStop();
    EXPECT_FALSE(task->waited);
    EXPECT_EQ(task->error, 0);
}

TEST(BackgroundTask, ALogoutEndsItsWaitingAndIsItsError)
{
    const auto task = running(kForEverMs);
    task->cancelOpen(LUMONET_ERR_NOT_LOGGED_IN);
    task->beginStop();
    task->finishStop();
    EXPECT_FALSE(task->waited);
    EXPECT_EQ(task->error, LUMONET_ERR_NOT_LOGGED_IN);
}

TEST(BackgroundTask, WaitsItsTimeAlsoWhenTheDeviceIsLost)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto task = running(50);
    task->cancelOpen(LUMONET_ERR_TIMEOUT);
    task->ended.get_future().wait();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
    EXPECT_TRUE(task->waited);
}
