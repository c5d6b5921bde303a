// Every waiting time of the library that tests shorten; the others stand where they are used. Milliseconds.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace lumo::net
{

struct Timings {
    int connectMs = 3000;        // one TCP connection
    int requestMs = 5000;        // one ONVIF request
    int openMs = 5000;           // a stream from its first byte to the answer to PLAY
    int silenceMs = 5000;        // a stream without data for so long is dead
    int watchPeriodMs = 5000;    // between two questions whether the device is there
    int watchRequestMs = 2000;   // one such question
    int watchFailures = 3;       // failures in a row that make a device lost
    int discoveryMs = 2500;      // how long answers to a probe are waited for
    int reorderMs = 80;          // how long a datagram is waited for that others have overtaken
    int backlogMs = 2000;        // frames kept for a callback that is not set yet
    int heldPauseMs = 10000;     // a queue full for so long makes the library pause a replay itself
    int replayTries = 3;         // attempts to open a replay again that died, retryMs[0] apart
    int replayEndMs = 500;       // silence after the last picture of a span that counts as its end
    int handleReturnMs = 20;     // before the first callback, for the call to have returned its handle
    int maxStallPauseMs = 20000; // between two blocks to a callback that is made to wait
    std::array<int, 3> retryMs = {1000, 5000, 10000};
    int uploadStallMs = 20000;   // without a byte that the device takes
    int uploadAnswerMs = 120000; // from the last byte of a file to the answer: devices write it down first
    int upgradeLookMs = 500;     // between two looks at an upgrade that the device makes by itself
    int upgradeFailures = 3;     // such looks without an answer, in a row, that end it
    int alarmKeepMs = 60000;     // for which a device is asked to keep events; asked again at half of it
    int alarmPullMs = 10000;     // for which a device may hold back its answer when it has none
    int alarmGatherMs = 50;      // after some events, before more are asked for
    int alarmIdleMs = 1000;      // between questions to a device that answers at once that it has none
    int alarmFarewellMs = 500;   // for telling a device that nobody listens any more
    int busyTries = 5;           // further attempts at an opening that was answered with 503
    int busyRetryMs = 100;       // between them
    int retriesPerStep = 5;      // the last step has no end
};

/// How long to wait before the next attempt at a stream that died.
class Backoff
{
public:
    explicit Backoff(const Timings& timings) : m_timings(timings) {}

    int nextMs()
    {
        const size_t step =
            std::min<size_t>(size_t(m_attempts / m_timings.retriesPerStep), m_timings.retryMs.size() - 1);
        if (m_attempts < int(m_timings.retryMs.size()) * m_timings.retriesPerStep)
            ++m_attempts;
        return m_timings.retryMs[step];
    }
    void reset() { m_attempts = 0; }

private:
    Timings m_timings;
    int m_attempts = 0;
};

} // namespace lumo::net
