// A file on its way to the device, in the background; it ends in exactly one callback, with a thread of its own.
//
// A logout ends it too, and the callback then says so before the logout returns. Only a transfer that was closed by its
// owner calls nothing.
// Thread: any; the callback on the worker's.
#pragma once

#include "Transfer.h"
#include "Worker.h"

#include "device/LumoNet.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace lumo::net
{

/// What is done in the background, and how it is told to end.
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
    /// LUMONET_ERROR when a logout ended it, else what is given.
    int errorAfter(int error) const { return m_logoutError != 0 ? m_logoutError.load() : error; }
    /// No callback may begin any more.
    bool silent() const { return m_silent; }

    const std::shared_ptr<std::atomic<bool>> m_cancel = std::make_shared<std::atomic<bool>>(false);
    /// Derived classes end it in their destructors, while all that it uses is there.
    Worker m_worker;

private:
    const int m_handleReturnMs;
    std::atomic<int> m_logoutError{0};
    std::atomic<bool> m_silent{false};
    std::mutex m_startMutex; // the making of the thread against the joining
};

class Sending final : public BackgroundTask
{
public:
    /// Sends the file: 0 or LUMONET_ERROR; blocks, until cancel at most.
    using Run = std::function<int(std::shared_ptr<const std::atomic<bool>> cancel)>;
    /// finished: after the callback, unless the owner has closed it.
    Sending(int handle, int handleReturnMs, LumoSendFileCallback fnEnd, intptr_t user, Run run,
            std::function<void(int handle)> finished);
    ~Sending() override { m_worker.stop(); }

private:
    void work() override;

    const int m_handle;
    const LumoSendFileCallback m_end;
    const intptr_t m_user;
    const Run m_run;
    const std::function<void(int)> m_finished;
};

} // namespace lumo::net
