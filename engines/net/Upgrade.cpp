#include "Upgrade.h"

#include "IoLoop.h"

namespace lumo::net
{
namespace
{

constexpr int64_t kTellEveryMs = 50; // at most so often, but for a change of state

} // namespace

class Upgrade::Teller final : public Upgrade::Report
{
public:
    explicit Teller(Upgrade& owner) : m_owner(owner) {}
    void tell(const UpgradeProgress& progress) override
    {
        const int64_t now = IoLoop::nowMs();
        const bool changed = progress.state != m_last.state;
        const bool moved = progress.total != m_last.total || progress.sent != m_last.sent;
        m_last = progress;
        if (!changed && (!moved || now < m_next))
            return;
        m_next = now + kTellEveryMs;
        m_owner.call(progress);
    }
    void note(const UpgradeProgress& progress) override { m_last = progress; }
    bool wait(int ms) override { return m_owner.wait(ms); }
    std::shared_ptr<const std::atomic<bool>> cancel() const override { return m_owner.cancelFlag(); }
    const UpgradeProgress& last() const { return m_last; }

private:
    Upgrade& m_owner;
    UpgradeProgress m_last;
    int64_t m_next = 0;
};

Upgrade::Upgrade(int login, int handle, int handleReturnMs, LumoUpgradeCallback fnProgress, intptr_t user, Run run)
    : BackgroundTask(handleReturnMs), m_login(login), m_handle(handle), m_progress(fnProgress), m_user(user),
      m_run(std::move(run))
{
}

/// The state first: who is called asks for it.
void Upgrade::call(const UpgradeProgress& progress)
{
    m_state = progress.state;
    if (m_progress && !silent())
        m_progress(m_login, m_handle, progress.total, progress.sent, m_user);
}

void Upgrade::work()
{
    Teller teller(*this);
    const int error = errorAfter(m_run(teller));
    UpgradeProgress end = teller.last();
    end.state = error == 0 ? LUMO_UPGRADE_DONE : LUMO_UPGRADE_FAILED;
    if (error == 0)
        end.sent = end.total;
    call(end);
}

Upgrade::Run uploadFirmware(OnvifUpload to, HttpUpload upload,
                            std::function<int(const std::string& url, const HttpUpload& upload,
                                              std::shared_ptr<const std::atomic<bool>> cancel)>
                                send)
{
    return [=](Upgrade::Report& report) mutable {
        const long total = long(upload.size);
        report.tell({LUMO_UPGRADE_RUNNING, total, 0});
        if (!report.wait(int(to.delayMs)))
            return int(LUMONET_ERR_NOT_LOGGED_IN);
        upload.progress = [&report, total](int64_t sent) {
            report.tell({sent < total ? LUMO_UPGRADE_RUNNING : LUMO_UPGRADE_WRITING, total, long(sent)});
        };
        return send(to.url, upload, report.cancel());
    };
}

Upgrade::Run watchUpgrade(std::function<int(std::shared_ptr<const std::atomic<bool>> cancel, UpgradeProgress&)> look,
                          const Timings& timings)
{
    return [look = std::move(look), pause = timings.upgradeLookMs,
            tries = timings.upgradeFailures](Upgrade::Report& report) {
        int failures = 0;
        do {
            UpgradeProgress progress;
            const int error = look(report.cancel(), progress);
            failures = error == 0 ? 0 : failures + 1;
            if (failures >= tries)
                return error;
            if (error != 0)
                continue;
            if (progress.state == LUMO_UPGRADE_DONE || progress.state == LUMO_UPGRADE_FAILED) {
                report.note(progress);
                return progress.state == LUMO_UPGRADE_DONE ? 0 : int(LUMONET_ERR_REFUSED);
            }
            report.tell(progress);
        } while (report.wait(pause));
        return int(LUMONET_ERR_NOT_LOGGED_IN);
    };
}

} // namespace lumo::net
