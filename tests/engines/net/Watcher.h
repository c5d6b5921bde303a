// The program's side of a playback or a download in a test: what its callbacks got.
#pragma once

#include "Viewer.h"

namespace lumo::net::test
{

/// Position callbacks in order; its address is their user value.
class PositionLog
{
public:
    struct Entry {
        long handle = 0, total = 0, current = 0;
        size_t framesBefore = 0; // of the viewer that was named
    };
    explicit PositionLog(const Viewer* viewer = nullptr) : m_viewer(viewer) {}
    intptr_t user() { return reinterpret_cast<intptr_t>(this); }
    static int onPosition(long handle, long total, long current, intptr_t user);

    std::vector<Entry> entries() const;
    bool waitForCount(size_t n) const;
    /// Waits for the call with -1.
    bool waitForEnd() const;
    /// The time until one comes; false when none did.
    bool waitWithin(int ms) const;

private:
    const Viewer* m_viewer;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Entry> m_entries;
};

/// A folder of this test's own, removed afterwards.
class TestFolder
{
public:
    TestFolder();
    ~TestFolder();
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    /// Everything in it, folders too.
    std::vector<std::string> all() const;

private:
    std::string m_path;
};

Bytes contentOf(const std::string& path);
/// The frames of a raw file; empty when it holds anything else.
std::vector<SeenFrame> framesOf(const Bytes& file);
/// "2025-03-29 10:00:00.040", as localtime shows a frame's time on this machine.
std::string shownTime(uint64_t utcMs);

} // namespace lumo::net::test
