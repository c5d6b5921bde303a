// An upgrade of a device's firmware, in the background: it tells how far it is, and last its final state.
// Thread: any; callbacks on the worker's.
#pragma once

#include "BackgroundTask.h"
#include "CommandService.h"

namespace lumo::net
{

class Upgrade final : public BackgroundTask
{
public:
    /// What a run tells of itself.
    class Report
    {
    public:
        virtual ~Report() = default;
        virtual void tell(const UpgradeProgress& progress) = 0;
        /// What the last call shall say, beside the state.
        virtual void note(const UpgradeProgress& progress) = 0;
        /// False when the upgrade was ended meanwhile.
        virtual bool wait(int ms) = 0;
        virtual std::shared_ptr<const std::atomic<bool>> cancel() const = 0;
    };
    /// Does it: 0 when the device has taken it, else LUMONET_ERROR; blocks, until cancel at most.
    using Run = std::function<int(Report& report)>;

    Upgrade(int login, int handle, int handleReturnMs, LumoUpgradeCallback fnProgress, intptr_t user, Run run);
    ~Upgrade() override { m_worker.stop(); }

    int state() const { return m_state; }

private:
    class Teller;
    void work() override;
    void call(const UpgradeProgress& progress);

    const int m_login, m_handle;
    const LumoUpgradeCallback m_progress;
    const intptr_t m_user;
    const Run m_run;
    std::atomic<int> m_state{LUMO_UPGRADE_RUNNING};
};

/// Sends a file to where the device wants it, when it is ready for it.
Upgrade::Run uploadFirmware(OnvifUpload to, HttpUpload upload,
                            std::function<int(const std::string& url, const HttpUpload& upload,
                                              std::shared_ptr<const std::atomic<bool>> cancel)>
                                send);
/// Looks how far a device is that fetches its firmware by itself.
Upgrade::Run watchUpgrade(std::function<int(std::shared_ptr<const std::atomic<bool>> cancel, UpgradeProgress&)> look,
                          const Timings& timings);

} // namespace lumo::net
