#include "Viewer.h"

#include <algorithm>

namespace lumo::net::test
{

int Viewer::onFrame(long handle, const LumoFrame* f, intptr_t user)
{
    reinterpret_cast<Viewer*>(user)->take(handle, f->nFrameType, f->pData, f->nSize, f->nWidth, f->nHeight);
    return 1;
}

int Viewer::onData(long handle, long type, uint8_t* data, long size, intptr_t user)
{
    reinterpret_cast<Viewer*>(user)->take(handle, int(type), data, size_t(size), 0, 0);
    return 1;
}

void Viewer::take(long handle, int type, const uint8_t* data, size_t size, uint16_t width, uint16_t height)
{
    SeenFrame seen;
    seen.handle = handle;
    seen.type = type;
    seen.width = width;
    seen.height = height;
    FrameReader reader;
    reader.push(data, size);
    if (const auto view = reader.next()) {
        seen.sound = view->wholeSize == size && reader.skipped() == 0;
        seen.video = view->v;
        seen.audio = view->a;
        seen.payload.assign(view->payload, view->payload + view->payloadSize);
        const size_t n = seen.payload.size();
        if (view->video && n >= 3)
            seen.number = seen.payload[n - 3] << 8 | seen.payload[n - 2];
    }
    inside = true;
    std::unique_lock lock(m_mutex);
    m_thread = std::this_thread::get_id();
    m_frames.push_back(std::move(seen));
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_hold; });
    inside = false;
}

std::vector<SeenFrame> Viewer::frames() const
{
    std::lock_guard lock(m_mutex);
    return m_frames;
}

size_t Viewer::count() const
{
    std::lock_guard lock(m_mutex);
    return m_frames.size();
}

std::thread::id Viewer::thread() const
{
    std::lock_guard lock(m_mutex);
    return m_thread;
}

bool Viewer::waitFor(const std::function<bool(const std::vector<SeenFrame>&)>& condition) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return condition(m_frames); });
}

bool Viewer::waitForCount(size_t n) const
{
    return waitFor([n](const auto& f) { return f.size() >= n; });
}

void Viewer::forgetUntil(const std::function<bool(const SeenFrame&)>& isNew)
{
    std::lock_guard lock(m_mutex);
    m_frames.erase(m_frames.begin(), std::find_if(m_frames.begin(), m_frames.end(), isNew));
}

void Viewer::clear()
{
    std::lock_guard lock(m_mutex);
    m_frames.clear();
}

void Viewer::hold()
{
    std::lock_guard lock(m_mutex);
    m_hold = true;
    m_frames.clear();
}

void Viewer::release()
{
    std::lock_guard lock(m_mutex);
    m_hold = false;
    m_changed.notify_all();
}

bool Viewer::waitUntilHeld() const
{
    return waitFor([](const auto& f) { return !f.empty(); });
}

void NetTest::SetUp()
{
    defaults() = Defaults();
    Timings& t = defaults().timings;
    t.connectMs = 2000;
    t.requestMs = 2000;
    t.openMs = 2000;
    t.watchPeriodMs = 600000; // tests that want the watchdog ask for it
    t.discoveryMs = 3000;
    t.retryMs = {10, 10, 10};
    defaults().discovery.everyInterface = false;
}

void NetTest::begin()
{
    const auto onLost = [](long login, char* address, long port, void* user) {
        auto* self = static_cast<NetTest*>(user);
        self->lostAddress = address;
        self->lostPort = port;
        self->lostLogin = login;
        ++self->disconnects;
    };
    ASSERT_EQ(LUMONET_Init(onLost, this), 1);
}

void NetTest::TearDown()
{
    LUMONET_Cleanup();
}

int NetTest::login(const std::string& address, int port, const std::string& user, const std::string& password, int kind)
{
    info = {};
    error = 0;
    return LUMONET_Login(address.c_str(), port, user.c_str(), password.c_str(), &info, &error, kind);
}

int NetTest::play(int login, Viewer& viewer, int channel, int stream)
{
    StreamOpenInfo wanted{};
    wanted.nChannel = channel;
    wanted.nStream = stream;
    const int handle = LUMONET_RealPlay(login, &wanted);
    if (handle > 0) {
        EXPECT_EQ(LUMONET_SetRealDataCallBack_V2(handle, &Viewer::onFrame, viewer.user()), 1);
    }
    return handle;
}

} // namespace lumo::net::test
