#include "SoundOut.h"

#include "Clock.h"
#include "SdlAudio.h"

#include <SDL.h>

#include <algorithm>
#include <deque>
#include <mutex>

namespace lumo
{
namespace
{

constexpr int kRate = 48000;
constexpr int kChannels = 2;
constexpr int kValuesPerMs = kRate / 1000 * kChannels;
constexpr int kBlock = 1024; // samples that the device asks for at a time
// What lies between a block's mixing and its being heard is the device's own; half a block is never far off.
constexpr double kDeviceMs = kBlock * 500.0 / kRate;
constexpr double kToleranceMs = 12; // closer than this is in step; below lies the jitter of the device's thread

class Device;
class Stream;

std::mutex g_deviceLock;
std::weak_ptr<Device> g_device;

/// The one output device. Streams come and go under its lock, which the device's thread holds while it mixes.
class Device
{
public:
    static std::shared_ptr<Device> shared();
    ~Device();

    bool open();
    void add(Stream* stream);
    void remove(Stream* stream);
    std::mutex& lock() { return m_lock; }
    /// When the next block will be mixed, in ms of nowMs(). Under the lock.
    double nextMixMs() const;

private:
    static void SDLCALL fill(void* user, Uint8* out, int size) { static_cast<Device*>(user)->mix(out, size); }
    void mix(Uint8* out, int size);

    std::mutex m_lock;
    std::vector<Stream*> m_streams;
    int64_t m_mixedUs = 0; // the last mixing
    SdlAudio m_audio;
    SDL_AudioDeviceID m_id = 0;
};

class Stream final : public SoundStream
{
public:
    Stream(std::shared_ptr<Device> device, const SoundLimits& limits) : m_device(std::move(device)), m_limits(limits)
    {
        m_device->add(this);
    }
    ~Stream() override { m_device->remove(this); }
    void push(const Samples& samples) override;
    void pushAt(const Samples& samples, int64_t heardMs) override;
    void clear() override;
    /// Adds to out, under the device's lock.
    void mixInto(int16_t* out, int count);

private:
    bool openConverter(const Samples& samples);
    bool convert(const Samples& samples);

    const std::shared_ptr<Device> m_device;
    const SoundLimits m_limits;
    // Under the device's lock.
    SwrPtr m_converter; // not SDL's: that one holds a quarter of a second back
    std::vector<int16_t> m_converted;
    std::deque<int16_t> m_waiting; // in the device's form
    int m_rate = 0, m_channels = 0;
    bool m_playing = false;
    bool m_timed = false; // what waits has its time: nothing is gathered first
    int m_silentMs = 0;   // heard nothing while something waited
};

std::shared_ptr<Device> Device::shared()
{
    std::lock_guard guard(g_deviceLock);
    auto device = g_device.lock();
    if (device)
        return device;
    device = std::make_shared<Device>();
    if (!device->open())
        return nullptr;
    g_device = device;
    return device;
}

bool Device::open()
{
    SDL_AudioSpec wanted = {};
    wanted.freq = kRate;
    wanted.format = AUDIO_S16SYS;
    wanted.channels = kChannels;
    wanted.samples = kBlock;
    wanted.callback = &Device::fill;
    wanted.userdata = this;
    m_id = m_audio.open(false, wanted);
    return m_id != 0;
}

Device::~Device()
{
    if (m_id)
        SDL_CloseAudioDevice(m_id);
}

void Device::add(Stream* stream)
{
    std::lock_guard guard(m_lock);
    m_streams.push_back(stream);
}

void Device::remove(Stream* stream)
{
    std::lock_guard guard(m_lock);
    std::erase(m_streams, stream);
}

void Device::mix(Uint8* out, int size)
{
    std::lock_guard guard(m_lock);
    std::fill_n(out, size, Uint8(0));
    m_mixedUs = nowUs();
    for (Stream* stream : m_streams)
        stream->mixInto(reinterpret_cast<int16_t*>(out), size / int(sizeof(int16_t)));
}

double Device::nextMixMs() const
{
    const double now = double(nowUs()) / 1000;
    return m_mixedUs ? std::max(now, double(m_mixedUs) / 1000 + kBlock * 1000.0 / kRate) : now;
}

bool Stream::openConverter(const Samples& samples)
{
    if (m_converter && samples.rate == m_rate && samples.channels == m_channels)
        return true;
    AVChannelLayout from = {}, to = {};
    av_channel_layout_default(&from, samples.channels);
    av_channel_layout_default(&to, kChannels);
    SwrContext* converter = nullptr;
    const int made = swr_alloc_set_opts2(&converter, &to, AV_SAMPLE_FMT_S16, kRate, &from, AV_SAMPLE_FMT_S16,
                                         samples.rate, 0, nullptr);
    m_converter.reset(converter);
    if (made < 0 || swr_init(converter) < 0)
        m_converter.reset();
    m_rate = samples.rate;
    m_channels = samples.channels;
    return m_converter != nullptr;
}

/// Into m_converted; false when there is nothing. Under the device's lock.
bool Stream::convert(const Samples& samples)
{
    if (samples.pcm.empty() || samples.rate <= 0 || samples.channels <= 0 || !openConverter(samples))
        return false;
    const int frames = int(samples.pcm.size()) / samples.channels;
    const int room = swr_get_out_samples(m_converter.get(), frames);
    m_converted.resize(size_t(std::max(room, 0)) * kChannels);
    auto* to = reinterpret_cast<uint8_t*>(m_converted.data());
    const auto* from = reinterpret_cast<const uint8_t*>(samples.pcm.data());
    const int got = swr_convert(m_converter.get(), &to, room, &from, frames);
    m_converted.resize(size_t(std::max(got, 0)) * kChannels);
    return got > 0;
}

void Stream::push(const Samples& samples)
{
    std::lock_guard guard(m_device->lock());
    if (!convert(samples))
        return;
    m_timed = false;
    m_waiting.insert(m_waiting.end(), m_converted.begin(), m_converted.end());
    if (m_waiting.size() > size_t(m_limits.lateMs * kValuesPerMs))
        m_waiting.erase(m_waiting.begin(), m_waiting.end() - m_limits.keepMs * kValuesPerMs);
}

/// The samples go behind those that wait. Where that is not their time, silence goes before them, or their beginning
/// is left out.
void Stream::pushAt(const Samples& samples, int64_t heardMs)
{
    std::lock_guard guard(m_device->lock());
    if (!convert(samples))
        return;
    m_timed = true;
    const double heard = m_device->nextMixMs() + double(m_waiting.size()) / kValuesPerMs + kDeviceMs;
    const double early = std::clamp(double(heardMs) - heard, -double(kLongestMs), double(kLongestMs));
    const auto values = std::min(size_t(std::abs(early) * kRate / 1000) * kChannels,
                                 early < 0 ? m_converted.size() : size_t(kLongestMs * kValuesPerMs));
    if (early > kToleranceMs)
        m_waiting.insert(m_waiting.end(), values, 0);
    else if (early < -kToleranceMs)
        m_converted.erase(m_converted.begin(), m_converted.begin() + ptrdiff_t(values));
    if (m_waiting.size() < size_t(kLongestMs * kValuesPerMs))
        m_waiting.insert(m_waiting.end(), m_converted.begin(), m_converted.end());
}

void Stream::clear()
{
    std::lock_guard guard(m_device->lock());
    m_waiting.clear();
    m_converter.reset();
    m_playing = false;
}

void Stream::mixInto(int16_t* out, int count)
{
    if (m_waiting.empty()) {
        m_playing = false;
        m_silentMs = 0;
        return;
    }
    if (!m_playing) {
        m_silentMs += count / kValuesPerMs;
        // A short sound is heard after a while, too.
        m_playing =
            m_timed || m_waiting.size() >= size_t(m_limits.startMs * kValuesPerMs) || m_silentMs > m_limits.patienceMs;
        if (!m_playing)
            return;
    }
    const int have = std::min(count, int(m_waiting.size()));
    for (int i = 0; i < have; ++i)
        out[i] = int16_t(std::clamp(out[i] + m_waiting[size_t(i)], -32768, 32767));
    m_waiting.erase(m_waiting.begin(), m_waiting.begin() + have);
}

} // namespace

std::unique_ptr<SoundStream> openSoundStream(const SoundLimits& limits)
{
    auto device = Device::shared();
    if (!device)
        return nullptr;
    return std::make_unique<Stream>(std::move(device), limits);
}

} // namespace lumo
