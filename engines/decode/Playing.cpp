#include "Playing.h"

#include "Trouble.h"

#include <exception>
#include <utility>

namespace lumo
{

Playing::Playing(const Setup& setup, PortSettings& settings, SoundSlot& sound)
    : m_settings(settings), m_port(setup.port), m_screen(setup.port, settings, setup.window, [this] { wake(); }),
      m_sound(sound)
{
}

void Playing::start()
{
    m_thread = std::thread(&Playing::run, this);
    m_threadId = m_thread.get_id();
}

void Playing::run()
{
    // Memory may run out anywhere in here; the port then stands still, the process lives.
    try {
        while (!m_stop && turn()) {
        }
    } catch (const std::exception&) {
        m_stop = true;
        tellTrouble("out of memory, the picture stands still", "port " + std::to_string(m_port));
    }
    onEnd();
}

void Playing::end()
{
    {
        std::lock_guard guard(m_lock);
        m_stop = true;
        m_work.notify_all();
    }
    onEnd();
    if (!m_thread.joinable())
        return;
    m_thread.join();
    onSound([](SoundStream& stream) { stream.clear(); });
}

void Playing::wake()
{
    std::lock_guard guard(m_lock);
    m_woken = true;
    m_work.notify_all();
}

bool Playing::startRecord(const std::string& path, int type)
{
    std::lock_guard guard(m_recordLock);
    if (m_recorder || !recordable())
        return false;
    m_recorder = startRecorder(path, type);
    m_recording = m_recorder != nullptr;
    return m_recording;
}

bool Playing::stopRecord()
{
    std::lock_guard guard(m_recordLock);
    if (m_recorder)
        m_recorder->finish();
    m_recorder.reset();
    return std::exchange(m_recording, false);
}

void Playing::record(const Packet& packet)
{
    std::lock_guard guard(m_recordLock);
    if (!m_recorder || packet.foreign || m_recorder->write(packet))
        return;
    m_recorder->abandon(); // no room left, or the folder is gone
    m_recorder.reset();
}

} // namespace lumo
