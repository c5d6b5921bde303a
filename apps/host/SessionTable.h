// All sessions of the host, and the bridge between their two threads: pages live on the I/O thread, processes here.
//
// Thread: made and destroyed on the Qt thread; the PageLink calls come from the I/O thread and are handed over.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>

#include <QObject>

#include "Mailbox.h"
#include "PageSession.h"
#include "ProcessSession.h"

namespace lumo::host
{

class SessionTable : public QObject, public PageLink
{
public:
    SessionTable(const Options& options, Mailbox& mailbox);
    ~SessionTable() override;

    bool reserve() override;
    void released() override;
    int opened(std::shared_ptr<PageSession> page, std::string title, PageConnection connection) override;
    void command(int id, std::string text) override;
    void gone(int id) override;
    size_t sessions() const override { return reserved_.load(); }

    /// Ends every session; done runs on the Qt thread when no process is left.
    void closeAll(std::function<void()> done);

private:
    struct Entry {
        std::shared_ptr<PageSession> page;
        ProcessSession* process = nullptr; // child
    };

    void start(int id, std::shared_ptr<PageSession> page, std::string title, PageConnection connection);
    void processGone(int id);

    const Options& options_;
    Mailbox& mailbox_;
    std::atomic<size_t> reserved_{0};
    int lastId_ = 0;               // I/O thread only
    std::map<int, Entry> entries_; // Qt thread only, as the rest
    int lastLog_ = 0;
    std::function<void()> done_;
    bool closing_ = false;
};

} // namespace lumo::host
