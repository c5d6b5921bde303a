// How much the log thread has still to write, kept within a bound. A caller of the log never waits for the disk, so
// lines that come faster than it takes them pile up; beyond the bound they are left out and counted, until half of what
// piled up is written. One line of any length may always come on top.
//
// Thread: any. Units: characters.
#pragma once

#include <QtGlobal>

#include <atomic>

class LogBacklog
{
public:
    // Some ten seconds of a thousand alarms a second on a disk that stands still.
    static constexpr qint64 kMaxUnwritten = 2 * 1024 * 1024;

    /// Whether a line of so many characters may be queued now; it is counted until written(). One that may not is lost.
    bool admit(int nSize);
    /// The same for a line that must not get lost.
    void add(int nSize) { m_nUnwritten += nSize; }
    /// A line of so many characters came out of the queue.
    void written(int nSize) { m_nUnwritten -= nSize; }
    /// How many lines were lost since this was last asked.
    int lostSinceAsked() { return m_nLost.exchange(0); }

private:
    std::atomic<qint64> m_nUnwritten{0};
    std::atomic<int> m_nLost{0};
    std::atomic<bool> m_bFull{false};
};
