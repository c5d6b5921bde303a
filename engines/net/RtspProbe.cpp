#include "RtspProbe.h"

namespace lumo::net
{
namespace
{

class Probe final : public IoTimed, public RtspHandler, public std::enable_shared_from_this<Probe>
{
public:
    Probe(IoLoop& loop, RtspOptions options)
        : m_loop(loop), m_backChannel(options.backChannel),
          m_session(std::make_shared<RtspSession>(loop, std::move(options), *this))
    {
    }

    int run()
    {
        m_loop.post([self = shared_from_this()] {
            self->m_loop.addTimed(self);
            self->m_session->start(IoLoop::nowMs());
        });
        std::unique_lock lock(m_mutex);
        m_done.wait(lock, [this] { return m_result.has_value(); });
        return *m_result;
    }

    int64_t due() const override { return m_session->due(); }
    void onTime(int64_t nowMs) override { m_session->onTime(nowMs); }

private:
    bool wantsMedia(size_t, const SdpMedia& media) override
    {
        return media.fromDevice != m_backChannel && makeDepacketizer(media, [](const MediaFrame&) {}) != nullptr;
    }
    void onPlaying() override { finish(0); }
    void onRtp(size_t, const uint8_t*, size_t, int64_t) override {}
    void onFailed(int error) override { finish(error); }

    void finish(int result)
    {
        m_session->close();
        m_loop.removeTimed(this);
        m_loop.releaseLater(shared_from_this());
        std::lock_guard lock(m_mutex);
        m_result = result;
        m_done.notify_all();
    }

    IoLoop& m_loop;
    const bool m_backChannel;
    std::shared_ptr<RtspSession> m_session;
    std::mutex m_mutex;
    std::condition_variable m_done;
    std::optional<int> m_result; // m_mutex
};

} // namespace

int probeRtsp(IoLoop& loop, const StreamSource& source, RtspOptions::Goal goal, int timeoutMs, bool backChannel)
{
    RtspOptions options = optionsFor(source, timeoutMs);
    options.udp = false;
    options.goal = goal;
    options.backChannel = backChannel;
    const int result = std::make_shared<Probe>(loop, std::move(options))->run();
    const bool answered = result != LUMONET_ERR_TIMEOUT;
    return goal == RtspOptions::Goal::Options && answered ? 0 : result;
}

} // namespace lumo::net
