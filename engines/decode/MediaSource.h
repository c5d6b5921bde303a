// What a recording is played from: a file, or what was pushed into the port. It gives frames in the order of decoding
// from wherever it stands, knows in which order pictures are shown, and can go back to a key frame.
//
// Thread: the port's, but for the calls that say otherwise.
#pragma once

#include "Packet.h"
#include "VideoDecoder.h"

#include <functional>
#include <optional>

namespace lumo
{

class MediaSource
{
public:
    enum class Got { Frame, Later, End };

    virtual ~MediaSource() = default;

    /// The next frame, video or sound. Later: nothing is there yet; the news hook tells when.
    virtual Got next(Packet& packet) = 0;
    /// The next sound that was not heard yet, when it begins up to untilMs: it is asked for ahead of its pictures, and
    /// comes out of next() once more.
    virtual std::optional<Packet> soundAhead(int64_t untilMs) = 0;

    /// A picture has come out of the decoder: gives its order, and its times where its frame had none.
    virtual void complete(Picture& picture) = 0;
    /// The key frame, by serial, from which the picture of this order is decoded; empty if it is out of reach.
    virtual std::optional<int64_t> keyFor(int64_t order) = 0;
    virtual int64_t orderOf(int64_t serial) = 0;
    /// next() goes on with this key frame. False: it is gone, and where next() goes on is not said.
    virtual bool rewind(int64_t serial) = 0;

    /// The orders of pictures from this frame on are given once more, as they come out: they came out too early.
    virtual void countAnew(int64_t /*serial*/) {}

    /// When the first picture is shown, where pictures have no times of their own.
    virtual int64_t beginMs() const { return 0; }

    /// Of a file: the picture at this fraction of it; empty where there is no such thing.
    virtual std::optional<int64_t> orderAt(double) { return std::nullopt; }
    /// Of a file: how far into it this picture lies, 0 to 1.
    virtual double fractionOf(const Picture&) { return 0; }
    /// Whether pictures are of a codec that our own frames cannot carry.
    virtual bool foreign() const { return false; }

    /// Whether forget() was called since this was asked last.
    virtual bool takeForgotten() { return false; }

    // Any thread.
    /// Pushed bytes; does nothing on a file.
    virtual void input(const uint8_t*, size_t) {}
    /// When the last frame was pushed, by nowMs().
    virtual int64_t lastInputMs() { return 0; }
    /// Bytes that wait for next().
    virtual int waitingBytes() { return 0; }
    /// Throws away all that was pushed, and ends a waiting input; false on a file, where nothing happens. next() gives
    /// nothing until takeForgotten().
    virtual bool forget() { return false; }
    /// From here on nothing waits.
    virtual void stop() {}
    /// Called when there is something new; set before anything else is called. Any thread.
    void onNews(std::function<void()> news) { m_news = std::move(news); }

protected:
    std::function<void()> m_news;
};

} // namespace lumo
