#include "SessionTable.h"

#include <QDir>

#include "RotatingLog.h"

namespace lumo::host
{

namespace
{

constexpr uint16_t kCloseGoingAway = 1001;

} // namespace

SessionTable::SessionTable(const Options& options, Mailbox& mailbox) : options_(options), mailbox_(mailbox)
{
    QDir().mkpath(options_.logDir);
}

SessionTable::~SessionTable() = default;

bool SessionTable::reserve()
{
    if (reserved_.fetch_add(1) < options_.maxPages)
        return true;
    reserved_.fetch_sub(1);
    return false;
}

void SessionTable::released()
{
    reserved_.fetch_sub(1);
}

int SessionTable::opened(std::shared_ptr<PageSession> page, std::string title, PageConnection connection)
{
    const int id = ++lastId_;
    mailbox_.post([this, id, page = std::move(page), title = std::move(title), connection]() mutable {
        start(id, std::move(page), std::move(title), connection);
    });
    return id;
}

void SessionTable::command(int id, std::string text)
{
    mailbox_.post([this, id, text = std::move(text)]() mutable {
        const auto entry = entries_.find(id);
        if (entry != entries_.end())
            entry->second.process->send(std::move(text));
    });
}

void SessionTable::gone(int id)
{
    mailbox_.post([this, id] {
        const auto entry = entries_.find(id);
        if (entry != entries_.end())
            entry->second.process->pageGone();
    });
}

void SessionTable::closeAll(std::function<void()> done)
{
    if (closing_)
        return;
    closing_ = true;
    done_ = std::move(done);
    // A session may end, and leave the table, while it is told.
    std::vector<Entry> all;
    for (const auto& [id, entry] : entries_)
        all.push_back(entry);
    for (const Entry& entry : all) {
        entry.page->finish(kCloseGoingAway, "the host is shutting down");
        entry.process->pageGone();
    }
    if (entries_.empty())
        done_();
}

void SessionTable::start(int id, std::shared_ptr<PageSession> page, std::string title, PageConnection connection)
{
    if (closing_) {
        page->finish(kCloseGoingAway, "the host is shutting down");
        released();
        return;
    }
    pruneLogs(options_.logDir, options_.logKeep);
    PageSession* const toPage = page.get(); // the entry holds it as long as the process may speak
    ProcessSession::Events events{
        [toPage](std::string message) { toPage->deliver(std::move(message)); },
        [toPage](uint16_t code, std::string reason) { toPage->finish(code, std::move(reason)); },
        [this, id] { processGone(id); },
    };
    auto* const process =
        new ProcessSession(options_, {id, std::move(title), connection, newSessionLog(options_.logDir, lastLog_)},
                           page->pending(), std::move(events), this);
    entries_[id] = {std::move(page), process};
    process->start();
}

void SessionTable::processGone(int id)
{
    const auto entry = entries_.find(id);
    if (entry == entries_.end())
        return;
    entry->second.process->deleteLater();
    entries_.erase(entry);
    released();
    if (closing_ && entries_.empty())
        done_();
}

} // namespace lumo::host
