// Pull points: who has subscribed to the events of the device, what is kept for each, and the questions that wait for
// an event. Events are the changes of the board's alarms; who subscribes is first told how all of them stand.
//
// Thread: main loop only. Lives until the process ends.
#pragma once

#include "AlarmBoard.h"
#include "Faults.h"
#include "Soap.h"

#include <deque>
#include <map>
#include <string>

namespace lumo::recorder
{

class EventHub
{
public:
    static constexpr size_t kMaxSubscriptions = 32;
    static constexpr size_t kMaxKept = 20000; // events for one; then the oldest go
    static constexpr int kMaxLifeMs = 600000, kMaxPullMs = 120000, kMaxAtOnce = 1000;

    EventHub(AlarmBoard& board, const Faults& faults, int clockSkewSeconds);
    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;

    /// A new subscription's number, or 0 when there are too many.
    int create(int lifeMs);
    bool renew(int number, int lifeMs);
    bool end(int number);
    bool knows(int number);
    /// What is kept for it, at once or when something comes, or when waitMs are over. One question at a time: another
    /// one ends the first, with nothing.
    SoapAnswer pull(int number, int waitMs, int limit);
    /// Tells a subscriber again how everything stands.
    bool tellAll(int number);
    /// As if the device had begun anew.
    void forget();

    /// An answer that does not come before the fault is over; 503 then.
    SoapAnswer hang();
    void releaseHanging();
    /// A question was answered, or is held back, by a fault.
    void countSpoiled() { ++m_spoiled; }

    /// "...CurrentTime...TerminationTime", as answers of a subscription carry them.
    std::string times(int number, const char* space) const;

    struct Counts {
        size_t subscriptions = 0, waiting = 0, kept = 0;
        int64_t sent = 0, dropped = 0, spoiled = 0;
    };
    Counts counts();

private:
    using Done = std::function<void(const SoapAnswer&)>;
    struct Subscription {
        int64_t endUs = 0; // monotonic
        std::deque<std::string> kept;
        Done waiting; // of the question that waits
        int limit = 0;
        unsigned timer = 0;
    };
    void publish(AlarmKind kind, int channel);
    void keep(int number, Subscription& s, std::string event);
    void wake(int number, Subscription& s);
    void purge();
    SoapAnswer take(int number, Subscription& s, int limit);
    std::string notification(AlarmKind kind, int channel, const char* operation) const;
    int64_t deviceTime() const;

    AlarmBoard& m_board;
    const Faults& m_faults;
    const int m_clockSkewSeconds;
    int m_number = 0;
    std::map<int, Subscription> m_subscriptions;
    int64_t m_sent = 0, m_dropped = 0, m_spoiled = 0;
    std::vector<Done> m_hanging;
};

} // namespace lumo::recorder
