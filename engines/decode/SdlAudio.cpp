#include "SdlAudio.h"

#include "AudioThread.h"

#include <SDL.h>

#include <mutex>

namespace lumo
{
namespace
{

std::mutex g_lock;

} // namespace

SdlAudio::SdlAudio() : m_thread(sharedAudioThread())
{
    std::lock_guard guard(g_lock);
    // The process's own signal handlers stay.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    m_thread->run([this] { m_ready = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0; });
}

uint32_t SdlAudio::open(bool capture, const SDL_AudioSpec& wanted)
{
    if (!m_ready)
        return 0;
    std::lock_guard guard(g_lock);
    SDL_AudioDeviceID id = 0;
    m_thread->run([&] { id = SDL_OpenAudioDevice(nullptr, capture, &wanted, nullptr, 0); });
    if (id)
        SDL_PauseAudioDevice(id, 0);
    return id;
}

SdlAudio::~SdlAudio()
{
    std::lock_guard guard(g_lock);
    if (m_ready)
        m_thread->run([] { SDL_QuitSubSystem(SDL_INIT_AUDIO); });
}

} // namespace lumo
