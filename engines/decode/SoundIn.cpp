#include "SoundIn.h"

#include "SdlAudio.h"

#include <SDL.h>

#include <memory>
#include <mutex>

namespace lumo
{
namespace
{

constexpr int kBytesPerSample = 2;
constexpr int kLargestBlock = 65534; // bytes; SDL counts samples in 16 bits

thread_local bool t_inCallback = false; // a call from within would wait for itself

/// The open microphone. SDL resamples where the device has another rate, and hands out whole blocks only.
class Capture
{
public:
    explicit Capture(const CaptureRequest& request) : m_request(request) {}
    ~Capture()
    {
        if (m_id)
            SDL_CloseAudioDevice(m_id); // joins its thread
    }

    bool open();
    intptr_t user() const { return m_request.user; }

private:
    static void SDLCALL take(void* user, Uint8* block, int size);

    const CaptureRequest m_request;
    SdlAudio m_audio;
    SDL_AudioDeviceID m_id = 0;
};

bool Capture::open()
{
    SDL_AudioSpec wanted = {};
    wanted.freq = m_request.sampleRate;
    wanted.format = AUDIO_S16LSB;
    wanted.channels = 1;
    wanted.samples = Uint16(m_request.blockSize / kBytesPerSample);
    wanted.callback = &Capture::take;
    wanted.userdata = this;
    m_id = m_audio.open(true, wanted);
    return m_id != 0;
}

void SDLCALL Capture::take(void* user, Uint8* block, int size)
{
    const CaptureRequest& request = static_cast<Capture*>(user)->m_request;
    t_inCallback = true;
    request.call(block, size, request.user);
    t_inCallback = false;
}

/// Kept to the end of the process: a call may still be on its way on another thread.
struct State {
    std::mutex lock; // never taken on the capture's thread
    std::unique_ptr<Capture> capture;
};

State& state()
{
    static auto* const instance = new State;
    return *instance;
}

bool isPossible(const CaptureRequest& r)
{
    return r.call && r.bits == 16 && (r.sampleRate == 8000 || r.sampleRate == 16000) &&
           r.blockSize >= kBytesPerSample && r.blockSize <= kLargestBlock && r.blockSize % kBytesPerSample == 0;
}

} // namespace

int startCapture(const CaptureRequest& request)
{
    if (!isPossible(request))
        return LUMODEC_ERR_ARGUMENT;
    if (t_inCallback)
        return LUMODEC_ERR_BUSY;
    State& s = state();
    std::lock_guard guard(s.lock);
    if (s.capture)
        return LUMODEC_ERR_BUSY;
    auto capture = std::make_unique<Capture>(request);
    if (!capture->open())
        return LUMODEC_ERR_NO_DEVICE;
    s.capture = std::move(capture);
    return LUMODEC_ERR_NONE;
}

int stopCapture(intptr_t user)
{
    if (t_inCallback)
        return LUMODEC_ERR_BUSY;
    State& s = state();
    std::lock_guard guard(s.lock);
    if (!s.capture || s.capture->user() != user)
        return LUMODEC_ERR_NOT_RUNNING;
    s.capture.reset();
    return LUMODEC_ERR_NONE;
}

} // namespace lumo
