// A file on its way to the device, in the background; it ends in exactly one callback, with a thread of its own.
//
// A logout ends it too, and the callback then says so before the logout returns. Only a transfer that was closed by its
// owner calls nothing.
// Thread: any; the callback on the worker's.
#pragma once

#include "BackgroundTask.h"

#include <functional>

namespace lumo::net
{

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
