// A recording that lies in a file. A second reader goes through the file on a thread of its own and makes the index;
// until it is there, the file plays from its beginning, and whoever needs the index waits for it.
#pragma once

#include "FileReader.h"
#include "MediaSource.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace lumo
{

class FileSource final : public MediaSource
{
public:
    /// reader stands at the beginning.
    FileSource(std::string path, std::unique_ptr<FileReader> reader);
    ~FileSource() override;

    Got next(Packet& packet) override;
    std::optional<Packet> soundAhead(int64_t untilMs) override;
    void complete(Picture& picture) override;
    std::optional<int64_t> keyFor(int64_t order) override;
    int64_t orderOf(int64_t serial) override;
    bool rewind(int64_t serial) override;
    std::optional<int64_t> orderAt(double fraction) override;
    double fractionOf(const Picture& picture) override;
    int64_t beginMs() const override { return m_reader->beginMs(); }
    bool foreign() const override { return m_foreign; }
    void stop() override;

private:
    void makeIndex();
    bool waitForIndex();
    bool indexReady() const { return m_ready; }
    bool readOne();

    const std::string m_path;
    const std::unique_ptr<FileReader> m_reader;
    const bool m_foreign;
    int64_t m_nextSerial = 0;  // of the next picture that is read
    std::deque<Packet> m_read; // read and not given out yet
    size_t m_heard = 0;        // frames at its front whose sound was asked for
    size_t m_readBytes = 0;
    bool m_end = false;

    MediaIndex m_index; // the index thread's until m_ready, nobody's to change afterwards
    std::atomic<bool> m_ready{false};
    std::atomic<bool> m_stop{false};
    std::mutex m_lock; // for m_done
    std::condition_variable m_done;
    std::thread m_indexer;
};

} // namespace lumo
