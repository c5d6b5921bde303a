// One playing of a recording, from a file or pushed: paced by its pictures' times at the speed that is set, with pause,
// steps both ways and seeking, and the sound in step with the picture.
//
// What is asked for from outside is written down (Orders) and carried out on the port's thread, one thing a turn.
#pragma once

#include "AudioDecoder.h"
#include "MediaSource.h"
#include "PictureFeed.h"
#include "PlayPace.h"
#include "Playing.h"

#include <deque>
#include <optional>

namespace lumo
{

class PlaySession final : public Playing
{
public:
    PlaySession(const Setup& setup, std::unique_ptr<MediaSource> source, PortSettings& settings, SoundSlot& sound);
    ~PlaySession() override { end(); }

    // Any thread.
    void input(const uint8_t* data, size_t size) override { m_source->input(data, size); }
    void pause(bool paused) override;
    void refresh() override;
    int waitingBytes() override { return m_source->waitingBytes(); }
    int waitingPictures() const override { return m_waiting; }
    void playNormally() override;
    bool changeSpeed(int steps) override;
    bool step(int pictures) override;
    bool seek(double fraction) override;
    double position() const override { return m_position; }
    bool recordable() const override { return !m_source->foreign(); }

private:
    using Got = MediaSource::Got;

    /// What the port is asked to do.
    struct Orders {
        bool held = false;     // paused, or stepping
        int level = 0;         // of speed
        std::deque<int> steps; // 1 forward, -1 back, in the order of asking
        unsigned cleared = 0;  // how often the steps were thrown away
        bool restart = false;
        std::optional<double> seek;
        bool woken = false;
    };
    template <typename Change> void order(Change change);
    static void clearSteps(Orders& orders);

    bool turn() override;
    void onEnd() override { m_source->stop(); }
    Orders takeOrders();
    void wait(std::optional<int64_t> untilUs = {});
    Got fill();

    // Playing.
    void obey(const Orders& now);
    void playOn();
    void atEnd();
    void awaitNews();
    void restartClock(int level);
    bool playSound();
    std::vector<Packet> dueSounds(int64_t untilMs);

    // Showing.
    void showNext(int64_t dueUs);
    void present(bool paint);
    void paintShown();
    bool worthPainting(int64_t dueUs) const;
    int64_t stepMs(const Picture& next) const;

    // Moving.
    void forget();
    void doStep(const Orders& now);
    void stepDone(const Orders& now);
    void stepBack();
    bool decodeBefore(int64_t order, int64_t key);
    void seekTo(double fraction);

    const std::unique_ptr<MediaSource> m_source;

    Orders m_orders;     // under m_lock
    bool m_news = false; // under m_lock: orders changed, or data came

    // Port thread only.
    PictureFeed m_feed;
    AudioDecoder m_audio;
    PlayPace m_pace;
    bool m_held = false;
    bool m_endTold = false;
    bool m_starved = false;          // the next picture had to be waited for
    bool m_painted = true;           // whether the shown picture is on the window
    int64_t m_paintedUs = 0;         // when one was painted last
    int64_t m_shownTimeMs = kNoTime; // of the shown picture, reckoned where it has none; kNoTime before the first
    int m_shownForMs = 40;           // how long it is shown when no time tells

    std::atomic<int> m_waiting{0}; // decoded pictures that wait for their time
    std::atomic<double> m_position{0};
};

} // namespace lumo
