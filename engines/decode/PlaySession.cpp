#include "PlaySession.h"

#include "Clock.h"

#include <algorithm>
#include <utility>

namespace lumo
{
namespace
{

constexpr int64_t kSoundLeadMs = 150;    // sound goes out so long before it is heard
constexpr int64_t kSoundTurnUs = 40'000; // and is looked after so often
constexpr int64_t kSoundLateMs = 300;    // sound whose time is past is not heard any more
constexpr int64_t kLateUs = 20'000;      // from here on a port is late
constexpr int64_t kPaintUs = 15'000;     // between two pictures at high speed
constexpr int64_t kPaintLateUs = 40'000; // of a port that is late

} // namespace

PlaySession::PlaySession(const Setup& setup, std::unique_ptr<MediaSource> source, PortSettings& settings,
                         SoundSlot& sound)
    : Playing(setup, settings, sound), m_source(std::move(source)),
      m_feed(*m_source, [this](const Packet& packet) { record(packet); })
{
    m_source->onNews([this] { order([](Orders&) {}); });
    start();
}

// ---- orders, from any thread

template <typename Change> void PlaySession::order(Change change)
{
    std::lock_guard guard(m_lock);
    change(m_orders);
    m_news = true;
    m_work.notify_all();
}

void PlaySession::clearSteps(Orders& orders)
{
    orders.steps.clear();
    ++orders.cleared;
}

void PlaySession::pause(bool paused)
{
    order([&](Orders& orders) {
        orders.held = paused;
        clearSteps(orders);
        orders.restart = true;
    });
}

void PlaySession::playNormally()
{
    order([&](Orders& orders) {
        orders.held = false;
        orders.level = 0;
        clearSteps(orders);
        orders.restart = true;
    });
}

bool PlaySession::changeSpeed(int steps)
{
    order([&](Orders& orders) {
        orders.held = false;
        clearSteps(orders);
        orders.level = std::clamp(orders.level + steps, -PlayPace::kSteps, PlayPace::kSteps);
        orders.restart = true;
    });
    return true;
}

bool PlaySession::step(int pictures)
{
    order([&](Orders& orders) {
        orders.held = true;
        orders.steps.push_back(pictures);
    });
    return true;
}

bool PlaySession::seek(double fraction)
{
    order([&](Orders& orders) {
        orders.seek = fraction;
        clearSteps(orders);
        m_position = fraction;
    });
    return true;
}

/// On a file there is nothing to throw away: the picture is painted again.
void PlaySession::refresh()
{
    if (!m_source->forget())
        return wake();
    order([&](Orders& orders) {
        clearSteps(orders);
        if (orders.held)
            orders.steps.push_back(1);
    });
}

// ---- the port's thread

PlaySession::Orders PlaySession::takeOrders()
{
    std::lock_guard guard(m_lock);
    Orders now = m_orders;
    now.woken = std::exchange(m_woken, false);
    m_orders.restart = false;
    m_orders.seek.reset();
    m_news = false;
    return now;
}

void PlaySession::wait(std::optional<int64_t> untilUs)
{
    std::unique_lock guard(m_lock);
    const auto something = [&] { return m_stop || m_woken || m_news; };
    if (!untilUs)
        m_work.wait(guard, something);
    else
        m_work.wait_for(guard, std::chrono::microseconds(std::max<int64_t>(0, *untilUs - nowUs())), something);
}

bool PlaySession::turn()
{
    obey(takeOrders());
    return true;
}

void PlaySession::obey(const Orders& now)
{
    if (now.woken)
        m_screen.update();
    if (m_source->takeForgotten())
        forget();
    if (now.restart || now.held != m_held || now.level != m_pace.level())
        restartClock(now.level);
    m_held = now.held;
    m_feed.run().keep(m_held);
    if (now.seek) {
        seekTo(*now.seek);
    } else if (!now.steps.empty()) {
        doStep(now);
    } else if (!m_held) {
        playOn();
    } else {
        paintShown();
        m_waiting = int(m_feed.run().waiting());
        wait();
    }
}

PlaySession::Got PlaySession::fill()
{
    const Got got = m_feed.fill([this] { return stopped(); });
    m_waiting = int(m_feed.run().waiting());
    return got;
}

// ---- playing

void PlaySession::playOn()
{
    const Got got = fill();
    const bool sounding = playSound();
    if (got == Got::End)
        return atEnd();
    if (got == Got::Later) {
        m_starved = true;
        return awaitNews();
    }
    const int64_t now = nowUs();
    const bool first = m_shownTimeMs == kNoTime;
    int64_t due = first ? now : m_pace.dueUs(stepMs(m_feed.run().next()));
    if (std::exchange(m_starved, false))
        due = std::max(due, now); // what came late is played on from there, not hurried through
    if (now < due)
        return wait(sounding ? std::min(due, now + kSoundTurnUs) : due);
    showNext(due);
    if (first)
        m_pace.restart(nowUs()); // what painting it took does not cut short how long it stands
}

/// The end is told when the last picture's time has passed: whoever hears of it may stop at once.
void PlaySession::atEnd()
{
    paintShown();
    if (m_endTold)
        return wait();
    const int64_t now = nowUs();
    const int64_t due = m_feed.run().shown() ? m_pace.dueUs(m_shownForMs) : now;
    if (now < due) {
        playSound();
        return wait(std::min(due, now + kSoundTurnUs));
    }
    m_endTold = true;
    m_position = 1;
    m_settings.fileEnded(m_port);
}

/// Waits for data; when none has come for a while, what the decoder holds back comes out.
void PlaySession::awaitNews()
{
    paintShown();
    const int64_t now = nowUs();
    const int64_t soundDue = now + kSoundTurnUs;
    if (!m_feed.holds()) {
        bool sounding = false;
        onSound([&](SoundStream&) { sounding = true; });
        return wait(sounding ? std::optional(soundDue) : std::nullopt);
    }
    const int64_t drainDue = (m_source->lastInputMs() + kDrainMs) * 1000;
    if (now >= drainDue)
        m_feed.drain();
    else
        wait(drainDue);
}

/// From here on the shown picture counts as shown now, and the sound begins anew.
void PlaySession::restartClock(int level)
{
    m_pace.setLevel(level);
    m_pace.restart(nowUs());
    m_feed.hurry(level > 0);
    m_audio.flush();
    onSound([](SoundStream& stream) { stream.clear(); });
}

std::vector<Packet> PlaySession::dueSounds(int64_t untilMs)
{
    std::vector<Packet> due;
    auto& passed = m_feed.sounds();
    while (!passed.empty() && (passed.front().timeMs == kNoTime || passed.front().timeMs <= untilMs)) {
        due.push_back(std::move(passed.front()));
        passed.pop_front();
    }
    while (passed.empty()) {
        auto sound = m_source->soundAhead(untilMs);
        if (!sound)
            break;
        due.push_back(std::move(*sound));
    }
    return due;
}

/// At normal speed only. False when there is no sound to look after.
bool PlaySession::playSound()
{
    bool on = false;
    onSound([&](SoundStream&) { on = true; });
    const int64_t now = nowUs();
    const int64_t streamMs = m_shownTimeMs == kNoTime ? kNoTime : m_shownTimeMs + m_pace.sinceShownMs(now);
    if (!on || m_pace.level() != 0) {
        auto& passed = m_feed.sounds();
        while (!passed.empty() && passed.front().timeMs <= streamMs)
            passed.pop_front();
        return false;
    }
    const int64_t wallOfStreamMs = now / 1000 - (streamMs == kNoTime ? 0 : streamMs);
    for (const Packet& packet : dueSounds(streamMs == kNoTime ? kNoTime : streamMs + kSoundLeadMs)) {
        const bool timed = packet.timeMs != kNoTime && streamMs != kNoTime;
        if (timed && packet.timeMs < streamMs - kSoundLateMs)
            continue;
        const Samples& samples = m_audio.decode(packet);
        onSound([&](SoundStream& stream) {
            if (timed)
                stream.pushAt(samples, wallOfStreamMs + packet.timeMs);
            else
                stream.push(samples);
        });
    }
    return true;
}

// ---- showing

int64_t PlaySession::stepMs(const Picture& next) const
{
    return PlayPace::stepMs(m_shownTimeMs, next.timeMs, m_shownForMs);
}

/// At high speed there are more pictures than a screen can show; a port that is late wins time.
bool PlaySession::worthPainting(int64_t dueUs) const
{
    if (m_pace.level() <= 0)
        return true;
    const int64_t now = nowUs();
    const bool late = now - dueUs > kLateUs;
    return now - m_paintedUs >= (late ? kPaintLateUs : kPaintUs);
}

void PlaySession::showNext(int64_t dueUs)
{
    m_feed.run().advance();
    m_pace.shown(dueUs, nowUs());
    present(worthPainting(dueUs));
}

/// The run's shown picture.
void PlaySession::present(bool paint)
{
    const Picture& picture = *m_feed.run().shown();
    if (picture.timeMs != kNoTime)
        m_shownTimeMs = picture.timeMs;
    else
        m_shownTimeMs = m_shownTimeMs == kNoTime ? m_source->beginMs() : m_shownTimeMs + m_shownForMs;
    m_shownForMs = picture.intervalMs;
    Picture shown;
    shown.frame.reset(av_frame_clone(picture.frame.get()));
    if (!shown.frame)
        throw std::bad_alloc();
    shown.utcMs = picture.utcMs;
    m_screen.show(std::move(shown), paint);
    m_painted = paint;
    if (paint)
        m_paintedUs = nowUs();
    m_waiting = int(m_feed.run().waiting());
    const double fraction = m_source->fractionOf(picture);
    std::lock_guard guard(m_lock);
    if (!m_orders.seek)
        m_position = fraction;
}

void PlaySession::paintShown()
{
    if (!std::exchange(m_painted, true))
        m_screen.update();
}

// ---- moving

/// The picture on the window stays, with its time.
void PlaySession::forget()
{
    m_feed.forget();
    m_shownTimeMs = kNoTime;
    m_waiting = 0;
    restartClock(m_pace.level());
}

void PlaySession::doStep(const Orders& now)
{
    if (now.steps.front() < 0) {
        stepBack();
        return stepDone(now);
    }
    switch (fill()) {
    case Got::Frame:
        m_feed.run().advance();
        present(true);
        return stepDone(now);
    case Got::Later:
        return awaitNews();
    case Got::End:
        return stepDone(now);
    }
}

/// Unless the steps were thrown away meanwhile.
void PlaySession::stepDone(const Orders& now)
{
    std::lock_guard guard(m_lock);
    if (m_orders.cleared == now.cleared && !m_orders.steps.empty())
        m_orders.steps.pop_front();
}

void PlaySession::stepBack()
{
    PictureRun& run = m_feed.run();
    if (!run.shown())
        return;
    m_endTold = false;
    if (run.back())
        return present(true);
    Picture here;
    here.serial = run.shown()->serial;
    here.order = m_source->orderOf(here.serial);
    // Where a whole group yields nothing, the one before may.
    for (int64_t from = here.order; from > 0;) {
        const auto key = m_source->keyFor(from - 1);
        if (!key)
            return;
        if (decodeBefore(here.order, *key))
            return present(true);
        const int64_t keyOrder = m_source->orderOf(*key);
        from = keyOrder < from ? keyOrder : -1;
    }
}

/// Decodes from the key frame up to the picture of this order again; the one before it becomes the shown one. False
/// when there was none.
bool PlaySession::decodeBefore(int64_t order, int64_t key)
{
    PictureRun& run = m_feed.run();
    if (!m_feed.startFrom(key, true))
        return false;
    bool found = false;
    m_feed.hurry(true);
    for (;;) {
        Got got = fill();
        if (got == Got::Later && m_feed.holds() && !stopped()) {
            m_feed.drain(); // all there is has been pushed, and the picture is in the decoder
            got = fill();
        }
        if (got != Got::Frame || run.next().order < 0 || run.next().order >= order)
            break;
        run.advance();
        found = true;
    }
    m_feed.hurry(m_pace.level() > 0);
    if (!found && run.hasNext())
        run.advance(); // the picture that is shown already
    return found;
}

void PlaySession::seekTo(double fraction)
{
    const auto order = m_source->orderAt(fraction);
    const auto key = order ? m_source->keyFor(*order) : std::nullopt;
    if (!key)
        return;
    if (!m_feed.leadsTo(*order, *key)) {
        if (!m_feed.startFrom(*key, false))
            return;
        m_feed.hurry(true);
    }
    m_endTold = false;
    PictureRun& run = m_feed.run();
    const Picture* found = nullptr;
    while ((!found || found->order < *order) && fill() == Got::Frame && (!found || run.next().order <= *order)) {
        run.advance();
        found = run.shown();
    }
    if (found)
        present(true);
    restartClock(m_pace.level());
}

} // namespace lumo
