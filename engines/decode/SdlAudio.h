// SDL's audio subsystem, held while sound goes out or comes in. SDL counts its users and keeps its devices without a
// lock; here is one.
// Thread: any.
#pragma once

#include <cstdint>
#include <memory>

struct SDL_AudioSpec;

namespace lumo
{

class AudioThread;

class SdlAudio
{
public:
    SdlAudio();
    ~SdlAudio();
    SdlAudio(const SdlAudio&) = delete;
    SdlAudio& operator=(const SdlAudio&) = delete;

    /// Opens the default device in exactly this form and lets it run: its number for SDL_CloseAudioDevice, 0 if there
    /// is none.
    uint32_t open(bool capture, const SDL_AudioSpec& wanted);

private:
    const std::shared_ptr<AudioThread> m_thread;
    bool m_ready = false; // false when there is no sound system on this machine
};

} // namespace lumo
