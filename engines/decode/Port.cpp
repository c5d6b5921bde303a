#include "Port.h"

#include "FileSource.h"
#include "LiveSession.h"
#include "PlaySession.h"
#include "PushedSource.h"
#include "Trouble.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace lumo
{
namespace
{

constexpr int kSmallestBuffer = 64 << 10;
constexpr int kLargestBuffer = 64 << 20;

} // namespace

Port::SessionPtr Port::session() const
{
    std::lock_guard guard(m_sessionLock);
    return m_session;
}

bool Port::onOwnThread() const
{
    const auto playing = session();
    return playing && playing->onOwnThread();
}

/// Region, aspect and sound begin anew with what is opened.
void Port::openAnew(Open what)
{
    m_playback = false;
    m_reader.reset();
    m_path.clear();
    m_settings.changeView([](View& view) {
        view.region = {0, 0, kRegionUnits, kRegionUnits};
        view.original = false;
    });
    m_settings.setFileEndHook({});
    stopSound();
    m_open = what;
}

bool Port::openStream(int bufferBytes)
{
    if (onOwnThread())
        return false;
    std::lock_guard guard(m_control);
    if (session())
        return false;
    openAnew(Open::Stream);
    m_bufferBytes = size_t(std::clamp(bufferBytes, kSmallestBuffer, kLargestBuffer));
    return true;
}

bool Port::openFile(const std::string& path)
{
    if (onOwnThread())
        return false;
    std::lock_guard guard(m_control);
    if (session())
        return false;
    auto reader = openFileReader(path);
    if (!reader) {
        tellTrouble("no recording that can be played", path);
        return false;
    }
    openAnew(Open::File);
    m_path = path;
    m_reader = std::move(reader);
    return true;
}

bool Port::close(Open what)
{
    if (onOwnThread())
        return false;
    std::lock_guard guard(m_control);
    if (what == Open::Nothing || m_open != what)
        return false;
    endSession();
    m_open = Open::Nothing;
    m_reader.reset();
    m_settings.setDrawHook({});
    m_settings.setFileEndHook({});
    std::lock_guard soundGuard(m_sound.lock);
    m_sound.stream.reset();
    return true;
}

/// On a playing port: back to normal speed, and over to the other window when it is another.
bool Port::play(LumoWindow window)
{
    if (onOwnThread())
        return false;
    std::lock_guard guard(m_control);
    if (m_open == Open::Nothing)
        return false;
    const auto playing = session();
    if (playing && window == m_window) {
        playing->playNormally();
        return true;
    }
    const double position = playing ? playing->position() : 0;
    endSession();
    m_window = window;
    auto started = startSession();
    if (!started)
        return false;
    if (position > 0)
        started->seek(position);
    std::lock_guard sessionGuard(m_sessionLock);
    m_session = std::move(started);
    return true;
}

Port::SessionPtr Port::startSession()
{
    const Playing::Setup setup{m_number, m_window};
    if (m_open == Open::File) {
        auto reader = m_reader ? std::move(m_reader) : openFileReader(m_path);
        if (!reader)
            return nullptr; // it was there when it was opened
        auto source = std::make_unique<FileSource>(m_path, std::move(reader));
        return std::make_shared<PlaySession>(setup, std::move(source), m_settings, m_sound);
    }
    if (m_playback)
        return std::make_shared<PlaySession>(setup, std::make_unique<PushedSource>(m_bufferBytes), m_settings, m_sound);
    return std::make_shared<LiveSession>(setup, m_bufferBytes, m_settings, m_sound);
}

bool Port::stop()
{
    if (onOwnThread())
        return false;
    std::lock_guard guard(m_control);
    return endSession();
}

/// Whoever still holds the session (an input in progress) lets go at once after the request to stop. The last one must
/// not be the port's own thread, nor may this return before the thread has ended: so the thread is joined here.
bool Port::endSession()
{
    SessionPtr playing;
    {
        std::lock_guard guard(m_sessionLock);
        playing = std::move(m_session);
        m_session.reset();
    }
    if (!playing)
        return false;
    playing->end();
    if (playing->stopRecord()) {
        std::lock_guard guard(m_sessionLock);
        m_recordEnded = true;
    }
    return true;
}

bool Port::input(const uint8_t* data, int size)
{
    const auto playing = session();
    if (!playing || m_open != Open::Stream || !data || size <= 0)
        return false;
    playing->input(data, size_t(size));
    return true;
}

bool Port::pause(bool paused)
{
    const auto playing = session();
    if (playing)
        playing->pause(paused);
    return playing != nullptr;
}

bool Port::refresh()
{
    const auto playing = session();
    if (playing)
        playing->refresh();
    return playing != nullptr;
}

bool Port::changeSpeed(int steps)
{
    const auto playing = session();
    return playing && playing->changeSpeed(steps);
}

bool Port::step(int pictures)
{
    const auto playing = session();
    return playing && playing->step(pictures);
}

bool Port::seek(float fraction)
{
    const auto playing = session();
    if (!playing || m_open != Open::File || std::isnan(fraction))
        return false;
    return playing->seek(std::clamp(double(fraction), 0.0, 1.0));
}

float Port::position() const
{
    const auto playing = session();
    return playing && m_open == Open::File ? float(playing->position()) : 0.0f;
}

bool Port::setFileEndHook(FileEndHook hook)
{
    if (m_open != Open::File)
        return false;
    m_settings.setFileEndHook(hook);
    return true;
}

bool Port::setPreviewOption(int option)
{
    if (m_open != Open::Stream || option != LUMODEC_PREVIEW_LIVE)
        return false;
    m_playback = false;
    return true;
}

bool Port::setStreamMode(int mode)
{
    if (m_open != Open::Stream || (mode != LUMODEC_STREAM_LIVE && mode != LUMODEC_STREAM_PLAYBACK))
        return false;
    m_playback = mode == LUMODEC_STREAM_PLAYBACK;
    return true;
}

void Port::viewChanged()
{
    if (const auto playing = session())
        playing->viewChanged();
}

bool Port::setDisplayRegion(const LumoRect* region, bool enable)
{
    if (m_open == Open::Nothing || (enable && !region))
        return false;
    LumoRect part{0, 0, kRegionUnits, kRegionUnits};
    if (enable) {
        part.left = std::clamp(region->left, 0, kRegionUnits);
        part.top = std::clamp(region->top, 0, kRegionUnits);
        part.right = std::clamp(region->right, 0, kRegionUnits);
        part.bottom = std::clamp(region->bottom, 0, kRegionUnits);
        if (part.left >= part.right || part.top >= part.bottom)
            return false;
    }
    m_settings.changeView([&](View& view) { view.region = part; });
    viewChanged();
    return true;
}

bool Port::setOriginal(bool original)
{
    if (m_open == Open::Nothing)
        return false;
    m_settings.changeView([&](View& view) { view.original = original; });
    viewChanged();
    return true;
}

bool Port::setColor(const ColorLevels& color)
{
    if (m_open == Open::Nothing)
        return false;
    const auto level = [](int value) { return std::clamp(value, 0, 128); };
    m_settings.changeView([&](View& view) {
        view.color = {level(color.brightness), level(color.contrast), level(color.saturation), level(color.hue)};
    });
    viewChanged();
    return true;
}

bool Port::getColor(ColorLevels& color) const
{
    color = m_settings.view().color;
    return m_open != Open::Nothing;
}

bool Port::setDrawHook(DrawHook hook)
{
    m_settings.setDrawHook(hook);
    viewChanged();
    return true;
}

bool Port::playSound()
{
    if (m_open == Open::Nothing)
        return false;
    std::lock_guard guard(m_sound.lock);
    if (!m_sound.stream)
        m_sound.stream = openSoundStream(m_number == LUMODEC_TALK_PORT ? kTalkSound : kPortSound);
    return m_sound.stream != nullptr;
}

bool Port::stopSound()
{
    std::lock_guard guard(m_sound.lock);
    m_sound.stream.reset();
    return m_open != Open::Nothing;
}

bool Port::catchPicture(const std::string& path)
{
    const auto playing = session();
    return playing && playing->catchPicture(path);
}

bool Port::startRecord(const std::string& path, int type)
{
    const auto playing = session();
    if (!playing || !playing->startRecord(path, type))
        return false;
    std::lock_guard guard(m_sessionLock);
    m_recordEnded = false;
    return true;
}

/// True also for a recording that has ended by itself: the caller's count of starts and stops comes out even.
bool Port::stopRecord()
{
    const auto playing = session();
    if (playing && playing->stopRecord())
        return true;
    std::lock_guard guard(m_sessionLock);
    return std::exchange(m_recordEnded, false);
}

int Port::waitingBytes() const
{
    const auto playing = session();
    return playing ? playing->waitingBytes() : 0;
}

int Port::waitingPictures() const
{
    const auto playing = session();
    return playing ? playing->waitingPictures() : 0;
}

int Port::frameTime() const
{
    const auto playing = session();
    return playing ? playing->frameTime() : 0;
}

Port* portOf(int number)
{
    // Made with the first call and kept: a call may still be on its way on another thread when the process ends.
    static auto* const ports = [] {
        auto* all = new std::array<std::unique_ptr<Port>, LUMODEC_PORTS>;
        for (int i = 0; i < LUMODEC_PORTS; ++i)
            (*all)[size_t(i)] = std::make_unique<Port>(i);
        return all;
    }();
    return number >= 0 && number < LUMODEC_PORTS ? (*ports)[size_t(number)].get() : nullptr;
}

} // namespace lumo
