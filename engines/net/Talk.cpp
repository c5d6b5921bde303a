#include "Talk.h"

#include "G711.h"

namespace lumo::net
{
namespace
{

using Clock = SpeechQueue::Clock;
constexpr auto kPacketTime = std::chrono::milliseconds(20);
constexpr auto kIdle = std::chrono::milliseconds(60); // without a piece: whoever speaks has paused
constexpr auto kForEver = std::chrono::hours(1);

} // namespace

bool Talk::HeardQueue::push(const std::vector<uint8_t>& codes)
{
    std::lock_guard lock(m_mutex);
    if (m_closed)
        return true;
    m_blocks.push_back(codes);
    m_bytes += codes.size();
    m_full = m_bytes >= kMaxBytes;
    m_changed.notify_all();
    return !m_full;
}

bool Talk::HeardQueue::pop(std::vector<uint8_t>& codes, bool& wasFull)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_closed || !m_blocks.empty(); });
    if (m_closed)
        return false;
    codes = std::move(m_blocks.front());
    m_blocks.pop_front();
    m_bytes -= codes.size();
    wasFull = m_full && m_bytes < kMaxBytes / 2;
    m_full = m_full && !wasFull;
    return true;
}

void Talk::HeardQueue::close()
{
    std::lock_guard lock(m_mutex);
    m_closed = true;
    m_changed.notify_all();
}

Talk::Talk(IoLoop& loop, int handle, const std::vector<StreamSource>& sources, const Timings& timings,
           Callback callback)
    : m_handle(handle), m_handleReturnMs(timings.handleReturnMs), m_callback(callback)
{
    for (const StreamSource& source : sources) {
        TalkLine::Ear ear;
        if (m_lines.empty() && m_callback.voice)
            ear = [heard = m_heard](const std::vector<uint8_t>& codes) { return heard->push(codes); };
        m_lines.push_back(std::make_shared<TalkLine>(loop, source, timings, std::move(ear)));
    }
}

Talk::~Talk()
{
    beginStop();
    finishStop();
}

int Talk::open()
{
    for (const auto& line : m_lines)
        line->begin();
    int first = 0;
    bool any = false;
    for (const auto& line : m_lines) {
        const int error = line->wait();
        any = any || error == 0;
        first = first != 0 ? first : error;
    }
    if (!any)
        return first;
    std::lock_guard lock(m_threadMutex);
    if (m_stopped)
        return LUMONET_ERR_NOT_LOGGED_IN;
    m_speaker = std::thread([this] { speak(); });
    if (m_callback.voice)
        m_listener.start(m_handleReturnMs, [self = shared_from_this(), this] { listen(); });
    return 0;
}

void Talk::cancelOpen(int error)
{
    for (const auto& line : m_lines)
        line->cancelOpen(error);
}

void Talk::beginStop()
{
    if (m_stopped.exchange(true))
        return; // the loop may be gone by the second time
    m_speech.close();
    m_heard->close();
    for (const auto& line : m_lines)
        line->close();
    m_listener.beginStop();
}

void Talk::finishStop()
{
    std::lock_guard lock(m_threadMutex);
    if (m_speaker.joinable())
        m_speaker.join();
    m_listener.stop();
}

int Talk::send(const uint8_t* frame, size_t size)
{
    const auto view = frameAt(frame, size);
    if (!view || view->video || view->wholeSize != size || view->a.codec != AudioCodec::ALaw ||
        (view->a.sampleRate != 8000 && view->a.sampleRate != 16000))
        return LUMONET_ERR_ARGUMENT;
    m_speech.push(*view);
    return 0;
}

void Talk::say(std::vector<uint8_t>& codes, bool begins)
{
    const auto end = codes.begin() + ptrdiff_t(std::min(codes.size(), TalkLine::kPacketBytes));
    std::vector<uint8_t> packet(codes.begin(), end);
    codes.erase(codes.begin(), end);
    packet.resize(TalkLine::kPacketBytes, kSilentALaw); // the last words of a stretch
    for (const auto& line : m_lines)
        line->send(packet, begins);
}

/// Pieces come in bursts, as sound cards hand them out; they leave evenly. A sender that falls behind by more than a
/// packet starts afresh instead of hurrying after.
void Talk::speak()
{
    std::vector<uint8_t> codes; // at 8000 Hz, not yet sent
    HalfRate half;
    Clock::time_point next = Clock::now();
    bool begins = true;
    while (true) {
        SpeechPiece piece;
        const auto got = m_speech.pop(piece, Clock::now() + (begins && codes.empty() ? kForEver : kIdle));
        if (got == SpeechQueue::Got::End)
            return;
        if (got == SpeechQueue::Got::Piece && piece.rate == 8000)
            codes.insert(codes.end(), piece.codes.begin(), piece.codes.end());
        else if (got == SpeechQueue::Got::Piece)
            half.push(piece.codes.data(), piece.codes.size(), codes);
        const bool paused = got == SpeechQueue::Got::Nothing;
        while (codes.size() >= TalkLine::kPacketBytes || (paused && !codes.empty())) {
            if (!m_speech.waitUntil(next))
                return;
            const auto now = Clock::now();
            say(codes, begins);
            begins = false;
            next = (now - next > kPacketTime ? now : next) + kPacketTime;
        }
        begins = begins || paused;
    }
}

void Talk::listen()
{
    std::vector<uint8_t> codes, frame;
    bool wasFull = false;
    while (m_heard->pop(codes, wasFull) && !m_stopped) {
        if (wasFull)
            m_lines.front()->hear();
        frame.clear();
        appendAudioFrame(frame, {AudioCodec::ALaw, 8000, 0}, codes.data(), codes.size());
        m_callback.voice(m_handle, frame.data(), long(frame.size()), LUMO_FRAME_AUDIO, m_callback.user);
    }
}

} // namespace lumo::net
