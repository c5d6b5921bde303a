// One playing of a live stream: takes frames, decodes them and shows them at arrival, never late (LiveRule).
#pragma once

#include "AudioDecoder.h"
#include "InputParser.h"
#include "LiveRule.h"
#include "PacketQueue.h"
#include "Playing.h"

namespace lumo
{

class LiveSession final : public Playing
{
public:
    LiveSession(const Setup& setup, size_t bufferBytes, PortSettings& settings, SoundSlot& sound);
    ~LiveSession() override { end(); }

    // Any thread.
    void input(const uint8_t* data, size_t size) override;
    void pause(bool paused) override;
    void refresh() override { wake(); }
    int waitingBytes() override;
    int waitingPictures() const override { return 0; }

private:
    bool turn() override;
    void take(std::unique_lock<std::mutex>& guard);
    void idle(std::unique_lock<std::mutex>& guard);
    void handleVideo(const Packet& packet, LiveRule::Verdict verdict);
    void handleSound(const Packet& packet);
    void enqueue(Packet&& packet);

    std::mutex m_inputLock; // one input at a time
    InputParser m_parser;   // under m_inputLock

    // Under m_lock.
    PacketQueue m_queue;
    bool m_paused = false;
    int64_t m_lastInputMs = 0;

    // Port thread only.
    VideoDecoder m_decoder{true};
    AudioDecoder m_audio;
    LiveRule m_rule;
};

} // namespace lumo
