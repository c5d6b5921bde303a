// What is done in the background, and how it is told to end: the base of a sent file, an upgrade, the alarms of a
// login.
//
// Thread: any; work() on the worker's.
#pragma once

#include "Transfer.h"
#include "Worker.h"

#include "device/LumoNet.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace lumo::net
{

class BackgroundTask : public Transfer
{
public:
    int open() override;
    void cancelOpen(int error) override;
    void release() override { m_worker.release(); }
    void beginStop() override;
    void finishStop() override;

protected:
    explicit BackgroundTask(int handleReturnMs) : m_handleReturnMs(handleReturnMs) {}
    /// On the worker's thread. Ends soon after the cancel flag is up.
    virtual void work() = 0;
    /// For work(): false as soon as the cancel flag is up, true after ms milliseconds without it.
    bool wait(int ms);
    /// For what work() asks of others; up from the stop or the logout on.
    std::shared_ptr<const std::atomic<bool>> cancelFlag() const { return m_cancel; }
    bool canceled() const { return *m_cancel; }
    /// LUMONET_ERROR when a logout ended it, else what is given.
    int errorAfter(int error) const { return m_logoutError != 0 ? m_logoutError.load() : error; }
    /// No callback may begin any more.
    bool silent() const { return m_silent; }

    /// Derived classes end it in their destructors, while all that it uses is there.
    Worker m_worker;

private:
    void raiseCancel(); // m_mutex is held

    const int m_handleReturnMs;
    std::atomic<int> m_logoutError{0};
    std::atomic<bool> m_silent{false};
    const std::shared_ptr<std::atomic<bool>> m_cancel = std::make_shared<std::atomic<bool>>(false);
    std::mutex m_mutex; // the making of the thread against the joining, the flag's raising against the waiting
    std::condition_variable m_raised;
};

} // namespace lumo::net
