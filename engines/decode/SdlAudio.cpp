#include "SdlAudio.h"

#include "AudioThread.h"

#include <SDL.h>

#include <functional>
#include <mutex>

namespace lumo
{
namespace
{

std::mutex g_lock;

/// SDL keeps its last error for each thread that calls it, and gives it back by itself on threads of its own only.
void runOn(AudioThread& thread, const std::function<void()>& work)
{
    thread.run([&] {
        work();
        SDL_TLSCleanup();
    });
}

} // namespace

SdlAudio::SdlAudio() : m_thread(sharedAudioThread())
{
    std::lock_guard guard(g_lock);
    // The process's own signal handlers stay.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    runOn(*m_thread, [this] { m_ready = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0; });
}

uint32_t SdlAudio::open(bool capture, const SDL_AudioSpec& wanted)
{
    if (!m_ready)
        return 0;
    std::lock_guard guard(g_lock);
    SDL_AudioDeviceID id = 0;
    runOn(*m_thread, [&] { id = SDL_OpenAudioDevice(nullptr, capture, &wanted, nullptr, 0); });
    if (id)
        SDL_PauseAudioDevice(id, 0);
    return id;
}

SdlAudio::~SdlAudio()
{
    std::lock_guard guard(g_lock);
    if (m_ready)
        runOn(*m_thread, [] { SDL_QuitSubSystem(SDL_INIT_AUDIO); });
}

} // namespace lumo
